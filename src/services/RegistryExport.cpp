#include <algorithm>

#include "formats/RegText.h"
#include "platform/RegistryViews.h"
#include "platform/RootNames.h"
#include "services/MAPI.h"
#include "services/RegistryAccess.h"

namespace bkfd {
namespace {

RegCodePage SystemCodePage() {
    return {[](std::string_view bytes) { return TheMachine().System().MultiByteToWideChar(bytes); },
            [](TextView text) { return TheMachine().System().WideCharToMultiByte(text); }};
}

/// Writes keys as sections of an export file in the form that the machine's family reads. What
/// can't be read leaves a comment in its place, so that a backup tells what it lacks.
class Exporter {
  public:
    explicit Exporter(RegistryRoot root)
        : root_(root),
          format_(IsWindowsNT() ? RegFormat::Version5 : RegFormat::Regedit4),
          codePage_(SystemCodePage()) {}

    void AddTree(const Text& subkey, int depth) {
        Registry& registry = TheMachine().RegistryKeys();
        const auto names = registry.RegEnumValueW(root_, subkey);
        if (names.IsNotThere()) return;
        if (!names.IsOk()) AddComment(u"Values not readable: " + FullName(subkey), names);
        AddSection(subkey, names.value);

        const auto children = registry.RegEnumKeyExW(root_, subkey);
        if (!children.IsOk()) AddComment(u"Subkeys not readable: " + FullName(subkey), children);
        for (const Text& child : children.value) {
            if (depth < kRegistryDepthLimit) {
                AddTree(subkey.empty() ? child : subkey + u"\\" + child, depth + 1);
            } else {
                AddComment(u"Too deep: " + FullName(subkey + u"\\" + child), {});
            }
        }
    }

    void AddValue(const Text& subkey, const Text& name) {
        const auto value = TheMachine().RegistryKeys().RegQueryValueExW(root_, subkey, name);
        if (value.IsNotThere()) return;
        AddSection(subkey, {name});
    }

    /// The text as a file of its format holds it: in version 5.00 as it is, in REGEDIT4 one
    /// character for each byte of the code page.
    Text Finish() const {
        if (format_ == RegFormat::Version5) return text_;
        const std::string bytes = codePage_.encode(text_);
        return {reinterpret_cast<const unsigned char*>(bytes.data()),
                reinterpret_cast<const unsigned char*>(bytes.data()) + bytes.size()};
    }

  private:
    Text FullName(const Text& subkey) const {
        const Text root = RegistryAccess::RootName(root_);
        return subkey.empty() ? root : root + u"\\" + subkey;
    }

    void AddSection(const Text& subkey, const std::vector<Text>& names) {
        RegSection section{FullName(subkey), false, {}};
        for (const Text& name : names) {
            if (name.find(u'\0') != Text::npos) {
                AddComment(u"No export can name this value: " + FullName(subkey) + u", " + name,
                           {});
                continue;
            }
            auto value = TheMachine().RegistryKeys().RegQueryValueExW(root_, subkey, name);
            if (value.IsOk()) {
                section.entries.push_back({name, false,
                                           static_cast<std::uint32_t>(value.value.type),
                                           std::move(value.value.data)});
            } else {
                AddComment(u"Value not readable: " + FullName(subkey) + u", " + name, value);
            }
        }
        text_ += FormatRegSection(section, format_, codePage_);
    }

    void AddComment(Text what, Status status) {
        std::ranges::replace_if(
            what, [](char16_t unit) { return unit < u' '; }, u' ');
        text_.append(u"; ").append(what);
        if (!status.IsOk()) text_.append(u" (error ").append(ToText(status.code)).append(u")");
        text_ += u"\r\n\r\n";
    }

    const RegistryRoot root_;
    const RegFormat format_;
    const RegCodePage codePage_;
    Text text_;
};

/// Export files know no views.
Text InNativeView(RegistryBase base, TextView subkey) {
    return NativeKey(TheMachine().System(), base, subkey);
}

}  // namespace

Text RegistryAccess::ExportKey(RegistryBase base, TextView subkey) {
    Exporter exporter(base.root);
    exporter.AddTree(InNativeView(base, subkey), 0);
    return exporter.Finish();
}

Text RegistryAccess::ExportValue(RegistryBase base, TextView subkey, TextView name) {
    Exporter exporter(base.root);
    exporter.AddValue(InNativeView(base, subkey), Text(name));
    return exporter.Finish();
}

Text RegistryAccess::RootName(RegistryRoot root) {
    return Text(RegistryRootName(root));
}

Text RegistryAccess::KeyName(RegistryBase base, TextView subkey) {
    return RootName(base.root) + u'\\' + InNativeView(base, subkey);
}

}  // namespace bkfd
