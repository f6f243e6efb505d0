#include <gtest/gtest.h>

#include <map>
#include <sstream>

#include "RemovalBench.h"
#include "platform/RootNames.h"
#include "removal/CPaRemover.h"

namespace bkfd {
namespace {

constexpr auto NT = WindowsFamily::NT;
constexpr auto W9x = WindowsFamily::Windows9x;

constexpr char16_t kMain[] = u"Software\\Microsoft\\Internet Explorer\\Main";
constexpr char16_t kWindows[] = u"Software\\Microsoft\\Windows NT\\CurrentVersion\\Windows";
constexpr char16_t kControlPanel[] =
    u"Software\\Policies\\Microsoft\\Internet Explorer\\Control Panel";

void Restore(RemovalBench& bench) {
    CPaRemover remover;
    remover.Init(bench.log);
    remover.RestoreConfigurationSettings();
}

void HijackSettings(MemoryMachine& machine) {
    for (const RegistryRoot root : {HKCU, HKLM}) {
        for (const char16_t* name : {u"Default_Page_URL", u"Start Page", u"Local Page"})
            machine.SetString(root, kMain, name, u"http://hijacked.example/");
    }
    machine.SetString(HKCU, kMain, u"FirstHomePage", u"http://hijacked.example/");
    machine.SetString(HKCU, kMain, u"Search Bar", u"stays");
    machine.SetString(HKCU, kControlPanel, u"HomePage", u"1");
    machine.SetString(HKCU, kControlPanel, u"ResetWebSettings", u"1");
    machine.SetString(HKLM, kWindows, u"AppInit_DLLs", u"bad.dll");
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

std::string Zeros(int count) {
    std::string text = "00";
    for (int i = 1; i < count; ++i) text += ",00";
    return text;
}

std::string Expected(const char* userLocalPage, const char* machineLocalPage, const char* library) {
    return "[HKEY_LOCAL_MACHINE\\Software\\Classes\\PROTOCOLS\\Filter\\deflate]\n"
           "  CLSID = \"stays\"\n"
           "[HKEY_LOCAL_MACHINE\\Software\\Classes\\PROTOCOLS\\Handler\\http]\n"
           "  CLSID = \"{79eac9e2-baf9-11ce-8c82-00aa004ba90b}\"\n"
           "[HKEY_LOCAL_MACHINE\\Software\\Microsoft\\Internet Explorer\\AboutURLs]\n"
           "  blank = \"res://mshtml.dll/blank.htm\"\n"
           "[HKEY_LOCAL_MACHINE\\Software\\Microsoft\\Internet Explorer\\Main]\n"
           "  Default_Page_URL = "
           "\"http://www.microsoft.com/isapi/redir.dll?prd=ie&pver=6&ar=msnhome\"\n"
           "  Local Page = \"" +
           std::string(machineLocalPage) +
           "\"\n"
           "  Start Page = \"about:blank\"\n"
           "[HKEY_LOCAL_MACHINE\\Software\\Microsoft\\Windows NT\\CurrentVersion\\Windows]\n"
           "  AppInit_DLLs = \"" +
           library +
           "\"\n"
           "[HKEY_LOCAL_MACHINE\\Software\\Microsoft\\Windows\\CurrentVersion\\URL\\DefaultPrefix]"
           "\n"
           "  @ = \"http://\"\n"
           "[HKEY_LOCAL_MACHINE\\Software\\Microsoft\\Windows\\CurrentVersion\\URL\\Prefixes]\n"
           "  ftp = \"ftp://\"\n"
           "  gopher = \"gopher://\"\n"
           "  home = \"http://\"\n"
           "  mosaic = \"http://\"\n"
           "  www = \"http://\"\n"
           "[HKEY_CURRENT_USER\\Software\\Microsoft\\Internet Explorer\\Main]\n"
           "  Local Page = \"" +
           userLocalPage +
           "\"\n"
           "  Search Bar = \"stays\"\n"
           "  Start Page = \"about:blank\"\n"
           "[HKEY_CURRENT_USER\\Software\\Microsoft\\Internet Explorer\\Styles]\n"
           "  Use My Stylesheet = dword:00000000\n"
           "  User Stylesheet = hex(1):" +
           Zeros(522) +
           "\n"
           "[HKEY_CURRENT_USER\\Software\\Policies\\Microsoft\\Internet Explorer\\Control Panel]\n";
}

TEST(ConfigurationSettings, AreRestoredAndThenStay) {
    struct Row {
        WindowsFamily family;
        std::string expected;
    };
    const Row rows[] = {
        {NT, Expected("c:\\windows\\System32\\blank.htm", "%SystemRoot%\\system32\\blank.htm", "")},
        {W9x,
         Expected("c:\\windows\\System\\blank.htm", "c:\\windows\\system\\blank.htm", "bad.dll")},
    };
    for (const Row& row : rows) {
        RemovalBench bench(row.family);
        HijackSettings(bench.machine);
        Restore(bench);
        EXPECT_EQ(Blocks(bench.machine.DumpRegistry()), Blocks(row.expected));
        const std::string once = bench.machine.Dump();
        Restore(bench);
        EXPECT_EQ(bench.machine.Dump(), once);
        EXPECT_EQ(bench.log->text,
                  "5 CPaRemover.RestoreConfigurationSettings: Restoring all configuration "
                  "settings\n"
                  "5 CPaRemover.RestoreConfigurationSettings: Restoring all configuration "
                  "settings\n");
    }
}

TEST(ConfigurationSettings, OneLibraryIsKept) {
    struct Row {
        const char16_t* before;
        const char16_t* after;
    };
    const Row rows[] = {{u"bad.dll WBSYS.DLL,other.dll", u"wbsys.dll"},
                        {u"c:\\x\\wbsys.dll", u"wbsys.dll"},
                        {u"wbsys.dl", u""}};
    for (const Row& row : rows) {
        RemovalBench bench;
        bench.machine.SetString(HKLM, kWindows, u"AppInit_DLLs", row.before);
        Restore(bench);
        EXPECT_EQ(bench.machine.GetString(HKLM, kWindows, u"AppInit_DLLs"), row.after);
    }
}

TEST(ConfigurationSettings, OnlyForeignProtocolHandlersAreReplaced) {
    struct Row {
        const char* label;
        const char16_t* protocol;
        const char16_t* server;  // of the class that is there
        const char* after;       // empty for a handler without a class
    };
    constexpr char kOurs[] = "{ours}";
    const Row rows[] = {
        {"genuine", u"ftp", u"C:\\WINDOWS\\System32\\URLMON.DLL", kOurs},
        {"genuine, with a variable", u"ftp", u"%windir%\\system32\\urlmon.dll", kOurs},
        {"right name, wrong folder", u"ftp", u"C:\\WINDOWS\\urlmon.dll",
         "{79eac9e3-baf9-11ce-8c82-00aa004ba90b}"},
        {"genuine, but another protocol's", u"about", u"C:\\WINDOWS\\system32\\urlmon.dll",
         "{3050F406-98B5-11CF-BB82-00AA00BDCE0B}"},
        {"no server", u"gopher", u"", "{79eac9e4-baf9-11ce-8c82-00aa004ba90b}"},
        {"local is file's", u"local", u"C:\\bad.dll", "{79eac9e7-baf9-11ce-8c82-00aa004ba90b}"},
        {"unknown protocol", u"res", u"C:\\bad.dll", kOurs},
        {"no class", u"https", nullptr, ""},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.label);
        RemovalBench bench;
        const Text key = Text(u"PROTOCOLS\\Handler\\") + row.protocol;
        bench.machine.SetString(HKCR, key, u"", u"a handler");
        if (row.server != nullptr) {
            bench.machine.SetString(HKCR, key, u"CLSID", u"{ours}");
            bench.machine.SetString(HKCR, u"CLSID\\{ours}\\InProcServer32", u"", row.server);
        }
        Restore(bench);
        EXPECT_EQ(ToUtf8(bench.machine.GetString(HKCR, key, u"CLSID")), row.after);
        EXPECT_EQ(bench.machine.HasValue(HKCR, key, u"CLSID"), row.server != nullptr);
    }
}

TEST(ConfigurationSettings, RefusedKeyIsLoggedAndTheOthersAreRestored) {
    struct Row {
        RegistryRoot root;
        const char16_t* key;
        const char* logged;  // one of its lines
    };
    const Row rows[] = {
        {HKCU, kMain,
         "write 'HKEY_CURRENT_USER\\Software\\Microsoft\\Internet Explorer\\Main\\"
         "Start Page'. Access is denied."},
        {HKCU, kMain,
         "delete 'HKEY_CURRENT_USER\\Software\\Microsoft\\Internet Explorer\\Main\\"
         "FirstHomePage'. Access is denied."},
        {HKLM, kMain,
         "write 'HKEY_LOCAL_MACHINE\\Software\\Microsoft\\Internet Explorer\\Main\\"
         "Local Page'. Access is denied."},
        {HKCU, kControlPanel, "Control Panel\\HomePage'. Access is denied."},
        {HKLM, u"Software\\Microsoft\\Internet Explorer\\AboutURLs", "AboutURLs\\blank'. Access"},
        {HKLM, kWindows, "Windows\\AppInit_DLLs'. Access is denied."},
        {HKCU, u"Software\\Microsoft\\Internet Explorer\\Styles", "Styles\\Use My Stylesheet'. "},
        {HKLM, u"Software\\Microsoft\\Windows\\CurrentVersion\\URL\\DefaultPrefix",
         "URL\\DefaultPrefix\\'. Access is denied."},
        {HKLM, u"Software\\Microsoft\\Windows\\CurrentVersion\\URL\\Prefixes",
         "URL\\Prefixes\\mosaic'. Access is denied."},
        {HKLM, u"Software\\Classes\\PROTOCOLS\\Handler\\http",
         "write 'HKEY_CLASSES_ROOT\\PROTOCOLS\\Handler\\http\\CLSID'. Access is denied."},
        {HKLM, u"Software\\Classes\\PROTOCOLS\\Filter\\text/html",
         "Cannot delete 'HKEY_CLASSES_ROOT\\PROTOCOLS\\Filter\\text/html'. "},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.logged);
        RemovalBench bench;
        HijackSettings(bench.machine);
        auto expected = Blocks(
            Expected("c:\\windows\\System32\\blank.htm", "%SystemRoot%\\system32\\blank.htm", ""));
        const auto before = Blocks(bench.machine.DumpRegistry());
        bench.machine.DenyWrite(row.root, row.key);
        Restore(bench);
        const std::string key =
            "[" + ToUtf8(RegistryAccess::RootName(row.root)) + "\\" + ToUtf8(row.key) + "]";
        expected.erase(key);
        if (before.contains(key)) expected[key] = before.at(key);
        EXPECT_EQ(Blocks(bench.machine.DumpRegistry()), expected);
        EXPECT_NE(bench.log->text.find("0 CPaRemover.RestoreConfigurationSettings: Cannot "),
                  std::string::npos);
        EXPECT_NE(bench.log->text.find(row.logged), std::string::npos) << bench.log->text;
    }
}

}  // namespace
}  // namespace bkfd
