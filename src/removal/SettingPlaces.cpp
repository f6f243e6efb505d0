#include "removal/SettingPlaces.h"

#include <algorithm>

#include "platform/RegistryViews.h"

namespace bkfd {

bool IsInView(const SettingPlace& place, RegistryView view) {
    const auto views = ViewsOf(TheMachine().System(), place.base.root, place.key);
    return std::ranges::find(views, view) != views.end();
}

}  // namespace bkfd
