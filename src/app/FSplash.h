#pragma once

#include "ui/Form.h"
#include "ui/Picture.h"
#include "ui/Timer.h"

namespace bkfd {

/// The splash window: it goes after 3 seconds, or earlier by a click.
class FSplash : public Form {
  public:
    FSplash();

  private:
    void Finish();

    Picture Image1{*this, u"Image1", u"SPLASH", u"Looking at this computer..."};
    Timer Timer1;
};

}  // namespace bkfd
