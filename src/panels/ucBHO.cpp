#include "panels/ucBHO.h"

#include <algorithm>

#include "detection/CPaDetector.h"
#include "detection/HelperObjects.h"
#include "ignore/PassOver.h"
#include "panels/IgnoreChanges.h"
#include "panels/MFileProps.h"
#include "platform/RegistryViews.h"
#include "platform/undo/RecordedOperation.h"
#include "processes/CProcessManager.h"
#include "resources/StringTable.h"
#include "services/ErrorMode.h"
#include "services/FileUtil.h"
#include "services/MAPI.h"
#include "services/SysUtil.h"
#include "ui/Form.h"
#include "ui/Keys.h"
#include "ui/Metrics.h"
#include "undo/KeptChanges.h"

namespace bkfd {
namespace {

constexpr int kDeleteWidth = 2700;
constexpr int kFilenameLabelWidth = 1050;
constexpr TextView kListLabel = u"Detected Browser Helper Objects";
constexpr TextView kIgnoredSuffix = u", ignored";

const ItemNode& NodeOf(const ListItem& row) {
    return dynamic_cast<const ItemNode&>(*row.Tag());
}

/// As it is without what the row says of the ignore list.
Text NameOf(const ListItem& row) {
    return NodeOf(row).params(u"Name").Values(1).AsText();
}

Text FileOf(const ListItem& row) {
    return NodeOf(row).params(u"DLL").Values(1).AsText();
}

RegistryView ViewOf(const ListItem& row) {
    return NodeOf(row).params().Exists(u"View") ? RegistryView::Bits32 : RegistryView::Native;
}

HelperObject ObjectOf(const ListItem& row) {
    return {NodeOf(row).Id, NameOf(row), FileOf(row), ViewOf(row)};
}

bool IsIgnored(const ListItem& row) {
    return row.GetText() != NameOf(row);
}

}  // namespace

ucBHO::ucBHO(Container& parent, Text name) : TabPanel(parent, std::move(name)) {
    txtFilename.SetReadOnly(true);
    lv.onItemClick = [this](const ListItemRef&) { lv_ItemClick(); };
    lv.onKeyUp = [this](int& keyCode, int shift) { lv_KeyUp(keyCode, shift); };
    lv.onMouseUp = [this](int button, int, int, int) { lv_MouseUp(button); };
    cmdDelete.onClick = [this] { cmdDelete_Click(); };
    mnuDelete.onClick = [this] { mnuDelete_Click(); };
    mnuIgnore.onClick = [this] { mnuIgnore_Click(); };
    mnuStopIgnoring.onClick = [this] { mnuStopIgnoring_Click(); };
    mnuProperties.onClick = [this] { mnuProperties_Click(); };
    onResize = [this] { UserControl_Resize(); };
}

template <class Body>
void ucBHO::Guarded(TextView operation, Body&& body) {
    LogErrors(*logger_, LogLevel::WindowFailure, Text(u"ucBHO.").append(operation),
              std::forward<Body>(body));
}

void ucBHO::Init(LoggerRef logger) {
    logger_ = std::move(logger);
    RefreshList();
}

// ---------------------------------------------------------------- the list

std::shared_ptr<ItemList> ucBHO::EnumBHOs() {
    auto items = std::make_shared<ItemList>();
    Guarded(u"EnumBHOs", [&] {
        fileChecker_.emplace();  // its Init isn't called, on purpose: short names stay short
        RegistryAccess registry;
        for (const RegistryView view : HelperObjectViews()) {
            const RegistryBase base = {RegistryRoot::LocalMachine, view};
            FillBHOInfo(registry.EnumSubkeys(base, kHelperObjectsKey), *items, base);
        }
    });
    return items;
}

void ucBHO::FillBHOInfo(const KeyedList& keyNames, ItemList& items, RegistryBase base) {
    Guarded(u"FillBHOInfo", [&] {
        RegistryAccess registry;
        for (const Variant& keyName : keyNames) {
            const Text clsid = keyName.AsText();
            if (!IsHelperObjectName(clsid)) continue;
            const HelperObject object = ReadHelperObject(registry, *fileChecker_, clsid, base.view);
            const KeyedList fields = SysUtil::GetVersionStrings(object.file);
            ItemNode& item = items.Add();
            item.Id = clsid;
            const Text name =
                DisplayName({object.name, SysUtil::VersionString(fields, u"ProductName"),
                             object.file, ResourceString(StringId::NoName)});
            item.params().Add(u"Name", name + Text(ViewSuffix(base.view)));
            item.params().Add(u"DLL", object.file);
            item.params().Add(u"Manufacturer", SysUtil::VersionString(fields, u"CompanyName"));
            if (base.view == RegistryView::Bits32) item.params().Add(u"View", u"32-bit");
        }
    });
}

void ucBHO::RefreshList() {
    Guarded(u"RefreshList", [&] {
        lv.Clear();
        txtFilename.SetText({});
        const auto items = EnumBHOs();
        for (const auto& item : *items) {
            lv.Add(item->params(u"Name").Values(1).AsText(), u"li")->SetTag(item);
        }
        if (lv.Count() == 0) return;
        lv.SetSelectedIndex(1);
        lv_ItemClick();
    });
    ShowIgnored();
    cmdDelete.SetEnabled(lv.Count() > 0);
}

void ucBHO::ShowIgnored() {
    Guarded(u"ShowIgnored", [&] {
        PassOver passOver(nullptr);
        std::size_t ignored = 0;
        for (std::size_t index = 1; index <= lv.Count(); ++index) {
            ListItem& row = *lv.Item(index);
            const bool isIgnored = !passOver.EntriesOf(ObjectOf(row)).empty();
            if (isIgnored) ++ignored;
            if (isIgnored != IsIgnored(row)) {
                row.SetText(NameOf(row) + Text(isIgnored ? kIgnoredSuffix : TextView()));
            }
        }
        const Text count = ignored == 0 ? Text() : u" (" + IgnoredText(ignored) + u")";
        Label4.SetCaption(Text(kListLabel) + count + u":");
    });
}

void ucBHO::lv_ItemClick() {
    Guarded(u"lv_ItemClick", [&] {
        const ListItemRef row = lv.SelectedItem();
        if (row == nullptr) return txtFilename.SetText({});
        const Text file = FileOf(*row);
        txtFilename.SetText(file.empty() ? ResourceString(StringId::HelperObjectWithoutFile)
                                         : file);
    });
}

// ---------------------------------------------------------------- context actions

void ucBHO::lv_KeyUp(int keyCode, int shift) {
    Guarded(u"lv_KeyUp", [&] {
        if (keyCode == Key::ContextMenu) lv_MouseUp(MouseButton::Right);
        if (keyCode != Key::Enter || shift != Shift::Alt) return;
        contextItem_ = lv.SelectedItem();
        if (contextItem_ != nullptr && !FileOf(*contextItem_).empty()) mnuProperties_Click();
    });
}

void ucBHO::lv_MouseUp(int button) {
    Guarded(u"lv_MouseUp", [&] {
        if (button != MouseButton::Right) return;
        contextItem_ = lv.SelectedItem();
        if (contextItem_ == nullptr) return;
        const bool hasFile = !FileOf(*contextItem_).empty();
        mnuContext1.SetVisible(hasFile);
        mnuProperties.SetVisible(hasFile);
        mnuIgnore.SetVisible(!IsIgnored(*contextItem_));
        mnuStopIgnoring.SetVisible(IsIgnored(*contextItem_));
        HostForm()->PopupMenu(mnuContext);
    });
}

void ucBHO::mnuDelete_Click() {
    cmdDelete_Click();
}

void ucBHO::mnuProperties_Click() {
    Guarded(u"mnuProperties_Click", [&] {
        if (contextItem_ == nullptr) return;
        const Text file = FileOf(*contextItem_);
        if (FileUtil::FileExists(file)) {
            ShowFileProperties(file, TheToolkit().NativeHandle(*HostForm()));
            return;
        }
        ShowMessage(SysUtil::FormatTemplate(ResourceString(StringId::FileNotFound), {file}),
                    MessageStyle::Exclamation);
    });
}

// ---------------------------------------------------------------- the ignore list

void ucBHO::mnuIgnore_Click() {
    Guarded(u"mnuIgnore_Click", [&] {
        if (contextItem_ == nullptr) return;
        StartIgnoring(ObjectOf(*contextItem_), *logger_, u"ucBHO.mnuIgnore_Click");
        ShowIgnored();
    });
}

/// All that holds for it goes, by class and by content.
void ucBHO::mnuStopIgnoring_Click() {
    Guarded(u"mnuStopIgnoring_Click", [&] {
        if (contextItem_ == nullptr) return;
        const auto entries = PassOver(nullptr).EntriesOf(ObjectOf(*contextItem_));
        StopIgnoring(NameOf(*contextItem_), entries, *logger_, u"ucBHO.mnuStopIgnoring_Click");
        ShowIgnored();
    });
}

// ---------------------------------------------------------------- deletion

void ucBHO::cmdDelete_Click() {
    Guarded(u"cmdDelete_Click", [&] {
        const ListItemRef row = lv.SelectedItem();
        if (row == nullptr) return;
        const Text question = SysUtil::FormatTemplate(
            ResourceString(StringId::AskDeleteHelperObject), {NameOf(*row)});
        const int style = MessageStyle::Exclamation | MessageStyle::OkCancel;
        if (ShowMessage(question, style) != MessageResult::Ok) return;
        DeleteHelperObject(*row);
        RefreshList();
    });
}

/// The file of a known parasite is put out of action first, even if the deletion is then refused.
void ucBHO::DeleteHelperObject(const ListItem& row) {
    const Text name = NameOf(row);
    const Text& clsid = NodeOf(row).Id;
    const Text file = FileOf(row);
    const RecordedOperation operation(UndoOperation::kDeleteHelperObject);
    logger_->Trace(SysUtil::FormatTemplate(u"Deleting BHO(%1, '%2', '%3')", {clsid, name, file}),
                   u"ucBHO.cmdDelete_Click");
    CPaDetector detector;
    detector.Init(logger_, nullptr);
    if (!file.empty() && detector.IsParasiteBHO(file)) {
        CProcessManager processManager;
        processManager.Init(logger_);
        processManager.RenameParasiteFileEx(file);
    }
    RegistryAccess registry;
    if (registry.DeleteKey({RegistryRoot::LocalMachine, ViewOf(row)}, HelperObjectKey(clsid))) {
        ShowMessage(SysUtil::FormatTemplate(ResourceString(StringId::HelperObjectDeleted), {name}),
                    MessageStyle::Information);
    } else if (!TellIfNotKept(*logger_, u"ucBHO.cmdDelete_Click")) {
        ShowMessage(ResourceString(StringId::HelperObjectNotDeleted), MessageStyle::Exclamation);
    }
}

// ---------------------------------------------------------------- layout

void ucBHO::UserControl_Resize() {
    using namespace Metrics;
    const int listTop = kPageTop + kLabelHeight + kLabelGap;
    const int buttonTop = Height() - kButtonHeight;
    const int fileTop = buttonTop - kGap - kTextBoxHeight;
    Label4.SetBounds({0, kPageTop, Width(), kLabelHeight});
    lv.SetBounds({0, listTop, Width(), fileTop - kGap - listTop});
    lv.SetColumnWidth(1, std::max(0, Width() - kScrollBarWidth));
    lblFilename.SetBounds(
        {0, fileTop + (kTextBoxHeight - kLabelHeight) / 2, kFilenameLabelWidth, kLabelHeight});
    txtFilename.SetBounds(
        {kFilenameLabelWidth, fileTop, Width() - kFilenameLabelWidth, kTextBoxHeight});
    cmdDelete.SetBounds({Width() - kDeleteWidth, buttonTop, kDeleteWidth, kButtonHeight});
}

}  // namespace bkfd
