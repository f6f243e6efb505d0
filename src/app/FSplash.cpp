#include "app/FSplash.h"

#include "services/ErrorMode.h"

namespace bkfd {
namespace {

constexpr int kMilliseconds = 3000;

}  // namespace

FSplash::FSplash() : Form(u"FSplash") {
    SetCaption(u"Brackenfold");
    SetBorder(FormBorder::None);
    SetClientSize(6000, 3600);
    onLoad = [this] { Timer1.Start(kMilliseconds); };
    onResize = [this] { Image1.SetBounds({0, 0, Width(), Height()}); };
    Image1.onMouseUp = [this](int, int, int, int) { Finish(); };
    Timer1.onTimer = [this] { Finish(); };
}

void FSplash::Finish() {
    ContinueOnError step;
    step([this] { Timer1.Stop(); });
    step([this] { Unload(); });
}

}  // namespace bkfd
