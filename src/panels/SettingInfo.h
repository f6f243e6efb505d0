#pragma once

#include <vector>

#include "base/Text.h"
#include "removal/SettingPlaces.h"
#include "services/RegistryAccess.h"

namespace bkfd {

/// Settings are numbered from 1.
inline constexpr int kSettingCount = 26;

/// What a setting's value is worth; the key of an icon as well.
namespace SettingStatus {
inline constexpr TextView kAccepted = u"OK";
inline constexpr TextView kSuspect = u"i";
inline constexpr TextView kOwnStartPage = u"IE";  // a start page that is merely not a known one
}  // namespace SettingStatus

/// A registry setting that decides which page the browser opens, as the list shows it.
struct SettingInfo {
    bool shown = false;
    Text status;  // one of `SettingStatus`, or empty for a value that reads empty
    Text description;
    Text value;  // as it stands in the registry
    SettingPlace place{RegistryRoot::LocalMachine, {}, {}};
};

/// A setting in one of the registry's views.
struct SettingInView {
    int number = 0;
    RegistryView view = RegistryView::Native;
};

/// All settings of the machine by number, those of the 32-bit view behind the others.
std::vector<SettingInView> AllSettings();

/// Reads and judges one setting. A value that can't be read counts as empty, and an empty one isn't
/// shown. A number out of range is a RuntimeError SubscriptOutOfRange. The application state must
/// be set.
SettingInfo GetSettingInfo(RegistryAccess& registry, int settingNumber,
                           RegistryView view = RegistryView::Native);

}  // namespace bkfd
