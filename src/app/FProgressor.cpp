#include "app/FProgressor.h"

#include "resources/StringTable.h"
#include "services/ErrorMode.h"
#include "services/SysUtil.h"
#include "ui/Metrics.h"

namespace bkfd {
namespace {

constexpr int kWidthBesideText = 1200;

}  // namespace

FProgressor::FProgressor() : Form(u"FProgressor") {
    using namespace Metrics;
    SetCaption(ResourceString(StringId::ProgramTitle));
    SetBorder(FormBorder::Fixed);
    SetClientSize(3000, kPictureSize + 2 * kMargin);
    Image1.SetBounds({kMargin, kMargin, kPictureSize, kPictureSize});
    Label1.SetAutoSize(true);
    Label1.SetLeft(kMargin + kPictureSize + kGap);
    Label1.SetTop(kMargin + (kPictureSize - kLabelHeight) / 2);
    onActivate = [this] { Form_Activate(); };
}

void FProgressor::ShowProgress(const Text& caption, Form* owner, bool modal) {
    Label1.SetCaption(caption);
    SetWindowWidth(Label1.Width() + kWidthBesideText);
    TheToolkit().SetPointer(Pointer::Hourglass);
    if (!modal) return Show(owner);
    ShowModal(owner);
    Finalize();
}

void FProgressor::Form_Activate() {
    ContinueOnError step;
    step([] { SysUtil::PumpMessages(); });
    step([this] { Started(); });
}

void FProgressor::Finalize() {
    ContinueOnError step;
    step([] { TheToolkit().SetPointer(Pointer::Default); });
    step([this] { Unload(); });
}

}  // namespace bkfd
