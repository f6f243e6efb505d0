#include "detection/StartupItems.h"

#include <algorithm>

#include "platform/RegistryViews.h"

namespace bkfd {
namespace {

/// "RunOnce\Setup" exists for the machine alone.
constexpr StartupPlace kPlaces[] = {
    {HKLM, u"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Run"},
    {HKCU, u"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Run"},
    {HKLM, u"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\RunServices"},
    {HKCU, u"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\RunServices"},
    {HKLM, u"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\RunOnce"},
    {HKCU, u"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\RunOnce"},
    {HKLM, u"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\RunOnce\\Setup"},
    {HKLM, u"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\RunServicesOnce"},
    {HKCU, u"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\RunServicesOnce"},
    {HKLM, u"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\policies\\Explorer\\Run", true},
    {HKCU, u"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\policies\\Explorer\\Run", true},
};

}  // namespace

std::vector<StartupPlace> StartupPlaces() {
    std::vector<StartupPlace> places;
    for (const RegistryView view : {RegistryView::Native, RegistryView::Bits32}) {
        for (StartupPlace place : kPlaces) {
            const auto views = ViewsOf(TheMachine().System(), place.base.root, place.key);
            if (std::ranges::find(views, view) == views.end()) continue;
            place.base.view = view;
            places.push_back(place);
        }
    }
    return places;
}

bool IsStartupPlace(RegistryRoot root, TextView key) {
    return std::ranges::any_of(kPlaces, [&](const StartupPlace& place) {
        return place.base.root == root && EqualsIgnoreCase(place.key, key);
    });
}

}  // namespace bkfd
