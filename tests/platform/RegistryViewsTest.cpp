#include "platform/RegistryViews.h"

#include <gtest/gtest.h>

#include "platform/RootNames.h"

namespace bkfd {
namespace {

TEST(RegistryViews, NameKeysAsTheNativeViewHasThem) {
    const auto users = RegistryRoot::Users;
    const struct {
        RegistryRoot root;
        TextView key;
        TextView native;
    } rows[] = {
        {HKLM, u"SOFTWARE", u"SOFTWARE\\Wow6432Node"},
        {HKLM, u"software\\A\\b\\", u"software\\Wow6432Node\\A\\b\\"},
        {HKLM, u"Software\\\\A", u"Software\\Wow6432Node\\\\A"},
        {HKLM, u"SoftwareA\\b", u"SoftwareA\\b"},
        {HKLM, u"\\Software\\A", u"\\Software\\A"},
        {HKLM, u"System\\Software", u"System\\Software"},
        {HKLM, u"Software\\wow6432node\\A", u"Software\\wow6432node\\A"},
        {HKLM, u"Software\\Policies\\A", u"Software\\Policies\\A"},
        {HKLM, u"Software\\PoliciesA", u"Software\\Wow6432Node\\PoliciesA"},
        {HKLM, u"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\policies\\Explorer\\Run",
         u"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\policies\\Explorer\\Run"},
        {HKLM, u"Software\\Classes\\clsid\\{1}", u"Software\\Classes\\Wow6432Node\\clsid\\{1}"},
        {HKLM, u"Software\\Classes\\PROTOCOLS", u"Software\\Classes\\PROTOCOLS"},
        {HKCR, u"CLSID", u"Wow6432Node\\CLSID"},
        {HKCR, u"\\CLSID", u"\\CLSID"},
        {HKCR, u"Wow6432Node\\CLSID", u"Wow6432Node\\CLSID"},
        {HKCU, u"Software\\A", u"Software\\A"},
        {HKCU, u"Software\\Classes\\Interface\\{1}",
         u"Software\\Classes\\Wow6432Node\\Interface\\{1}"},
        {users, u"S-1\\Software\\Classes\\CLSID", u"S-1\\Software\\Classes\\Wow6432Node\\CLSID"},
        {users, u"S-1_Classes\\CLSID\\{1}", u"S-1_Classes\\Wow6432Node\\CLSID\\{1}"},
        {users, u"S-1\\Software\\A", u"S-1\\Software\\A"},
        {HKLM, u"", u""},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(ToUtf8(row.key));
        EXPECT_EQ(ToUtf8(NativeKey({row.root, RegistryView::Bits32}, row.key)), ToUtf8(row.native));
        EXPECT_EQ(NativeKey(row.root, row.key), row.key);
        // What is a native path already isn't redirected once more.
        EXPECT_EQ(NativeKey({row.root, RegistryView::Bits32}, row.native), row.native);
    }
}

}  // namespace
}  // namespace bkfd
