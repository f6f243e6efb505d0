#include "panels/ucCS.h"

#include <algorithm>

#include "panels/SettingInfo.h"
#include "platform/RegistryViews.h"
#include "removal/CPaRemover.h"
#include "resources/StringTable.h"
#include "services/ErrorMode.h"
#include "services/MAPI.h"
#include "ui/Metrics.h"
#include "undo/KeptChanges.h"

namespace bkfd {
namespace {

constexpr int kRed = 255;
constexpr int kNameWidth = 5100;
constexpr int kRestoreWidth = 3300;

}  // namespace

ucCS::ucCS(Container& parent, Text name)
    : TabPanel(parent, std::move(name)),
      lv(*this, u"lv", {{u"Name", kNameWidth}, {u"Current Value", 0}},
         {{u"i", u"SUSPECT"}, {u"OK", u"ACCEPTED"}, {u"IE", u"BROWSER"}}) {
    cmdRestore.onClick = [this] { cmdRestore_Click(); };
    onResize = [this] { UserControl_Resize(); };
}

void ucCS::Init(LoggerRef logger) {
    logger_ = std::move(logger);
    RefreshList();
}

void ucCS::RefreshList() {
    lv.Clear();
    RegistryAccess registry;
    for (const auto& [number, view] : AllSettings()) {
        const SettingInfo info = GetSettingInfo(registry, number, view);
        if (!info.shown) continue;
        AddSetting(info.description + Text(ViewSuffix(view)), info.status, info.value);
    }
    if (lv.Count() > 0) lv.SetSelectedIndex(1);
}

void ucCS::AddSetting(const Text& description, const Text& status, const Text& value) {
    const ListItemRef item = lv.Add(description, status);
    item->SetSubItem(1, value);
    if (status == SettingStatus::kSuspect) item->SetSubItemLook(1, true, kRed);
}

void ucCS::cmdRestore_Click() {
    LogErrors(*logger_, LogLevel::SystemFailure, u"ucCS.cmdRestore_Click", [&] {
        const int style = MessageStyle::Exclamation | MessageStyle::OkCancel;
        if (ShowMessage(ResourceString(StringId::AskRestoreSettings), style) != MessageResult::Ok) {
            return;
        }
        CPaRemover remover;
        remover.Init(logger_);
        remover.RestoreConfigurationSettings();
        if (TellIfNotKept(*logger_, u"ucCS.cmdRestore_Click")) return;
        ShowMessage(ResourceString(StringId::SettingsRestored), MessageStyle::Information);
        RefreshList();
    });
}

void ucCS::UserControl_Resize() {
    using namespace Metrics;
    const int listTop = kPageTop + kLabelHeight + kLabelGap;
    const int buttonTop = Height() - kButtonHeight;
    Label4.SetBounds({0, kPageTop, Width(), kLabelHeight});
    lv.SetBounds({0, listTop, Width(), buttonTop - kGap - listTop});
    lv.SetColumnWidth(2, std::max(0, Width() - kNameWidth - kScrollBarWidth));
    cmdRestore.SetBounds({Width() - kRestoreWidth, buttonTop, kRestoreWidth, kButtonHeight});
    lblFilename.SetBounds({0, buttonTop + (kButtonHeight - kLabelHeight) / 2,
                           Width() - kRestoreWidth - kGap, kLabelHeight});
}

}  // namespace bkfd
