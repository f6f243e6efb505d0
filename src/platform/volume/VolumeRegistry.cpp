#include "platform/volume/VolumeRegistry.h"

#include <algorithm>
#include <unordered_map>
#include <unordered_set>

namespace bkfd {
namespace {

/// "a\b" of "\A\\B".
Text Folded(TextView key) {
    Text folded;
    for (TextView part = NextKeyComponent(key); !part.empty(); part = NextKeyComponent(key)) {
        if (!folded.empty()) folded += u'\\';
        folded += ToLower(part);
    }
    return folded;
}

/// The key's components behind the first `count` ones.
TextView Behind(TextView key, std::size_t count) {
    for (; count > 0; --count) (void)NextKeyComponent(key);
    return key;
}

}  // namespace

void VolumeRegistry::Mount(RegistryRoot root, TextView key, Store store, TextView below) {
    const std::size_t last = key.rfind(u'\\');
    const Text name(last == TextView::npos ? key : key.substr(last + 1));
    mounts_[root][Folded(key)] = {name, std::move(store), Text(below), {}};
}

void VolumeRegistry::MountUnreadable(RegistryRoot root, TextView key, Status error) {
    Mount(root, key, nullptr);
    mounts_[root][Folded(key)].error = error;
}

void VolumeRegistry::MountAlso(RegistryRoot root, TextView key, RegistryRoot otherRoot,
                               TextView other) {
    const auto behind = [](const Text& path, const Text& above, Text& rest) {
        if (!path.starts_with(above)) return false;
        rest = path.substr(above.size());
        return rest.empty() || above.empty() || rest.front() == u'\\';
    };
    const Text target = Folded(key);
    const Text source = Folded(other);
    Mounts taken;
    Text rest;
    for (const auto& [path, mounted] : mounts_[otherRoot]) {
        if (behind(path, source, rest)) taken[rest] = mounted;
    }
    std::erase_if(mounts_[root], [&](const auto& one) { return behind(one.first, target, rest); });
    for (auto& [path, mounted] : taken) {
        const bool isLead = target.empty() && path.starts_with(u'\\');
        mounts_[root][target + (isLead ? path.substr(1) : path)] = std::move(mounted);
    }
}

void VolumeRegistry::Unmount(RegistryRoot root, TextView key) {
    mounts_[root].erase(Folded(key));
}

VolumeRegistry::Place VolumeRegistry::Locate(RegistryRoot root, TextView key) const {
    const auto of = mounts_.find(root);
    if (of == mounts_.end()) return {nullptr, {}, {SystemError::FileNotFound}, false};
    const Text folded = Folded(key);
    const auto levels = [](TextView path) {
        return path.empty() ? 0U : 1U + static_cast<std::size_t>(std::ranges::count(path, u'\\'));
    };
    for (TextView path = folded;;) {
        const auto mount = of->second.find(path);
        if (mount != of->second.end()) {
            const Mounted& mounted = mount->second;
            const TextView rest = Behind(key, levels(path));
            Text inside = mounted.below;
            if (!inside.empty() && !rest.empty() && rest.front() != u'\\') inside += u'\\';
            inside += rest;
            return {mounted.store.get(), inside, mounted.error, path.size() == folded.size()};
        }
        if (path.empty()) return {nullptr, {}, {SystemError::FileNotFound}, false};
        const std::size_t last = path.rfind(u'\\');
        path = path.substr(0, last == TextView::npos ? 0 : last);
    }
}

std::vector<Text> VolumeRegistry::MountsBelow(RegistryRoot root, TextView key) const {
    std::vector<Text> names;
    const auto of = mounts_.find(root);
    if (of == mounts_.end()) return names;
    const Text above = Folded(key);
    for (const auto& [path, mounted] : of->second) {
        TextView rest = path;
        if (!above.empty()) {
            if (!rest.starts_with(above) || rest.size() <= above.size() ||
                rest[above.size()] != u'\\') {
                continue;
            }
            rest.remove_prefix(above.size() + 1);
        }
        if (rest.empty()) continue;
        const bool isDirect = rest.find(u'\\') == TextView::npos;
        const Text name = isDirect ? mounted.name : Text(rest.substr(0, rest.find(u'\\')));
        const bool isThere = std::ranges::any_of(
            names, [&](const Text& other) { return EqualsIgnoreCase(other, name); });
        if (!isThere) names.push_back(name);
    }
    return names;
}

Result<std::uint64_t> VolumeRegistry::LastWritten(RegistryRoot root, TextView key) const {
    const Place place = Locate(root, key);
    if (place.store == nullptr) return place.error;
    return place.store->LastWritten(place.key);
}

Status VolumeRegistry::FindKey(RegistryRoot root, TextView key) {
    const Place place = Locate(root, key);
    if (place.store != nullptr) {
        const Status found = place.store->FindKey(place.key);
        if (!found.IsNotThere()) return found;
    } else if (!place.error.IsNotThere()) {
        return place.error;
    }
    const bool isAbove = Folded(key).empty() || !MountsBelow(root, key).empty();
    return {isAbove ? SystemError::Success : SystemError::FileNotFound};
}

Result<RegistryValue> VolumeRegistry::QueryValue(RegistryRoot root, TextView key, TextView name) {
    const Place place = Locate(root, key);
    if (place.store == nullptr) return place.error;
    return place.store->QueryValue(place.key, name);
}

Result<std::vector<Text>> VolumeRegistry::EnumKeys(RegistryRoot root, TextView key) {
    const Status found = FindKey(root, key);
    if (!found.IsOk()) return found;
    const Place place = Locate(root, key);
    std::vector<Text> names = MountsBelow(root, key);
    if (place.store == nullptr) return names;
    const auto inside = place.store->EnumKeys(place.key);
    if (inside.IsNotThere()) return names;
    if (!inside.IsOk()) return inside;
    if (names.empty()) return inside;
    std::unordered_set<Text> seen;
    for (const Text& name : names) seen.insert(ToLower(name));
    for (const Text& name : inside.value) {
        if (seen.insert(ToLower(name)).second) names.push_back(name);
    }
    return names;
}

Result<std::vector<Text>> VolumeRegistry::EnumValues(RegistryRoot root, TextView key) {
    const Status found = FindKey(root, key);
    if (!found.IsOk()) return found;
    const Place place = Locate(root, key);
    if (place.store == nullptr) return std::vector<Text>();
    auto inside = place.store->EnumValues(place.key);
    if (inside.IsNotThere()) return std::vector<Text>();
    return inside;
}

Status VolumeRegistry::SetValue(RegistryRoot root, TextView key, TextView name,
                                const RegistryValue& value) {
    const Place place = Locate(root, key);
    if (place.store != nullptr) return place.store->SetValue(place.key, name, value);
    return {place.error.IsNotThere() ? SystemError::AccessDenied : place.error.code};
}

Status VolumeRegistry::DeleteValue(RegistryRoot root, TextView key, TextView name) {
    const Place place = Locate(root, key);
    return place.store == nullptr ? place.error : place.store->DeleteValue(place.key, name);
}

Status VolumeRegistry::DeleteKey(RegistryRoot root, TextView key) {
    const Place place = Locate(root, key);
    if (place.isMount || !MountsBelow(root, key).empty()) return {SystemError::AccessDenied};
    return place.store == nullptr ? place.error : place.store->DeleteKey(place.key);
}

std::unique_ptr<RegistryRoots> VolumeRegistry::Fork() const {
    auto copy = std::make_unique<VolumeRegistry>();
    std::unordered_map<RegistryStore*, Store> forked;  // a store seen at several keys stays one
    for (const auto& [root, mounts] : mounts_) {
        for (const auto& [path, mounted] : mounts) {
            Mounted& made = copy->mounts_[root][path] = mounted;
            if (mounted.store == nullptr) continue;
            Store& one = forked[mounted.store.get()];
            if (one == nullptr) one = mounted.store->Fork();
            made.store = one;
        }
    }
    return copy;
}

}  // namespace bkfd
