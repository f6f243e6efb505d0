#pragma once

#include "services/ErrorMode.h"
#include "services/Logger.h"
#include "ui/Form.h"

namespace bkfd {

class CPaRemover;

/// The main window. Making it does nothing yet; the start-up lies in `Form_Initialize` and, before
/// the window is first shown, in `Form_Load`.
class FMain : public Form {
  public:
    FMain();

    /// The start-up: logs, custom object, component check, application state, detection and the
    /// cleanup's decision. Called once, before the window is loaded. A failing step is passed over;
    /// one line in the log tells of the last failure. If a component is missing, and after a
    /// restart request, the program ends here (`Toolkit::EndProgram`).
    void Form_Initialize();
    /// What is done once before the window shows. A failure skips the rest and leaves a line in the
    /// log; the window is shown all the same.
    void Form_Load();

    /// The logger in use, which every object that logs gets from here.
    const LoggerRef& CurrentLogger() const { return logger_; }

  private:
    void OpenLogs(ContinueOnError& step);
    void RunCustomObject(ContinueOnError& step);
    void RequireComponents(ContinueOnError& step);
    void SetApplicationState(ContinueOnError& step);
    void LogPendingError(ContinueOnError& step);

    LoggerRef logger_;
};

}  // namespace bkfd
