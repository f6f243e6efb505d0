#include "panels/ucCS.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "PanelHost.h"
#include "base/RuntimeError.h"
#include "common/BrowserKeys.h"
#include "common/EngineFixture.h"
#include "panels/SettingInfo.h"
#include "ui/Keys.h"

namespace bkfd {
namespace {

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
    if (!server.empty()) AddServer(machine, clsid, server);
}

/// A setting that is one value, with a genuine text.
struct Value {
    int number;
    RegistryRoot root;
    TextView key;
    TextView name;
    TextView text;
};

constexpr char16_t kAboutUrls[] = u"Software\\Microsoft\\Internet Explorer\\AboutURLs";

constexpr Value kGenuine[] = {
    {1, HKCU, kMainKey, u"Default_Page_URL", u"http://www.msn.com"},
    {2, HKLM, kMainKey, u"Default_Page_URL", u"http://www.microsoft.com/isapi/redir.dll"},
    {3, HKCU, kMainKey, u"Start Page", u"about:blank"},
    {4, HKLM, kMainKey, u"Start Page", u"ABOUT:BLANK"},
    {5, HKCU, kControlPanel, u"HomePage", u"HTTP://www.MSN.com/"},
    {6, HKLM, kAboutUrls, u"blank", u"res://mshtml.dll/blank.htm"},
    {7, HKLM, kWindowsKey, u"AppInit_DLLs", u"WbSys.dll"},
    {10, HKCU, kMainKey, u"Local Page", u"%WinDir%\\System32\\Blank.htm"},
    {11, HKLM, kMainKey, u"Local Page", u"C:\\Windows\\system32\\blank.htm"},
};
constexpr TextView kPrefixNames[] = {u"ftp", u"gopher", u"home", u"mosaic", u"www"};
constexpr TextView kGenuinePrefixes[] = {u"FTP://", u"gopher://", u"http://", u"http://",
                                         u"http://"};
constexpr TextView kProtocols[] = {u"file", u"ftp", u"gopher", u"http", u"https", u"local"};

/// What the list is to show for a setting.
std::string Shown(int number, const std::string& icon, const std::string& value) {
    static constexpr const char* kDescriptions[] = {
        "Default page URL for the user who is currently logged on",
        "Default page URL particular to the computer (for any user)",
        "Start page for the user who is currently logged on",
        "Start page particular to the computer (for any user)",
        "Home page for the user who is currently logged on",
        "Blank page for \"about:\" protocol",
        "DLLs to load during the DLL_PROCESS_ATTACH of User32.dll",
        "User's style sheet is enabled",
        "Location of the user's style sheet",
        "Local page for the user who is currently logged on",
        "Local page particular to the computer (for any user)",
        "Default protocol prefix",
        "Protocol prefix for ftp.*",
        "Protocol prefix for gopher.*",
        "Protocol prefix for home.*",
        "Protocol prefix for mosaic.*",
        "Protocol prefix for www.*",
        "Handler for \"about:\" protocol",
        "Handler for \"file:\" protocol",
        "Handler for \"ftp:\" protocol",
        "Handler for \"gopher:\" protocol",
        "Handler for \"http:\" protocol",
        "Handler for \"https:\" protocol",
        "Handler for \"local:\" protocol",
        "Filter for \"text/html\" MIME type",
        "Filter CLSID for \"text/plain\" MIME type"};
    return icon + ' ' + kDescriptions[number - 1] + " | " + value + '\n';
}

TEST(ucCS, ShowsGenuineSettingsWithoutPrefixesAndHandlers) {
    EngineFixture fixture;
    std::string shown;
    for (const Value& value : kGenuine) {
        fixture.machine.SetString(value.root, value.key, value.name, value.text);
        if (value.number == 10) shown += Shown(8, "OK", "No");
        shown += Shown(value.number, "OK", ToUtf8(value.text));
    }
    fixture.machine.SetString(HKLM, Text(kUrl) + u"DefaultPrefix", u"", u"http://");
    for (std::size_t at = 0; at < std::size(kPrefixNames); ++at) {
        fixture.machine.SetString(HKLM, Text(kUrl) + u"Prefixes", kPrefixNames[at],
                                  kGenuinePrefixes[at]);
    }
    Serve(fixture.machine, u"Handler\\about", u"%windir%\\system32\\MSHTML.dll", u"{about}");
    for (const TextView protocol : kProtocols) {
        Serve(fixture.machine, Text(u"Handler\\").append(protocol),
              u"C:\\WINDOWS\\System32\\urlmon.dll");
    }
    Serve(fixture.machine, u"Filter\\text/html", u"C:\\WINDOWS\\System32\\urlmon.dll");
    PanelHost<ucCS> host;
    host.panel.Init(fixture.log);
    EXPECT_EQ(Rows(host.panel.ListViewObject()),
              shown + Shown(18, "OK", "%windir%\\system32\\MSHTML.dll") +
                  Shown(25, "OK", "C:\\WINDOWS\\System32\\urlmon.dll"));
    EXPECT_EQ(host.panel.ListViewObject().SelectedIndex(), 1u);
    EXPECT_EQ(fixture.log->text, "");
}

void HijackEverySetting(MemoryMachine& machine) {
    for (const Value& value : kGenuine) machine.SetString(value.root, value.key, value.name, u"x");
    machine.SetDword(HKCU, kStylesKey, u"Use My Stylesheet", 2);
    machine.SetString(HKCU, kStylesKey, u"User Stylesheet", u"x");
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
    AddServer(machine, u"{3050F406-98B5-11CF-BB82-00AA00BDCE0B}", gSystemPath + u"mshtml.dll");
    for (const char16_t digit : {u'2', u'3', u'4', u'5', u'7'}) {
        AddServer(machine, Text(u"{79EAC9E") + digit + u"-BAF9-11CE-8C82-00AA004BA90B}",
                  gSystemPath + u"urlmon.dll");
    }
}

TEST(ucCS, ShowsEverySuspectSettingInOrderAndRestoresThem) {
    for (const WindowsFamily family : {WindowsFamily::NT, WindowsFamily::Windows9x}) {
        const bool isNT = family == WindowsFamily::NT;
        SCOPED_TRACE(isNT ? "NT" : "9x");
        EngineFixture fixture(family);
        HijackEverySetting(fixture.machine);
        InstallGenuineServers(fixture.machine);
        PanelHost<ucCS> host;
        host.panel.Init(fixture.log);
        std::string shown;
        for (int number = 1; number <= 25; ++number) {
            if (number == 7 && !isNT) continue;  // the libraries
            const std::string value = number == 3 ? "x" : number == 8 ? "!Yes" : "!x";
            shown += Shown(number, number == 3 ? "IE" : "i", value);
        }
        EXPECT_EQ(Rows(host.panel.ListViewObject()), shown + Shown(26, "i", "!{no server}"));
        fixture.toolkit.Answer({MessageResult::Cancel});
        host.PressKey('R', Shift::Alt);
        EXPECT_EQ(host.panel.ListViewObject().Count(), isNT ? 26u : 25u);
        fixture.toolkit.Answer({MessageResult::Ok, MessageResult::Ok});
        host.PressKey('R', Shift::Alt);
        EXPECT_EQ(fixture.Messages(),
                  "49 Are you sure you want to restore all configuration settings?\n"
                  "49 Are you sure you want to restore all configuration settings?\n"
                  "64 Configuration settings restored successfully. \n");
        EXPECT_EQ(Rows(host.panel.ListViewObject()).find("!"), std::string::npos);
    }
}

TEST(GetSettingInfo, JudgesTexts) {
    constexpr auto NT = WindowsFamily::NT;
    constexpr auto W9x = WindowsFamily::Windows9x;
    const struct {
        const char* label;
        int number;
        Text text;
        const char* judged;
        WindowsFamily family = NT;
    } rows[] = {
        {"portal with a slash as the user's start page", 3, u"http://www.msn.com/", "shown IE"},
        {"portal with a slash as the computer's", 4, u"http://www.msn.com/", "shown OK"},
        {"search engine as the user's start page", 3, u"http://GOOGLE.xx", "shown OK"},
        {"search engine as the computer's", 4, u"http://GOOGLE.xx", "shown i"},
        {"resource in capitals", 4, u"RES://MSHTML.DLL/a", "shown i"},
        {"corporate site in capitals", 1, u"HTTP://www.microsoft.com", "shown i"},
        // Only the beginning is compared, on purpose.
        {"another host behind the corporate site's", 1, u"http://www.microsoft.com.evil/",
         "shown OK"},
        {"beginning of the corporate site", 1, u"http://www.microsoft.co", "shown i"},
        {"blank before the portal", 1, u" http://www.msn.com", "shown i"},
        {"lone surrogate", 1, Text(1, char16_t{0xD800}), "shown i"},
        {"one library more", 7, u"wbsys.dll,x.dll", "shown i"},
        {"local page of 9x", 10, u"c:\\windows\\SYSTEM\\blank.htm", "shown OK", W9x},
        {"local page of NT on 9x", 11, u"c:\\windows\\system32\\blank.htm", "shown i", W9x},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.label);
        EngineFixture fixture(row.family);
        const auto& value = *std::ranges::find(kGenuine, row.number, &Value::number);
        fixture.machine.SetString(value.root, value.key, value.name, row.text);
        EXPECT_EQ(Judged(row.number), row.judged + (" '" + ToUtf8(row.text) + "'"));
    }
}

