#include "panels/ucCS.h"
#include "platform/RootNames.h"

#include <gtest/gtest.h>

#include "PanelHost.h"
#include "base/RuntimeError.h"
#include "common/EngineBench.h"
#include "common/Messages.h"
#include "panels/SettingInfo.h"
#include "ui/Keys.h"

namespace bkfd {
namespace {

constexpr char16_t kMain[] = u"Software\\Microsoft\\Internet Explorer\\Main";
constexpr char16_t kStyles[] = u"Software\\Microsoft\\Internet Explorer\\Styles";
constexpr char16_t kUrl[] = u"Software\\Microsoft\\Windows\\CurrentVersion\\URL\\";
constexpr char16_t kClsid[] = u"{79EAC9E7-BAF9-11CE-8C82-00AA004BA90B}";

/// "shown", the status, the description and the value of a setting.
std::string Judged(int number) {
    RegistryAccess registry;
    const SettingInfo info = GetSettingInfo(registry, number);
    return (info.shown ? "shown " : "hidden ") + ToUtf8(info.status) + " '" + ToUtf8(info.value) +
           "'";
}

/// What the list shows: "icon description | value", red values behind a "!".
std::string Rows(ListView& list) {
    std::string rows;
    for (std::size_t row = 1; row <= list.Count(); ++row) {
        const ListItem& item = *list.Item(row);
        const ListItem::SubItem& value = item.GetSubItem(1);
        rows += ToUtf8(item.SmallIcon()) + ' ' + ToUtf8(item.GetText()) + " | " +
                (value.bold && value.colour == 255 ? "!" : "") + ToUtf8(value.text) + '\n';
    }
    return rows;
}

void Serve(MemoryMachine& machine, TextView protocol, TextView server, TextView clsid = kClsid) {
    machine.SetString(HKCR, Text(u"PROTOCOLS\\").append(protocol), u"CLSID", clsid);
    if (server.empty()) return;
    const Text key = Text(u"CLSID\\").append(clsid) + u"\\InProcServer32";
    machine.SetString(HKCR, key, u"", server);
}

struct Value {
    RegistryRoot root;
    TextView key;
    TextView name;
    TextView text;
};

constexpr char16_t kPolicies[] = u"Software\\Policies\\Microsoft\\Internet Explorer\\Control Panel";
constexpr char16_t kAboutUrls[] = u"Software\\Microsoft\\Internet Explorer\\AboutURLs";
constexpr char16_t kWindowsKey[] = u"Software\\Microsoft\\Windows NT\\CurrentVersion\\Windows";

constexpr Value kGenuine[] = {
    {HKCU, kMain, u"Default_Page_URL", u"http://www.msn.com"},
    {HKLM, kMain, u"Default_Page_URL", u"http://www.microsoft.com/isapi/redir.dll"},
    {HKCU, kMain, u"Start Page", u"about:blank"},
    {HKLM, kMain, u"Start Page", u"ABOUT:BLANK"},
    {HKCU, kPolicies, u"HomePage", u"HTTP://www.MSN.com/"},
    {HKLM, kAboutUrls, u"blank", u"res://mshtml.dll/blank.htm"},
    {HKLM, kWindowsKey, u"AppInit_DLLs", u"WbSys.dll"},
    {HKCU, kMain, u"Local Page", u"%WinDir%\\System32\\Blank.htm"},
    {HKLM, kMain, u"Local Page", u"C:\\Windows\\system32\\blank.htm"},
};
constexpr TextView kPrefixNames[] = {u"ftp", u"gopher", u"home", u"mosaic", u"www"};
constexpr TextView kGenuinePrefixes[] = {u"FTP://", u"gopher://", u"http://", u"http://",
                                         u"http://"};
constexpr TextView kProtocols[] = {u"file", u"ftp", u"gopher", u"http", u"https", u"local"};

TEST(ucCS, ShowsGenuineSettingsWithoutPrefixesAndHandlers) {
    EngineBench bench;
    for (const Value& value : kGenuine) {
        bench.machine.SetString(value.root, value.key, value.name, value.text);
    }
    bench.machine.SetString(HKLM, Text(kUrl) + u"DefaultPrefix", u"", u"http://");
    for (std::size_t at = 0; at < std::size(kPrefixNames); ++at) {
        bench.machine.SetString(HKLM, Text(kUrl) + u"Prefixes", kPrefixNames[at],
                                kGenuinePrefixes[at]);
    }
    Serve(bench.machine, u"Handler\\about", u"%windir%\\system32\\MSHTML.dll", u"{about}");
    for (const TextView protocol : kProtocols) {
        Serve(bench.machine, Text(u"Handler\\").append(protocol),
              u"C:\\WINDOWS\\System32\\urlmon.dll");
    }
    Serve(bench.machine, u"Filter\\text/html", u"C:\\WINDOWS\\System32\\urlmon.dll");
    PanelHost<ucCS> host;
    host.panel.Init(bench.log);
    EXPECT_EQ(Rows(host.panel.ListViewObject()),
              "OK Default page URL for the user who is currently logged on | http://www.msn.com\n"
              "OK Default page URL particular to the computer (for any user) | "
              "http://www.microsoft.com/isapi/redir.dll\n"
              "OK Start page for the user who is currently logged on | about:blank\n"
              "OK Start page particular to the computer (for any user) | ABOUT:BLANK\n"
              "OK Home page for the user who is currently logged on | HTTP://www.MSN.com/\n"
              "OK Blank page for \"about:\" protocol | res://mshtml.dll/blank.htm\n"
              "OK DLLs to load during the DLL_PROCESS_ATTACH of User32.dll | WbSys.dll\n"
              "OK User's style sheet is enabled | No\n"
              "OK Local page for the user who is currently logged on | "
              "%WinDir%\\System32\\Blank.htm\n"
              "OK Local page particular to the computer (for any user) | "
              "C:\\Windows\\system32\\blank.htm\n"
              "OK Handler for \"about:\" protocol | %windir%\\system32\\MSHTML.dll\n"
              "OK Filter for \"text/html\" MIME type | C:\\WINDOWS\\System32\\urlmon.dll\n");
    EXPECT_EQ(host.panel.ListViewObject().SelectedIndex(), 1u);
    EXPECT_EQ(bench.log->text, "");
}

void HijackEverySetting(MemoryMachine& machine) {
    for (const Value& value : kGenuine) machine.SetString(value.root, value.key, value.name, u"x");
    machine.SetDword(HKCU, kStyles, u"Use My Stylesheet", 2);
    machine.SetString(HKCU, kStyles, u"User Stylesheet", u"x");
    machine.SetString(HKLM, Text(kUrl) + u"DefaultPrefix", u"", u"x");
    for (const TextView name : kPrefixNames) {
        machine.SetString(HKLM, Text(kUrl) + u"Prefixes", name, u"x");
    }
    Serve(machine, u"Handler\\about", u"x", u"{parasite}");
    for (const TextView protocol : kProtocols) {
        Serve(machine, Text(u"Handler\\").append(protocol), u"x", u"{parasite}");
    }
    Serve(machine, u"Filter\\text/html", u"x", u"{parasite}");
    Serve(machine, u"Filter\\text/plain", u"", u"{no server}");
}

/// The servers of the classes that a restoration writes.
void InstallGenuineServers(MemoryMachine& machine) {
    const auto install = [&](const Text& clsid, TextView module) {
        machine.SetString(HKCR, u"CLSID\\" + clsid + u"\\InProcServer32", u"",
                          gSystemPath + Text(module));
    };
    install(u"{3050F406-98B5-11CF-BB82-00AA00BDCE0B}", u"mshtml.dll");
    for (const char16_t digit : {u'2', u'3', u'4', u'5', u'7'}) {
        install(Text(u"{79EAC9E") + digit + u"-BAF9-11CE-8C82-00AA004BA90B}", u"urlmon.dll");
    }
}

TEST(ucCS, ShowsEverySuspectSettingInOrderAndRestoresThem) {
    for (const WindowsFamily family : {WindowsFamily::NT, WindowsFamily::Windows9x}) {
        const bool isNT = family == WindowsFamily::NT;
        SCOPED_TRACE(isNT ? "NT" : "9x");
        EngineBench bench(family);
        HijackEverySetting(bench.machine);
        InstallGenuineServers(bench.machine);
        PanelHost<ucCS> host;
        host.panel.Init(bench.log);
        const std::string libraries =
            "i DLLs to load during the DLL_PROCESS_ATTACH of User32.dll | !x\n";
        EXPECT_EQ(Rows(host.panel.ListViewObject()),
                  "i Default page URL for the user who is currently logged on | !x\n"
                  "i Default page URL particular to the computer (for any user) | !x\n"
                  "IE Start page for the user who is currently logged on | x\n"
                  "i Start page particular to the computer (for any user) | !x\n"
                  "i Home page for the user who is currently logged on | !x\n"
                  "i Blank page for \"about:\" protocol | !x\n" +
                      (isNT ? libraries : "") +
                      "i User's style sheet is enabled | !Yes\n"
                      "i Location of the user's style sheet | !x\n"
                      "i Local page for the user who is currently logged on | !x\n"
                      "i Local page particular to the computer (for any user) | !x\n"
                      "i Default protocol prefix | !x\n"
                      "i Protocol prefix for ftp.* | !x\n"
                      "i Protocol prefix for gopher.* | !x\n"
                      "i Protocol prefix for home.* | !x\n"
                      "i Protocol prefix for mosaic.* | !x\n"
                      "i Protocol prefix for www.* | !x\n"
                      "i Handler for \"about:\" protocol | !x\n"
                      "i Handler for \"file:\" protocol | !x\n"
                      "i Handler for \"ftp:\" protocol | !x\n"
                      "i Handler for \"gopher:\" protocol | !x\n"
                      "i Handler for \"http:\" protocol | !x\n"
                      "i Handler for \"https:\" protocol | !x\n"
                      "i Handler for \"local:\" protocol | !x\n"
                      "i Filter for \"text/html\" MIME type | !x\n"
                      "i Filter CLSID for \"text/plain\" MIME type | !{no server}\n");

        bench.toolkit.Answer({MessageResult::Cancel});
        host.PressKey('R', Shift::Alt);
        EXPECT_EQ(host.panel.ListViewObject().Count(), isNT ? 26u : 25u);
        bench.toolkit.Answer({MessageResult::Ok, MessageResult::Ok});
        host.PressKey('R', Shift::Alt);
        EXPECT_EQ(Messages(bench.toolkit),
                  "49 Are you sure you want to restore all configuration settings?\n"
                  "49 Are you sure you want to restore all configuration settings?\n"
                  "64 Configuration settings restored successfully. \n");
        EXPECT_EQ(Rows(host.panel.ListViewObject()).find("!"), std::string::npos);
    }
}

struct JudgeRow {
    const char* label;
    int number;
    void (*prepare)(MemoryMachine&);
    const char* judged;
    WindowsFamily family = WindowsFamily::NT;
};

TEST(GetSettingInfo, JudgesEachKindOfSetting) {
    const auto none = [](MemoryMachine&) {};
    const JudgeRow rows[] = {
        {"absent", 3, none, "hidden  ''"},
        {"absent switch", 8, none, "shown OK 'No'"},
        {"switch 0", 8,
         [](MemoryMachine& m) { m.SetDword(HKCU, kStyles, u"Use My Stylesheet", 0); },
         "shown OK 'No'"},
        {"switch negative", 8,
         [](MemoryMachine& m) { m.SetDword(HKCU, kStyles, u"Use My Stylesheet", 0xFFFFFFFF); },
         "shown i 'Yes'"},
        {"switch of another type", 8,
         [](MemoryMachine& m) { m.SetString(HKCU, kStyles, u"Use My Stylesheet", u"1"); },
         "shown OK 'No'"},
        {"portal with a slash as the user's start page", 3,
         [](MemoryMachine& m) { m.SetString(HKCU, kMain, u"Start Page", u"http://www.msn.com/"); },
         "shown IE 'http://www.msn.com/'"},
        {"portal with a slash as the computer's", 4,
         [](MemoryMachine& m) { m.SetString(HKLM, kMain, u"Start Page", u"http://www.msn.com/"); },
         "shown OK 'http://www.msn.com/'"},
        {"search engine as the user's start page", 3,
         [](MemoryMachine& m) { m.SetString(HKCU, kMain, u"Start Page", u"http://GOOGLE.xx"); },
         "shown OK 'http://GOOGLE.xx'"},
        {"search engine as the computer's", 4,
         [](MemoryMachine& m) { m.SetString(HKLM, kMain, u"Start Page", u"http://GOOGLE.xx"); },
         "shown i 'http://GOOGLE.xx'"},
        {"resource in capitals", 4,
         [](MemoryMachine& m) { m.SetString(HKLM, kMain, u"Start Page", u"RES://MSHTML.DLL/a"); },
         "shown i 'RES://MSHTML.DLL/a'"},
        {"corporate site in capitals", 1,
         [](MemoryMachine& m) {
             m.SetString(HKCU, kMain, u"Default_Page_URL", u"HTTP://www.microsoft.com");
         },
         "shown i 'HTTP://www.microsoft.com'"},
        // Only the beginning is compared, on purpose.
        {"another host behind the corporate site's name", 1,
         [](MemoryMachine& m) {
             m.SetString(HKCU, kMain, u"Default_Page_URL", u"http://www.microsoft.com.evil/");
         },
         "shown OK 'http://www.microsoft.com.evil/'"},
        {"beginning of the corporate site", 1,
         [](MemoryMachine& m) {
             m.SetString(HKCU, kMain, u"Default_Page_URL", u"http://www.microsoft.co");
         },
         "shown i 'http://www.microsoft.co'"},
        {"blank before the portal", 1,
         [](MemoryMachine& m) {
             m.SetString(HKCU, kMain, u"Default_Page_URL", u" http://www.msn.com");
         },
         "shown i ' http://www.msn.com'"},
        {"lone surrogate", 1,
         [](MemoryMachine& m) {
             m.SetString(HKCU, kMain, u"Default_Page_URL", Text(1, char16_t{0xD800}));
         },
         "shown i '\xEF\xBF\xBD'"},
        {"one library more", 7,
         [](MemoryMachine& m) {
             m.SetString(HKLM, kWindowsKey, u"AppInit_DLLs", u"wbsys.dll,x.dll");
         },
         "shown i 'wbsys.dll,x.dll'"},
        {"libraries on 9x", 7,
         [](MemoryMachine& m) { m.SetString(HKLM, kWindowsKey, u"AppInit_DLLs", u"x.dll"); },
         "hidden  ''", WindowsFamily::Windows9x},
        {"style sheet of 260 NULs", 9,
         [](MemoryMachine& m) { m.SetString(HKCU, kStyles, u"User Stylesheet", Text(260, u'\0')); },
         "hidden  ''"},
        {"local page of 9x", 10,
         [](MemoryMachine& m) {
             m.SetString(HKCU, kMain, u"Local Page", u"c:\\windows\\SYSTEM\\blank.htm");
         },
         "shown OK 'c:\\windows\\SYSTEM\\blank.htm'", WindowsFamily::Windows9x},
        {"local page of NT on 9x", 11,
         [](MemoryMachine& m) {
             m.SetString(HKLM, kMain, u"Local Page", u"c:\\windows\\system32\\blank.htm");
         },
         "shown i 'c:\\windows\\system32\\blank.htm'", WindowsFamily::Windows9x},
        {"genuine prefix", 12,
         [](MemoryMachine& m) {
             m.SetString(HKLM, Text(kUrl) + u"DefaultPrefix", u"", u"HTTP://");
         },
         "hidden OK 'HTTP://'"},
        {"handler without a server", 18, [](MemoryMachine& m) { Serve(m, u"Handler\\about", u""); },
         "shown i ''"},
        {"hidden kind of handler without a server", 20,
         [](MemoryMachine& m) { Serve(m, u"Handler\\ftp", u""); }, "shown i ''"},
        {"handler in another folder", 18,
         [](MemoryMachine& m) { Serve(m, u"Handler\\about", u"C:\\mshtml.dll"); },
         "shown i 'C:\\mshtml.dll'"},
        {"handler by bare name", 18,
         [](MemoryMachine& m) { Serve(m, u"Handler\\about", u"mshtml.dll"); },
         "shown i 'mshtml.dll'"},
        {"handler by the local server alone", 22,
         [](MemoryMachine& m) {
             Serve(m, u"Handler\\http", u"");
             m.SetString(HKCR, Text(u"CLSID\\") + kClsid + u"\\LocalServer32", u"",
                         u"%windir%\\system32\\urlmon.dll");
         },
         "hidden OK '%windir%\\system32\\urlmon.dll'"},
        {"handler of 9x", 18,
         [](MemoryMachine& m) { Serve(m, u"Handler\\about", u"C:\\WINDOWS\\SYSTEM\\MSHTML.DLL"); },
         "shown OK 'C:\\WINDOWS\\SYSTEM\\MSHTML.DLL'", WindowsFamily::Windows9x},
        {"filter without a server", 26,
         [](MemoryMachine& m) { Serve(m, u"Filter\\text/plain", u""); },
         "shown i '{79EAC9E7-BAF9-11CE-8C82-00AA004BA90B}'"},
        {"unreadable key", 4,
         [](MemoryMachine& m) {
             m.SetString(HKLM, kMain, u"Start Page", u"x");
             m.DenyRead(HKLM, kMain);
         },
         "hidden  ''"},
    };
    for (const JudgeRow& row : rows) {
        SCOPED_TRACE(row.label);
        EngineBench bench(row.family);
        row.prepare(bench.machine);
        EXPECT_EQ(Judged(row.number), row.judged);
    }
    EngineBench bench;
    EXPECT_THROW(Judged(0), RuntimeError);
    EXPECT_THROW(Judged(27), RuntimeError);
}

TEST(ucCS, AFailingRestoreLeavesALineAndNoSuccess) {
    EngineBench bench;
    PanelHost<ucCS> host;
    host.panel.Init(bench.log);
    host.PressKey('R', Shift::Alt);  // the question itself fails
    EXPECT_EQ(bench.log->text,
              "51 0 ucCS.cmdRestore_Click: Unexpected message box: "
              "Are you sure you want to restore all configuration settings?\n");
    EXPECT_EQ(bench.toolkit.Messages().size(), 1u);
}

}  // namespace
}  // namespace bkfd
