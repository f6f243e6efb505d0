#include "detection/CBHOManager.h"

#include <gtest/gtest.h>

#include "base/RuntimeError.h"
#include "detection/DetectionBench.h"
#include "detection/MPaDetector.h"

namespace bkfd {
namespace {

const Text kKey = u"Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\Browser Helper Objects";
const Text kClass = u"{01234567-89AB-CDEF-0123-456789ABCDEF}";

/// "id: params" of each item, a line each.
std::string Items(const std::shared_ptr<ItemList>& list) {
    if (list == nullptr) return "no list";
    std::string text;
    for (const auto& item : *list) text += ToUtf8(item->Id) + ": " + ParamsOf(*item) + '\n';
    return text;
}

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
        {"no class", nullptr, nullptr, nullptr, "Name=, DLL="},
        {"a name without a class", u"Dead", nullptr, nullptr, "Name=Dead, DLL="},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.label);
        DetectionBench bench;
        auto& machine = bench.machine;
        machine.AddFile(u"C:\\a b\\bar.dll", library);
        machine.AddFile(u"C:\\WINDOWS\\system32\\sys.dll");
        machine.AddKey(RegistryRoot::LocalMachine, kKey + u"\\" + kClass);
        const Text classKey = u"CLSID\\" + kClass;
        if (row.name != nullptr) {
            machine.SetString(RegistryRoot::LocalMachine, kKey + u"\\" + kClass, u"", row.name);
        }
        if (row.inProc != nullptr) {
            machine.SetString(RegistryRoot::ClassesRoot, classKey + u"\\InProcServer32", u"",
                              row.inProc);
        }
        if (row.local != nullptr) {
            machine.SetString(RegistryRoot::ClassesRoot, classKey + u"\\LocalServer32", u"",
                              row.local);
        }
        CBHOManager manager;
        manager.Init(bench.log);
        EXPECT_EQ(Items(manager.EnumBHOs()), ToUtf8(kClass) + ": " + row.params + '\n');
        EXPECT_EQ(bench.log->text, "");
    }
}

TEST(CBHOManager, PassesOverKeysThatNameNoClass) {
    DetectionBench bench;
    CBHOManager manager;
    manager.Init(bench.log);
    EXPECT_EQ(Items(manager.EnumBHOs()), "");
    for (const Text& name : {Text(u"abc"), kClass.substr(1), kClass + u" "}) {
        bench.machine.AddKey(RegistryRoot::LocalMachine, kKey + u"\\" + name);
    }
    EXPECT_EQ(Items(manager.EnumBHOs()), "");
    // Any 38 characters will do.
    bench.machine.AddKey(RegistryRoot::LocalMachine, kKey + u"\\" + Text(38, u'x'));
    EXPECT_EQ(Items(manager.EnumBHOs()), std::string(38, 'x') + ": Name=, DLL=\n");
    EXPECT_EQ(bench.log->text, "");
}

TEST(CBHOManager, LeavesShortNamesShort) {
    DetectionBench bench;
    bench.machine.AddFile(u"C:\\Long name\\x.dll");
    bench.machine.SetShortName(u"C:\\Long name", u"LONGNA~1");
    bench.machine.SetString(RegistryRoot::LocalMachine, kKey + u"\\" + kClass, u"", u"x");
    bench.machine.SetString(RegistryRoot::ClassesRoot, u"CLSID\\" + kClass + u"\\InProcServer32",
                            u"", u"C:\\LONGNA~1\\x.dll");
    CBHOManager manager;
    manager.Init(bench.log);
    EXPECT_EQ(Items(manager.EnumBHOs()), ToUtf8(kClass) + ": Name=x, DLL=C:\\LONGNA~1\\x.dll\n");
}

TEST(CBHOManager, KeepsWhatItHasWhenAnObjectFails) {
    DetectionBench bench;
    const Text last = Text(38, u'~');  // behind the other in the registry's order
    bench.machine.AddKey(RegistryRoot::LocalMachine, kKey + u"\\" + kClass);
    bench.machine.SetString(RegistryRoot::LocalMachine, kKey + u"\\" + last, u"", u"Broken");
    bench.machine.SetString(RegistryRoot::ClassesRoot, u"CLSID\\" + last + u"\\InProcServer32", u"",
                            u"\"");
    CBHOManager manager;
    manager.Init(bench.log);
    EXPECT_EQ(Items(manager.EnumBHOs()), ToUtf8(kClass) + ": Name=, DLL=\n");
    EXPECT_EQ(bench.log->text.rfind("5 4 CBHOManager.FillBHOInfo: ", 0), 0U) << bench.log->text;
}

