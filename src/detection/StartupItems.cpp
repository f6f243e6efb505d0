#include "detection/StartupItems.h"

#include <algorithm>

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

std::span<const StartupPlace> StartupPlaces() {
    return kPlaces;
}

bool IsStartupPlace(RegistryRoot root, TextView key) {
    return std::ranges::any_of(kPlaces, [&](const StartupPlace& place) {
        return place.root == root && EqualsIgnoreCase(place.key, key);
    });
}

}  // namespace bkfd
