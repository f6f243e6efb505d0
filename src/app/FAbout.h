#pragma once

#include "panels/StaticLine.h"
#include "ui/Button.h"
#include "ui/Form.h"
#include "ui/Label.h"
#include "ui/Picture.h"

namespace bkfd {

/// The About box.
class FAbout : public Form {
  public:
    FAbout();

  private:
    void Form_Load();
    void Form_KeyPress(int& character);
    void Form_Resize();
    void cmdOK_Click();

    Picture Image1{*this, u"Image1", u"ABOUT"};
    Label lblText{*this, u"lblText"};
    StaticLine StaticLine1{*this, u"StaticLine1"};
    Button cmdOK{*this, u"cmdOK", u"&OK"};  // before the link, so that it has the focus first
    Label lblVisitTarnwick{*this, u"lblVisitTarnwick"};
};

}  // namespace bkfd
