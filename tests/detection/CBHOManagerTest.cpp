#include "detection/CBHOManager.h"

#include <gtest/gtest.h>

#include "base/RuntimeError.h"
#include "common/DetectionFixture.h"

namespace bkfd {
namespace {

const Text kClass = u"{01234567-89AB-CDEF-0123-456789ABCDEF}";

struct Manager : CBHOManager {
    explicit Manager(const DetectionFixture& fixture) { Init(fixture.log); }

    /// "id: params" of each item, a line each.
    std::string Items() {
        const auto list = EnumBHOs();
        if (list == nullptr) return "no list";
        std::string text;
        for (const auto& item : *list) text += ToUtf8(item->Id) + ": " + ParamsOf(*item) + '\n';
        return text;
    }
};

TEST(CBHOManager, ListsHelperObjects) {
    const auto library = FileWithVersion({{u"ProductName", u"Tool & Bar"}});
    const struct {
        const char* label;
        const char16_t* name;    // null for none
        const char16_t* inProc;  // null for no key
        const char16_t* local;
        const char* params;
    } rows[] = {
        {"a library", nullptr, u"C:\\a b\\bar.dll", nullptr,
         "Name=Tool  Bar, DLL=C:\\a b\\bar.dll"},
        {"a name of its own", u"Acme && Co", u"C:\\a b\\bar.dll", nullptr,
         "Name=Acme  Co, DLL=C:\\a b\\bar.dll"},
        {"a file without a name", nullptr, u"C:\\a&b\\x.dll", nullptr,
         "Name=C:\\ab\\x.dll, DLL=C:\\a&b\\x.dll"},
        {"a command line", nullptr, u"", u"\"C:\\a b\\bar.dll\" -Embedding",
         "Name=Tool  Bar, DLL=C:\\a b\\bar.dll"},
        {"the library before the program", nullptr, u"C:\\in.dll", u"C:\\local.exe",
         "Name=C:\\in.dll, DLL=C:\\in.dll"},
        {"a bare name", nullptr, u"sys.dll", nullptr,
         "Name=C:\\WINDOWS\\system32\\sys.dll, DLL=C:\\WINDOWS\\system32\\sys.dll"},
        {"a short name stays short", nullptr, u"C:\\A~1\\x.dll", nullptr,
         "Name=C:\\A~1\\x.dll, DLL=C:\\A~1\\x.dll"},
        {"no class", nullptr, nullptr, nullptr, "Name=, DLL="},
        {"a name without a class", u"Dead", nullptr, nullptr, "Name=Dead, DLL="},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.label);
        DetectionFixture fixture;
        auto& machine = fixture.machine;
        machine.AddFile(u"C:\\a b\\bar.dll", library);
        machine.AddFile(u"C:\\WINDOWS\\system32\\sys.dll");
        machine.AddFile(u"C:\\a b\\x.dll");
        machine.SetShortName(u"C:\\a b", u"A~1");
        machine.AddKey(HKLM, kHelperObjects + kClass);
        if (row.name != nullptr) AddHelperObject(machine, kClass, row.name);
        if (row.inProc != nullptr) AddServer(machine, kClass, row.inProc);
        if (row.local != nullptr) AddServer(machine, kClass, row.local, u"LocalServer32");
        Manager manager(fixture);
        EXPECT_EQ(manager.Items(), ToUtf8(kClass) + ": " + row.params + '\n');
        EXPECT_EQ(fixture.log->text, "");
    }
}

TEST(CBHOManager, PassesOverKeysThatNameNoClass) {
    DetectionFixture fixture;
    Manager manager(fixture);
    EXPECT_EQ(manager.Items(), "");
    for (const Text& name : {Text(u"abc"), kClass.substr(1), kClass + u" "}) {
        fixture.machine.AddKey(HKLM, kHelperObjects + name);
    }
    EXPECT_EQ(manager.Items(), "");
    // Any 38 characters will do.
    fixture.machine.AddKey(HKLM, kHelperObjects + Text(38, u'x'));
    EXPECT_EQ(manager.Items(), std::string(38, 'x') + ": Name=, DLL=\n");
    EXPECT_EQ(fixture.log->text, "");
}

TEST(CBHOManager, KeepsWhatItHasWhenAnObjectFails) {
    DetectionFixture fixture;
    const Text last = Text(38, u'~');  // behind the other in the registry's order
    fixture.machine.AddKey(HKLM, kHelperObjects + kClass);
    AddHelperObject(fixture.machine, last, u"Broken", u"\"");
    Manager manager(fixture);
    EXPECT_EQ(manager.Items(), ToUtf8(kClass) + ": Name=, DLL=\n");
    EXPECT_TRUE(fixture.log->text.starts_with("5 4 CBHOManager.FillBHOInfo: "))
        << fixture.log->text;
}

TEST(CBHOManager, DeletesTheRegistrationAlone) {
    DetectionFixture fixture;
    fixture.machine.AddKey(HKLM, kHelperObjects + kClass + u"\\below");
    AddServer(fixture.machine, kClass, u"C:\\x.dll");
    Manager manager(fixture);
    manager.DeleteBHO(kClass);
    EXPECT_FALSE(fixture.machine.HasKey(HKLM, kHelperObjects + kClass));
    EXPECT_TRUE(fixture.machine.HasKey(HKLM, kHelperObjects));
    EXPECT_TRUE(fixture.machine.HasKey(HKCR, u"CLSID\\" + kClass));
    // The second time there is nothing to delete, and the line is written all the same.
    manager.DeleteBHO(kClass);
    const std::string line = "5 : Deleting BHO(" + ToUtf8(kClass) + ")\n";
    EXPECT_EQ(fixture.log->text, line + line);
}

TEST(CBHOManager, TellsOfARegistrationThatStays) {
    DetectionFixture fixture;
    fixture.machine.AddKey(HKLM, kHelperObjects + kClass);
    fixture.machine.DenyWrite(HKLM, kHelperObjects);
    Manager manager(fixture);
    manager.DeleteBHO(kClass);
    EXPECT_EQ(fixture.log->text, "5 : Deleting BHO(" + ToUtf8(kClass) +
                                     ")\n0 CBHOManager.DeleteBHO: Cannot delete "
                                     "'HKEY_LOCAL_MACHINE\\" +
                                     ToUtf8(kHelperObjects + kClass) + "'. \n");
}

}  // namespace
}  // namespace bkfd
