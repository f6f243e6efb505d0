#include "removal/FSafeRemover.h"

#include <algorithm>

#include "base/RuntimeError.h"
#include "detection/CPaDetector.h"
#include "removal/DisableFiles.h"
#include "resources/StringTable.h"
#include "services/ErrorMode.h"
#include "services/MAPI.h"
#include "ui/Keys.h"
#include "ui/Metrics.h"

namespace bkfd {
namespace {

constexpr int kExplanationHeight = 630;

bool IsBlank(const Text& text) {
    return text.find_first_not_of(u" \r\n") == Text::npos;
}

/// The lines, without the empty ones.
std::vector<Text> LinesOf(TextView text) {
    std::vector<Text> lines;
    while (!text.empty()) {
        const std::size_t end = std::min(text.find_first_of(u"\r\n"), text.size());
        if (end > 0) lines.emplace_back(text.substr(0, end));
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return lines;
}

}  // namespace

FSafeRemover::FSafeRemover() : HidingForm(u"FSafeRemover") {
    SetCaption(u"Safe Remover");
    SetIconName(u"ABOUT");
    SetClientSize(7500, 5100);
    cmdFindSuspiciousFiles.SetVisible(false);
    cmdDisableParasites.SetDefault(true);
    ClosesBy(cmdCancel);
    onLoad = [this] { Form_Load(); };
    onResize = [this] { Form_Resize(); };
    onKeyUp = [this](int& keyCode, int shift) { Form_KeyUp(keyCode, shift); };
    for (Button* button : {&cmdDisableParasites, &cmdPaste, &cmdFindSuspiciousFiles, &cmdCancel}) {
        button->onKeyUp = [this](int& keyCode, int shift) { Form_KeyUp(keyCode, shift); };
    }
    txtFiles.onKeyDown = [this](int& keyCode, int shift) { txtFiles_KeyDown(keyCode, shift); };
    Image1.onDoubleClick = [this] { Image1_DblClick(); };
    cmdDisableParasites.onClick = [this] { cmdDisableParasites_Click(); };
    cmdPaste.onClick = [this] { cmdPaste_Click(); };
    cmdFindSuspiciousFiles.onClick = [this] { cmdFindSuspiciousFiles_Click(); };
}

void FSafeRemover::Form_Load() {
    lbl1.SetCaption(ResourceString(StringId::SafeRemoverExplanation));
    lbl2.SetCaption(ResourceString(StringId::SafeRemoverPrompt));
}

// ---------------------------------------------------------------- disabling

void FSafeRemover::cmdDisableParasites_Click() {
    const Text source = u"FSafeRemover.cmdDisableParasites_Click";
    try {
        if (IsBlank(txtFiles.GetText())) {
            ShowMessage(ResourceString(StringId::TypeFilenames), MessageStyle::Exclamation);
            return txtFiles.SetFocus();
        }
        const int style = MessageStyle::Exclamation | MessageStyle::OkCancel;
        if (ShowMessage(ResourceString(StringId::AskDisablePrograms), style) != MessageResult::Ok) {
            return;
        }
        NamedFiles named;
        if (!CollectFilesToDisable(LinesOf(txtFiles.GetText()), logger_, named)) return;
        DisableFiles(named.files, logger_, source);
    } catch (...) {
        const RuntimeError error = CurrentError();
        logger_->Failure(error, LogLevel::SystemFailure, source);
        ShowMessage(ResourceString(StringId::CannotDisablePrograms) + error.Description(),
                    MessageStyle::Exclamation);
    }
    Disabled();  // part of it, when it failed
}

// ---------------------------------------------------------------- the search

void FSafeRemover::cmdFindSuspiciousFiles_Click() {
    const bool done =
        LogErrors(*logger_, LogLevel::SystemFailure, u"FSafeRemover.cmdFindSuspiciousFiles_Click",
                  [this] { FindSuspiciousFiles(); });
    if (!done) TheToolkit().SetPointer(Pointer::Default);
}

void FSafeRemover::FindSuspiciousFiles() {
    TheToolkit().SetPointer(Pointer::Hourglass);
    CPaDetector detector;
    detector.Init(logger_, nullptr);
    KeyedList files;
    detector.DetectSuspiciousFiles(files);
    SortKeyedList(files);
    Text lines;
    for (const Variant& file : files) lines += file.AsText() + u"\r\n";
    SetFiles(lines);
    TheToolkit().SetPointer(Pointer::Default);
    ShowMessage(
        ResourceString(files.Count() == 0 ? StringId::NothingSuspicious : StringId::SearchComplete),
        MessageStyle::Information);
}

void FSafeRemover::ToggleSearchButton(const Text& source) {
    cmdFindSuspiciousFiles.SetVisible(!cmdFindSuspiciousFiles.Visible());
    if (!cmdFindSuspiciousFiles.Visible()) return;
    logger_->Trace(u"Enabling FindSuspiciousFiles button", source);
}

void FSafeRemover::Image1_DblClick() {
    ToggleSearchButton(u"FSafeRemover.Image1_DblClick");
}

/// The keys of the whole window, wherever the focus is.
void FSafeRemover::Form_KeyUp(int keyCode, int) {
    if (keyCode == Key::F6) ToggleSearchButton(u"FSafeRemover.Form_KeyUp");
}

// ---------------------------------------------------------------- pasting

void FSafeRemover::txtFiles_KeyDown(int& keyCode, int shift) {
    const bool pastes = (keyCode == 'V' && shift == Shift::Control) ||
                        (keyCode == Key::Insert && shift == Shift::Shift);
    if (!pastes) return Form_KeyUp(keyCode, shift);
    keyCode = 0;  // the box mustn't paste by itself
    cmdPaste_Click();
}

void FSafeRemover::cmdPaste_Click() {
    LogErrors(*logger_, LogLevel::SystemFailure, u"FSafeRemover.cmdPaste_Click",
              [this] { Paste(TheToolkit().ClipboardText()); });
}

void FSafeRemover::Paste(const Text& clipboard) {
    if (clipboard.empty()) {
        ShowMessage(ResourceString(StringId::ClipboardIsEmpty), MessageStyle::Information);
        return;
    }
    Text text = Trim(Replace(txtFiles.GetText(), clipboard, u""));
    if (!text.empty() && !text.ends_with(u"\r\n")) text += u"\r\n";
    const char16_t* lineEnd = u"";
    for (const Text& file : DecodedFileNames(clipboard)) {
        text += lineEnd + file;
        lineEnd = u"\r\n";
    }
    SetFiles(std::move(text));
}

/// The user goes on typing behind it.
void FSafeRemover::SetFiles(Text text) {
    txtFiles.SetText(std::move(text));
    txtFiles.Select(txtFiles.GetText().size(), 0);
    txtFiles.SetFocus();
}

// ---------------------------------------------------------------- layout

void FSafeRemover::Form_Resize() {
    using namespace Metrics;
    const int width = Width() - 2 * kMargin;
    const int textLeft = kMargin + kPictureSize + kGap;
    const int promptTop = kMargin + kExplanationHeight + kGap;
    const int listTop = promptTop + kLabelHeight + kLabelGap;
    const int buttonTop = Height() - kMargin - kButtonHeight;
    Image1.SetBounds({kMargin, kMargin, kPictureSize, kPictureSize});
    lbl1.SetBounds({textLeft, kMargin, Width() - kMargin - textLeft, kExplanationHeight});
    lbl2.SetBounds({kMargin, promptTop, width, kLabelHeight});
    txtFiles.SetBounds({kMargin, listTop, width, buttonTop - kGap - listTop});

    constexpr int kDisableWidth = 1800;
    constexpr int kFindWidth = 2100;
    constexpr int kSmallWidth = 1200;
    int left = kMargin;
    const auto place = [&](Button& button, int buttonWidth) {
        button.SetBounds({left, buttonTop, buttonWidth, kButtonHeight});
        left += buttonWidth + kGap;
    };
    place(cmdDisableParasites, kDisableWidth);
    place(cmdPaste, kSmallWidth);
    place(cmdFindSuspiciousFiles, kFindWidth);
    left = std::max(left, Width() - kMargin - kSmallWidth);
    place(cmdCancel, kSmallWidth);
}

}  // namespace bkfd
