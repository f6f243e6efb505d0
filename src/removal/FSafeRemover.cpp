#include "removal/FSafeRemover.h"

#include <algorithm>

#include "base/RuntimeError.h"
#include "detection/CPaDetector.h"
#include "detection/identity/CFileChecker.h"
#include "removal/CPaRemover.h"
#include "removal/MReboot.h"
#include "removal/processes/CProcessManager.h"
#include "resources/StringTable.h"
#include "services/ErrorMode.h"
#include "services/FileUtil.h"
#include "services/MAPI.h"
#include "services/SysUtil.h"
#include "ui/Keys.h"
#include "ui/Metrics.h"

namespace bkfd {
namespace {

// Numbers of the strings.
constexpr int kClipboardIsEmpty = 129;
constexpr int kAskDisable = 140;
constexpr int kTypeFilenames = 141;
constexpr int kFileNotFound = 142;
constexpr int kDisabled = 143;
constexpr int kExplanation = 144;
constexpr int kPrompt = 145;
constexpr int kCannotDisable = 146;
constexpr int kSearchComplete = 156;
constexpr int kNothingSuspicious = 157;

constexpr int kF6 = Key::F1 + 5;
constexpr int kPictureSize = 480;
constexpr int kExplanationHeight = 630;

bool Confirms(const Text& question, int icon = MessageStyle::Exclamation) {
    return ShowMessage(question, icon | MessageStyle::OkCancel) == MessageResult::Ok;
}

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

/// The bytes as UTF-16LE.
Text TextOfUnits(const Bytes& bytes) {
    Text text;
    for (std::size_t at = 0; at + 1 < bytes.size(); at += 2) {
        text += static_cast<char16_t>(bytes[at] | bytes[at + 1] << 8);
    }
    return text;
}

/// The file name that a text of the log stands for; any other text is what it is.
Text Decoded(const Text& text) {
    if (Find(text, u"\\") != 0) return text;
    try {
        const Text name = TextOfUnits(SysUtil::TextToBytes(text));
        return Find(name, u"\\") != 0 ? name : text;
    } catch (const RuntimeError&) {
        return text;  // not an encoded text at all
    }
}

}  // namespace

FSafeRemover::FSafeRemover() : Form(u"FSafeRemover") {
    SetCaption(u"Safe Remover");
    SetClientSize(7500, 5100);
    cmdFindSuspiciousFiles.SetVisible(false);
    cmdDisableParasites.SetDefault(true);
    cmdCancel.SetCancel(true);
    onLoad = [this] { Form_Load(); };
    onResize = [this] { Form_Resize(); };
    onQueryUnload = [this](bool& cancel, UnloadMode mode) { Form_QueryUnload(cancel, mode); };
    onKeyUp = [this](int& keyCode, int shift) { Form_KeyUp(keyCode, shift); };
    for (Button* button : {&cmdDisableParasites, &cmdPaste, &cmdFindSuspiciousFiles, &cmdCancel}) {
        button->onKeyUp = [this](int& keyCode, int shift) { Form_KeyUp(keyCode, shift); };
    }
    txtFiles.onKeyDown = [this](int& keyCode, int shift) { txtFiles_KeyDown(keyCode, shift); };
    Image1.onDoubleClick = [this] { Image1_DblClick(); };
    cmdDisableParasites.onClick = [this] { cmdDisableParasites_Click(); };
    cmdPaste.onClick = [this] { cmdPaste_Click(); };
    cmdFindSuspiciousFiles.onClick = [this] { cmdFindSuspiciousFiles_Click(); };
    cmdCancel.onClick = [this] { cmdCancel_Click(); };
}

void FSafeRemover::Form_Load() {
    lbl1.SetCaption(ResourceString(kExplanation));
    lbl2.SetCaption(ResourceString(kPrompt));
}

void FSafeRemover::Form_QueryUnload(bool& cancel, UnloadMode mode) {
    if (mode != UnloadMode::ControlMenu) return;
    cancel = true;
    Hide();
}

void FSafeRemover::cmdCancel_Click() {
    Hide();
}

// ---------------------------------------------------------------- disabling

void FSafeRemover::cmdDisableParasites_Click() {
    try {
        if (IsBlank(txtFiles.GetText())) {
            ShowMessage(ResourceString(kTypeFilenames), MessageStyle::Exclamation);
            return;
        }
        if (!Confirms(ResourceString(kAskDisable))) return;
        KeyedList files;
        if (CollectFiles(files)) Disable(files);
    } catch (...) {
        const RuntimeError error = CurrentError();
        logger_->Failure(error, LogLevel::SystemFailure, u"FSafeRemover.cmdDisableParasites_Click");
        ShowMessage(ResourceString(kCannotDisable) + error.Description(),
                    MessageStyle::Exclamation);
    }
}

bool FSafeRemover::CollectFiles(KeyedList& files) {
    CFileChecker checker;
    checker.Init(logger_);
    for (const Text& line : LinesOf(txtFiles.GetText())) {
        const Text file = checker.GetFullFileNameFromShortFilename(Trim(line));
        if (!FileUtil::FileExists(file)) {
            // The message says that it is unloaded from memory; it isn't, on purpose.
            if (!Confirms(SysUtil::FormatTemplate(ResourceString(kFileNotFound), {file}))) {
                return false;
            }
        } else if (!files.Exists(file)) {
            files.Add(file, file);
        }
    }
    return true;
}

/// Helper objects and startup entries stay as they are, and no stamp is written: those belong to
/// the cleanup.
void FSafeRemover::Disable(const KeyedList& files) {
    const Text source = u"FSafeRemover.cmdDisableParasites_Click";
    for (const Variant& file : files) logger_->Trace(u"Disabling " + file.AsText(), source);
    CProcessManager processManager;
    processManager.Init(logger_);
    processManager.RenameParasiteFilesEx(files);
    processManager.TerminateProcessesByModules(files, true);
    CPaRemover remover;
    remover.Init(logger_);
    remover.RestoreConfigurationSettings();
    if (Confirms(ResourceString(kDisabled), MessageStyle::Information)) {
        RestartWindowsAndEnd(*logger_, source);
    }
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
    txtFiles.SetText(lines);
    TheToolkit().SetPointer(Pointer::Default);
    ShowMessage(ResourceString(files.Count() == 0 ? kNothingSuspicious : kSearchComplete),
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
    if (keyCode == kF6) ToggleSearchButton(u"FSafeRemover.Form_KeyUp");
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

void FSafeRemover::Paste(Text clipboard) {
    if (clipboard.empty()) {
        ShowMessage(ResourceString(kClipboardIsEmpty), MessageStyle::Information);
        return;
    }
    Text text = Trim(Replace(txtFiles.GetText(), clipboard, u""));
    if (!text.empty() && !text.ends_with(u"\r\n")) text += u"\r\n";
    txtFiles.SetText(text + Decoded(clipboard));
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
