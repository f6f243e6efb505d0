#include "platform/RegistryViews.h"

#include <algorithm>

namespace bkfd {
namespace {

constexpr TextView kNode = u"Wow6432Node";

/// The kinds of classes that each view has for itself.
constexpr TextView kClassesOfView[] = {u"CLSID", u"DirectShow", u"Interface", u"Media Type",
                                       u"MediaFoundation"};

/// Of HKEY_LOCAL_MACHINE\SOFTWARE, those of the shared keys that the program looks at.
constexpr TextView kSharedSoftware[] = {
    u"Clients",
    u"Policies",
    u"RegisteredApplications",
    u"Microsoft\\Windows\\CurrentVersion\\Policies",
    u"Microsoft\\Windows NT\\CurrentVersion\\ProfileList",
};

/// The first component; `rest` becomes what lies below it.
TextView TakeComponent(TextView& rest) {
    while (rest.starts_with(u'\\')) rest.remove_prefix(1);
    const std::size_t end = std::min(rest.find(u'\\'), rest.size());
    const TextView component = rest.substr(0, end);
    rest.remove_prefix(end);
    return component;
}

/// Takes the key from the path if that leads there or below it.
bool TakeKey(TextView& path, TextView key) {
    TextView rest = path;
    while (!key.empty()) {
        if (!EqualsIgnoreCase(TakeComponent(rest), TakeComponent(key))) return false;
    }
    path = rest;
    return true;
}

bool LeadsToAny(TextView path, std::span<const TextView> keys) {
    return std::ranges::any_of(keys, [&](TextView key) { return TakeKey(path, key); });
}

/// Whether the views have keys of their own at the path below a root's classes.
bool IsClassOfView(TextView path) {
    return LeadsToAny(path, kClassesOfView);
}

/// Whether they have below HKEY_LOCAL_MACHINE\SOFTWARE. The keys of the node aren't looked for in a
/// node once more.
bool IsSoftwareOfView(TextView path) {
    return !TakeKey(path, kNode) && !LeadsToAny(path, kSharedSoftware);
}

/// What of the path leads to the key below which the node lies; nothing if the key is shared.
std::size_t LengthAboveNode(RegistryRoot root, TextView path) {
    const std::size_t size = path.size();
    const bool isMachine = root == RegistryRoot::LocalMachine;
    if (root == RegistryRoot::Users) {
        const TextView user = TakeComponent(path);
        const TextView classes = u"_Classes";
        if (user.size() > classes.size() &&
            EqualsIgnoreCase(user.substr(user.size() - classes.size()), classes)) {
            return IsClassOfView(path) ? size - path.size() : TextView::npos;
        }
    }
    if (root == RegistryRoot::ClassesRoot) return IsClassOfView(path) ? 0 : TextView::npos;
    if (!TakeKey(path, u"Software")) return TextView::npos;
    const std::size_t software = size - path.size();
    if (TakeKey(path, u"Classes")) return IsClassOfView(path) ? size - path.size() : TextView::npos;
    return isMachine && IsSoftwareOfView(path) ? software : TextView::npos;
}

}  // namespace

bool HasTwoViews(SystemFacts& system) {
    return system.GetSystemWow64DirectoryW().IsOk();
}

Text NativeKey(RegistryBase base, TextView subkey) {
    // A path that begins with a backslash is refused by every view.
    if (base.view == RegistryView::Native || subkey.starts_with(u'\\')) return Text(subkey);
    const std::size_t above = LengthAboveNode(base.root, subkey);
    if (above == TextView::npos) return Text(subkey);
    Text key(subkey.substr(0, above));
    if (!key.empty()) key += u'\\';
    key += kNode;
    const TextView below = subkey.substr(above);
    if (!below.empty() && !below.starts_with(u'\\')) key += u'\\';
    return key.append(below);
}

Text NativeKey(SystemFacts& system, RegistryBase base, TextView subkey) {
    if (base.view == RegistryView::Native || !HasTwoViews(system)) return Text(subkey);
    return NativeKey(base, subkey);
}

std::vector<RegistryView> ViewsOf(SystemFacts& system, RegistryRoot root, TextView subkey) {
    const bool isShared = LengthAboveNode(root, subkey) == TextView::npos;
    if (isShared || !HasTwoViews(system)) return {RegistryView::Native};
    if (system.IsWow64Process()) return {RegistryView::Bits32};
    return {RegistryView::Native, RegistryView::Bits32};
}

TextView ViewSuffix(RegistryView view) {
    return view == RegistryView::Bits32 ? u" (32-bit)" : u"";
}

}  // namespace bkfd