TEST(GetSettingInfo, JudgesEachOtherKindOfSetting) {
    struct Row {
        const char* label;
        int number;
        void (*prepare)(MemoryMachine&);
        const char* judged;
        WindowsFamily family = WindowsFamily::NT;
    };
    const auto none = [](MemoryMachine&) {};
    const Row rows[] = {
        {"absent", 3, none, "hidden  ''"},
        {"absent switch", 8, none, "shown OK 'No'"},
        {"switch 0", 8,
         [](MemoryMachine& m) { m.SetDword(HKCU, kStylesKey, u"Use My Stylesheet", 0); },
         "shown OK 'No'"},
        {"switch negative", 8,
         [](MemoryMachine& m) { m.SetDword(HKCU, kStylesKey, u"Use My Stylesheet", 0xFFFFFFFF); },
         "shown i 'Yes'"},
        {"switch of another type", 8,
         [](MemoryMachine& m) { m.SetString(HKCU, kStylesKey, u"Use My Stylesheet", u"1"); },
         "shown OK 'No'"},
        {"libraries on 9x", 7,
         [](MemoryMachine& m) { m.SetString(HKLM, kWindowsKey, u"AppInit_DLLs", u"x.dll"); },
         "hidden  ''", WindowsFamily::Windows9x},
        {"style sheet of 260 NULs", 9,
         [](MemoryMachine& m) {
             m.SetString(HKCU, kStylesKey, u"User Stylesheet", Text(260, u'\0'));
         },
         "hidden  ''"},
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
             AddServer(m, kClsid, u"%windir%\\system32\\urlmon.dll", u"LocalServer32");
         },
         "hidden OK '%windir%\\system32\\urlmon.dll'"},
        {"handler by a library before a genuine program", 22,
         [](MemoryMachine& m) {
             Serve(m, u"Handler\\http", u"C:\\x.dll");
             AddServer(m, kClsid, u"C:\\WINDOWS\\system32\\urlmon.dll", u"LocalServer32");
         },
         "shown i 'C:\\x.dll'"},
        {"handler of 9x", 18,
         [](MemoryMachine& m) { Serve(m, u"Handler\\about", u"C:\\WINDOWS\\SYSTEM\\MSHTML.DLL"); },
         "shown OK 'C:\\WINDOWS\\SYSTEM\\MSHTML.DLL'", WindowsFamily::Windows9x},
        {"filter without a server", 26,
         [](MemoryMachine& m) { Serve(m, u"Filter\\text/plain", u""); },
         "shown i '{79EAC9E7-BAF9-11CE-8C82-00AA004BA90B}'"},
        {"unreadable key", 4,
         [](MemoryMachine& m) {
             m.SetString(HKLM, kMainKey, u"Start Page", u"x");
             m.DenyRead(HKLM, kMainKey);
         },
         "hidden  ''"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.label);
        EngineFixture fixture(row.family);
        row.prepare(fixture.machine);
        EXPECT_EQ(Judged(row.number), row.judged);
    }
    EngineFixture fixture;
    EXPECT_THROW(Judged(0), RuntimeError);
    EXPECT_THROW(Judged(27), RuntimeError);
}

TEST(ucCS, AFailingRestoreLeavesALineAndNoSuccess) {
    EngineFixture fixture;
    PanelHost<ucCS> host;
    host.panel.Init(fixture.log);
    host.PressKey('R', Shift::Alt);  // the question itself fails
    EXPECT_EQ(fixture.log->text,
              "51 0 ucCS.cmdRestore_Click: Unexpected message box: "
              "Are you sure you want to restore all configuration settings?\n");
    EXPECT_EQ(fixture.toolkit.Messages().size(), 1u);
}

}  // namespace
}  // namespace bkfd