TEST(CBHOManager, GivesNoListWhenItFailsAltogether) {
    DetectionBench bench;
    CBHOManager manager;
    manager.Init(bench.log);
    bench.spy.failRegistry = true;
    EXPECT_EQ(Items(manager.EnumBHOs()), "no list");
    EXPECT_EQ(bench.log->text.rfind("7 4 CBHOManager.EnumBHOs: ", 0), 0U) << bench.log->text;
}

TEST(CBHOManager, DeletesTheRegistrationAlone) {
    DetectionBench bench;
    bench.machine.AddKey(RegistryRoot::LocalMachine, kKey + u"\\" + kClass + u"\\below");
    bench.machine.SetString(RegistryRoot::ClassesRoot, u"CLSID\\" + kClass + u"\\InProcServer32",
                            u"", u"C:\\x.dll");
    CBHOManager manager;
    manager.Init(bench.log);
    manager.DeleteBHO(kClass);
    EXPECT_FALSE(bench.machine.HasKey(RegistryRoot::LocalMachine, kKey + u"\\" + kClass));
    EXPECT_TRUE(bench.machine.HasKey(RegistryRoot::LocalMachine, kKey));
    EXPECT_TRUE(bench.machine.HasKey(RegistryRoot::ClassesRoot, u"CLSID\\" + kClass));
    // The second time there is nothing to delete, and the line is written all the same.
    manager.DeleteBHO(kClass);
    const std::string line = "5 : Deleting BHO(" + ToUtf8(kClass) + ")\n";
    EXPECT_EQ(bench.log->text, line + line);
}

TEST(CBHOManager, TellsOfARegistrationThatStays) {
    DetectionBench bench;
    bench.machine.AddKey(RegistryRoot::LocalMachine, kKey + u"\\" + kClass);
    bench.machine.DenyWrite(RegistryRoot::LocalMachine, kKey);
    CBHOManager manager;
    manager.Init(bench.log);
    manager.DeleteBHO(kClass);
    EXPECT_EQ(bench.log->text, "5 : Deleting BHO(" + ToUtf8(kClass) +
                                   ")\n0 CBHOManager.DeleteBHO: Cannot delete "
                                   "'HKEY_LOCAL_MACHINE\\" +
                                   ToUtf8(kKey + u"\\" + kClass) + "'. \n");
}

TEST(IsSystemClsidServer, ComparesTheExpandedServer) {
    const struct {
        const char* label;
        const char16_t* inProc;
        const char16_t* local;
        bool isSystem;
        const char16_t* server;
    } rows[] = {
        {"the library", u"C:\\WINDOWS\\System32\\MSHTML.dll", nullptr, true,
         u"C:\\WINDOWS\\System32\\MSHTML.dll"},
        {"unexpanded", u"%windir%\\system32\\mshtml.dll", nullptr, true,
         u"%windir%\\system32\\mshtml.dll"},
        {"the program", u"", u"C:\\WINDOWS\\system32\\mshtml.dll", true,
         u"C:\\WINDOWS\\system32\\mshtml.dll"},
        {"the library counts first", u"C:\\x.dll", u"C:\\WINDOWS\\system32\\mshtml.dll", false,
         u"C:\\x.dll"},
        {"a bare name", u"mshtml.dll", nullptr, false, u"mshtml.dll"},
        {"nothing", nullptr, nullptr, false, u""},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.label);
        DetectionBench bench;
        const Text key = u"CLSID\\" + kClass;
        if (row.inProc != nullptr) {
            bench.machine.SetString(RegistryRoot::ClassesRoot, key + u"\\InProcServer32", u"",
                                    row.inProc);
        }
        if (row.local != nullptr) {
            bench.machine.SetString(RegistryRoot::ClassesRoot, key + u"\\LocalServer32", u"",
                                    row.local);
        }
        RegistryAccess registry;
        Text server = u"old";
        EXPECT_EQ(IsSystemClsidServer(registry, kClass, u"MsHtml.dll", server), row.isSystem);
        EXPECT_EQ(server, row.server);
    }
}

}  // namespace
}  // namespace bkfd
