#include <gtest/gtest.h>

#include <map>
#include <sstream>

#include "common/BrowserKeys.h"
#include "common/RemovalFixture.h"
#include "removal/CPaRemover.h"

namespace bkfd {
namespace {

void Restore(RemovalFixture& fixture) {
    CPaRemover remover;
    remover.Init(fixture.log);
    remover.RestoreConfigurationSettings();
}

void HijackSettings(MemoryMachine& machine) {
    for (const RegistryRoot root : {HKCU, HKLM}) {
        for (const char16_t* name : {u"Default_Page_URL", u"Start Page", u"Local Page"}) {
            machine.SetString(root, kMainKey, name, u"http://hijacked.example/");
        }
    }
    machine.SetString(HKCU, kMainKey, u"FirstHomePage", u"http://hijacked.example/");
    machine.SetString(HKCU, kMainKey, u"Search Bar", u"stays");
    machine.SetString(HKCU, kControlPanel, u"HomePage", u"1");
    machine.SetString(HKCU, kControlPanel, u"ResetWebSettings", u"1");
    machine.SetString(HKLM, kWindowsKey, u"AppInit_DLLs", u"bad.dll");
    machine.SetString(HKCR, u"PROTOCOLS\\Handler\\http", u"CLSID", u"{bad}");
    machine.SetString(HKCR, u"PROTOCOLS\\Filter\\text/html", u"CLSID", u"{bad}");
    machine.SetString(HKCR, u"PROTOCOLS\\Filter\\text/plain\\below", u"CLSID", u"{bad}");
    machine.SetString(HKCR, u"PROTOCOLS\\Filter\\deflate", u"CLSID", u"stays");
}

/// The dump's blocks by their keys.
std::map<std::string, std::string> Blocks(const std::string& dump) {
    std::map<std::string, std::string> blocks;
    std::istringstream lines(dump);
    std::string key;
    for (std::string line; std::getline(lines, line);) {
        if (line.starts_with("[")) {
            key = line;
        } else {
            blocks[key] += line + "\n";
        }
    }
    return blocks;
}

struct Restored {
    WindowsFamily family;
    std::string userLocalPage;
    std::string machineLocalPage;
    std::string library;
};
const Restored kRestoredSettings[] = {
    {WindowsFamily::NT, "c:\\windows\\System32\\blank.htm", "%SystemRoot%\\system32\\blank.htm",
     ""},
    {WindowsFamily::Windows9x, "c:\\windows\\System\\blank.htm", "c:\\windows\\system\\blank.htm",
     "bad.dll"},
};

std::string Expected(const Restored& restored) {
    std::string zeros = "00";
    while (zeros.size() < 522 * 3 - 1) zeros += ",00";
    return R"([HKEY_LOCAL_MACHINE\Software\Classes\PROTOCOLS\Filter\deflate]
  CLSID = "stays"
[HKEY_LOCAL_MACHINE\Software\Classes\PROTOCOLS\Handler\http]
  CLSID = "{79eac9e2-baf9-11ce-8c82-00aa004ba90b}"
[HKEY_LOCAL_MACHINE\Software\Microsoft\Internet Explorer\AboutURLs]
  blank = "res://mshtml.dll/blank.htm"
[HKEY_LOCAL_MACHINE\Software\Microsoft\Internet Explorer\Main]
  Default_Page_URL = "http://www.microsoft.com/isapi/redir.dll?prd=ie&pver=6&ar=msnhome"
  Local Page = ")" +
           restored.machineLocalPage + R"("
  Start Page = "about:blank"
[HKEY_LOCAL_MACHINE\Software\Microsoft\Windows NT\CurrentVersion\Windows]
  AppInit_DLLs = ")" +
           restored.library + R"("
[HKEY_LOCAL_MACHINE\Software\Microsoft\Windows\CurrentVersion\URL\DefaultPrefix]
  @ = "http://"
[HKEY_LOCAL_MACHINE\Software\Microsoft\Windows\CurrentVersion\URL\Prefixes]
  ftp = "ftp://"
  gopher = "gopher://"
  home = "http://"
  mosaic = "http://"
  www = "http://"
[HKEY_CURRENT_USER\Software\Microsoft\Internet Explorer\Main]
  Local Page = ")" +
           restored.userLocalPage + R"("
  Search Bar = "stays"
  Start Page = "about:blank"
[HKEY_CURRENT_USER\Software\Microsoft\Internet Explorer\Styles]
  Use My Stylesheet = dword:00000000
  User Stylesheet = hex(1):)" +
           zeros + R"(
[HKEY_CURRENT_USER\Software\Policies\Microsoft\Internet Explorer\Control Panel]
)";
}

TEST(ConfigurationSettings, AreRestoredAndThenStay) {
    for (const Restored& restored : kRestoredSettings) {
        RemovalFixture fixture(restored.family);
        HijackSettings(fixture.machine);
        Restore(fixture);
        EXPECT_EQ(Blocks(DumpRegistry(fixture.machine)), Blocks(Expected(restored)));
        const std::string once = Dump(fixture.machine);
        Restore(fixture);
        EXPECT_EQ(Dump(fixture.machine), once);
        const std::string line =
            "5 CPaRemover.RestoreConfigurationSettings: Restoring all configuration settings\n";
        EXPECT_EQ(fixture.log->text, line + line);
    }
}

