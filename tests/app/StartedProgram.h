#pragma once

#include "app/FMain.h"
#include "common/EngineBench.h"
#include "common/Messages.h"
#include "resources/ComponentIds.h"

namespace bkfd {

/// Leaves a logger of the test's in the start-up's variable.
class LoggerReplacer : public Object {
  public:
    explicit LoggerReplacer(LoggerRef logger) : logger_(std::move(logger)) {}
    Variant Invoke(TextView, std::span<Variant> arguments) override {
        arguments[0] = logger_;
        return {};
    }

  private:
    LoggerRef logger_;
};

/// The program on a machine in memory; all that it logs from the custom object on is in `log`.
class StartedProgram : public EngineBench {
  public:
    explicit StartedProgram(WindowsFamily family = WindowsFamily::NT) : EngineBench(family) {
        machine.AddComponent(ComponentIds::CheckClassId, [] { return std::make_shared<Object>(); });
        machine.AddComponent(ComponentIds::CustomProgId,
                             [this] { return std::make_shared<LoggerReplacer>(log); });
    }
    ~StartedProgram() { main.reset(); }

    /// Runs the whole start-up and shows the main window.
    FMain& Start() {
        main = std::make_unique<FMain>();
        main->Form_Initialize();
        main->Show();
        return *main;
    }
    /// Chooses an entry of the menu bar.
    void Choose(TextView name) {
        for (MenuItem* menu : main->MenuBar()) {
            if (MenuItem* entry = menu->Find(name)) return entry->Choose();
        }
        throw RuntimeError(ErrorNumber::Internal, u"no menu entry " + Text(name));
    }
    /// The loaded form of that name, or null.
    Form* Window(TextView name) {
        for (Form* form : toolkit.Windows().Forms()) {
            if (form->Name() == name) return form;
        }
        return nullptr;
    }
    template <class C>
    C& Find(TextView name) {
        return dynamic_cast<C&>(*main->FindControl(name));
    }

    std::unique_ptr<FMain> main;
};

}  // namespace bkfd
