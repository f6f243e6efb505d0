#include "app/FAbout.h"

#include "app/HomePage.h"
#include "resources/BuildSettings.h"
#include "ui/Keys.h"
#include "ui/Metrics.h"

namespace bkfd {
namespace {

constexpr int kWhite = 0xFFFFFF;
constexpr int kFrameInset = 45;
constexpr int kLogoSize = 720;
constexpr int kTextHeight = 3 * Metrics::kLabelHeight;
constexpr int kOkWidth = 1200;

/// The product's, on purpose not the program's own, which the log tells.
constexpr char16_t kVersion[] = u"4.53";

}  // namespace

FAbout::FAbout() : Form(u"FAbout") {
    SetCaption(u"About Brackenfold");
    SetBorder(FormBorder::Fixed);
    SetClientSize(5400, 2040);
    SetKeyPreview(true);
    cmdOK.SetDefault(true);
    lblVisitTarnwick.SetLink(true);
    lblVisitTarnwick.SetAutoSize(true);  // only the text is the link, not the place beside it
    onLoad = [this] { Form_Load(); };
    onResize = [this] { Form_Resize(); };
    onKeyPress = [this](int& character) { Form_KeyPress(character); };
    cmdOK.onClick = [this] { cmdOK_Click(); };
    Image1.onDoubleClick = OpenHomePage;
    lblVisitTarnwick.onMouseUp = [](int button, int, int, int) {
        if (button == MouseButton::Left) OpenHomePage();
    };
}

void FAbout::Form_Load() {
    lblText.SetCaption(u"Brackenfold Version " + Text(kVersion) +
                       u"\r\n \r\nCopyright \u00A9 Tarnwick Labs. All rights reserved.");
    lblVisitTarnwick.SetCaption(Replace(BuildSettings::HomePage, u"&", u"&&"));
    DrawOutline({{kFrameInset, kFrameInset, Width() - 2 * kFrameInset, Height() - 2 * kFrameInset},
                 kWhite});
}

void FAbout::Form_KeyPress(int& character) {
    if (character != Key::Escape) return;
    character = 0;
    cmdOK_Click();
}

void FAbout::cmdOK_Click() {
    Unload();
}

void FAbout::Form_Resize() {
    using namespace Metrics;
    const int textLeft = kMargin + kLogoSize + kMargin;
    const int textWidth = Width() - kMargin - textLeft;
    const int buttonTop = Height() - kMargin - kButtonHeight;
    const int linkTop = kMargin + kTextHeight + kGap;
    Image1.SetBounds({kMargin, kMargin, kLogoSize, kLogoSize});
    lblText.SetBounds({textLeft, kMargin, textWidth, kTextHeight});
    lblVisitTarnwick.SetLeft(textLeft);
    lblVisitTarnwick.SetTop(linkTop);
    StaticLine1.SetBounds({kMargin, buttonTop - kGap, Width() - 2 * kMargin, 30});
    cmdOK.SetBounds({Width() - kMargin - kOkWidth, buttonTop, kOkWidth, kButtonHeight});
}

}  // namespace bkfd