TEST(ConfigurationSettings, OneLibraryIsKept) {
    const struct {
        const char16_t* before;
        const char16_t* after;
    } rows[] = {{u"bad.dll WBSYS.DLL,other.dll", u"wbsys.dll"},
                {u"c:\\x\\wbsys.dll", u"wbsys.dll"},
                {u"wbsys.dl", u""}};
    for (const auto& row : rows) {
        RemovalFixture fixture;
        fixture.machine.SetString(HKLM, kWindowsKey, u"AppInit_DLLs", row.before);
        Restore(fixture);
        EXPECT_EQ(fixture.machine.GetString(HKLM, kWindowsKey, u"AppInit_DLLs"), row.after);
    }
}

TEST(ConfigurationSettings, OnlyForeignProtocolHandlersAreReplaced) {
    constexpr char kOurs[] = "{ours}";
    const struct {
        const char* label;
        const char16_t* protocol;
        const char16_t* server;  // of the class that is there
        const char* after;       // empty for a handler without a class
    } rows[] = {
        {"genuine", u"ftp", u"C:\\WINDOWS\\System32\\URLMON.DLL", kOurs},
        {"genuine, but another protocol's", u"about", u"C:\\WINDOWS\\system32\\urlmon.dll",
         "{3050F406-98B5-11CF-BB82-00AA00BDCE0B}"},
        {"no server", u"gopher", u"", "{79eac9e4-baf9-11ce-8c82-00aa004ba90b}"},
        {"local is file's", u"local", u"C:\\bad.dll", "{79eac9e7-baf9-11ce-8c82-00aa004ba90b}"},
        {"unknown protocol", u"res", u"C:\\bad.dll", kOurs},
        {"no class", u"https", nullptr, ""},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.label);
        RemovalFixture fixture;
        const Text key = Text(u"PROTOCOLS\\Handler\\") + row.protocol;
        fixture.machine.SetString(HKCR, key, u"", u"a handler");
        if (row.server != nullptr) {
            fixture.machine.SetString(HKCR, key, u"CLSID", u"{ours}");
            AddServer(fixture.machine, u"{ours}", row.server);
        }
        Restore(fixture);
        EXPECT_EQ(ToUtf8(fixture.machine.GetString(HKCR, key, u"CLSID")), row.after);
        EXPECT_EQ(fixture.machine.HasValue(HKCR, key, u"CLSID"), row.server != nullptr);
    }
}

TEST(ConfigurationSettings, RefusedKeyIsLoggedAndTheOthersAreRestored) {
    const Text urlKey = u"Software\\Microsoft\\Windows\\CurrentVersion\\URL\\";
    const Text protocols = u"Software\\Classes\\PROTOCOLS\\";
    const struct {
        RegistryRoot root;
        Text key;
        const char* logged;  // in one of its lines
    } rows[] = {
        {HKCU, kMainKey,
         "write 'HKEY_CURRENT_USER\\Software\\Microsoft\\Internet Explorer\\Main\\Start Page'. "
         "Access is denied.\n"},
        {HKCU, kMainKey,
         "Cannot delete 'HKEY_CURRENT_USER\\Software\\Microsoft\\Internet "
         "Explorer\\Main\\FirstHomePage'. Access is denied.\n"},
        {HKLM, kMainKey, "Main\\Local Page'"},
        {HKCU, kControlPanel, "Control Panel\\HomePage'"},
        {HKLM, u"Software\\Microsoft\\Internet Explorer\\AboutURLs", "AboutURLs\\blank'"},
        {HKLM, kWindowsKey, "Windows\\AppInit_DLLs'"},
        {HKCU, kStylesKey, "Styles\\Use My Stylesheet'"},
        {HKLM, urlKey + u"DefaultPrefix", "URL\\DefaultPrefix\\'"},
        {HKLM, urlKey + u"Prefixes", "URL\\Prefixes\\mosaic'"},
        {HKLM, protocols + u"Handler\\http",
         "write 'HKEY_CLASSES_ROOT\\PROTOCOLS\\Handler\\http\\CLSID'"},
        {HKLM, protocols + u"Filter\\text/html",
         "Cannot delete 'HKEY_CLASSES_ROOT\\PROTOCOLS\\Filter\\text/html'"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.logged);
        RemovalFixture fixture;
        HijackSettings(fixture.machine);
        auto expected = Blocks(Expected(kRestoredSettings[0]));
        const auto before = Blocks(DumpRegistry(fixture.machine));
        fixture.machine.DenyWrite(row.root, row.key);
        Restore(fixture);
        const std::string key =
            "[" + ToUtf8(RegistryAccess::RootName(row.root)) + "\\" + ToUtf8(row.key) + "]";
        expected.erase(key);
        if (before.contains(key)) expected[key] = before.at(key);
        EXPECT_EQ(Blocks(DumpRegistry(fixture.machine)), expected);
        EXPECT_TRUE(fixture.Logged("\n0 CPaRemover.RestoreConfigurationSettings: Cannot "));
        EXPECT_TRUE(fixture.Logged(row.logged)) << fixture.log->text;
    }
}

}  // namespace
}  // namespace bkfd
