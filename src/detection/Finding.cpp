#include "detection/Finding.h"

#include <algorithm>

#include "platform/RegistryViews.h"
#include "services/RegistryAccess.h"

namespace bkfd {

std::int32_t FindingList::Find(const Text& path) const {
    return numbers_.Exists(path) ? numbers_.Item(path).AsInteger() : kNone;
}

bool FindingList::Add(const Text& path, Reason reason) {
    const std::int32_t known = Find(path);
    if (known != kNone) {
        AddReason(known, reason);
        return false;
    }
    numbers_.Add(static_cast<std::int32_t>(files_.size()), path);
    files_.push_back({path, {reason}, {}});
    return true;
}

void FindingList::AddReason(std::int32_t number, Reason reason) {
    auto& reasons = files_[static_cast<std::size_t>(number)].reasons;
    if (std::ranges::find(reasons, reason) == reasons.end()) reasons.push_back(reason);
}

void FindingList::AddPlace(std::int32_t number, Place place) {
    if (!keepsPlaces_) return;
    const Text key = ToText(number) + u' ' + ToText(static_cast<std::int32_t>(place.kind)) + u' ' +
                     place.key + u'\\' + place.name + Text(ViewSuffix(place.view));
    if (places_.Exists(key)) return;
    places_.Add(Variant(), key);
    files_[static_cast<std::size_t>(number)].places.push_back(std::move(place));
}

void FindingList::AddRegistryPlaces(const std::vector<HelperObject>& helperObjects,
                                    const std::vector<StartupItem>& startupItems) {
    if (!keepsPlaces_) return;
    std::vector<std::size_t> programPlaces;
    for (const Finding& file : files_) programPlaces.push_back(file.places.size());
    const auto add = [&](const Text& file, Place place) {
        const std::int32_t number = Find(file);
        if (number != kNone) AddPlace(number, std::move(place));
    };
    for (const HelperObject& object : helperObjects) {
        add(object.file, {Place::Kind::HelperObject, object.clsid, {}, {}, object.view});
    }
    for (const StartupItem& item : startupItems) {
        add(item.file, {Place::Kind::Startup,
                        item.valueName,
                        RegistryAccess::RootName(item.base.root) + u'\\' + item.key,
                        {},
                        item.base.view});
    }
    for (std::size_t i = 0; i < files_.size(); ++i) {
        auto& places = files_[i].places;
        const auto registered = places.begin() + static_cast<std::ptrdiff_t>(programPlaces[i]);
        std::rotate(places.begin(), registered, places.end());
    }
}

void FindingList::Remove(const std::vector<bool>& marks) {
    std::vector<Finding> kept;
    for (std::size_t i = 0; i < files_.size(); ++i) {
        if (!marks[i]) kept.push_back(std::move(files_[i]));
    }
    files_ = std::move(kept);
    numbers_.Clear();
    places_.Clear();
    for (const Finding& file : files_) {
        numbers_.Add(static_cast<std::int32_t>(numbers_.Count()), file.path);
    }
}

}  // namespace bkfd
