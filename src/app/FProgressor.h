#pragma once

#include "ui/Form.h"
#include "ui/Label.h"
#include "ui/Picture.h"

namespace bkfd {

/// The progress window: it shows a message, and its owner works inside `Started` while the window
/// is on the screen. There is no second thread; the window paints while the work pumps messages.
class FProgressor : public Form {
  public:
    FProgressor();

    /// Shows the window with the pointer as an hourglass. Modal, it returns when the window has
    /// gone; else at once, and only `Finalize` gives the pointer back.
    void ShowProgress(const Text& caption, Form* owner, bool modal);
    /// Takes the window away and the pointer back. Called by the owner at the end of its work; once
    /// more does no harm.
    void Finalize();

    /// Raised at each activation of the window, the first one and any other.
    Event<> Started;

  private:
    void Form_Activate();

    Picture Image1{*this, u"Image1", u"PROGRESS"};
    Label Label1{*this, u"Label1"};
};

}  // namespace bkfd
