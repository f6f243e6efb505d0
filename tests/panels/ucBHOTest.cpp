#include "panels/ucBHO.h"

#include <gtest/gtest.h>

#include "PanelHost.h"
#include "common/BrowserKeys.h"
#include "common/EngineFixture.h"
#include "formats/VersionSamples.h"
#include "ignore/MakeEntries.h"
#include "testing/Describe.h"
#include "ui/Keys.h"

namespace bkfd {
namespace {

using samples::FileWithVersion;

Text Clsid(char16_t digit) {
    return Text(u"{") + digit + u"1111111-1111-1111-1111-111111111111}";
}

class Helpers : public EngineFixture {
  public:
    using EngineFixture::EngineFixture;

    void Add(char16_t digit, TextView title, TextView library = {}) {
        AddHelperObject(machine, Clsid(digit), title, library);
    }
    /// Shows the panel over what the machine holds.
    ucBHO& Open() {
        host = std::make_unique<PanelHost<ucBHO>>();
        host->panel.Init(log);
        return host->panel;
    }
    ListView& List() { return host->panel.ListViewObject(); }
    /// "name -> file box" for each row.
    std::string Rows() {
        std::string rows;
        auto& box = dynamic_cast<TextBox&>(*host->FindControl(u"txtFilename"));
        for (std::size_t row = 1; row <= List().Count(); ++row) {
            List().UserSelect(row);
            rows += ToUtf8(List().Item(row)->GetText()) + " -> " + ToUtf8(box.GetText()) + '\n';
        }
        return rows;
    }
    void Delete(std::initializer_list<MessageResult> answers) {
        toolkit.Answer(answers);
        host->PressKey('D', Shift::Alt);
    }

    std::unique_ptr<PanelHost<ucBHO>> host;
};

TEST(ucBHO, NamesEachObjectAndItsFile) {
    Helpers it;
    MemoryMachine& machine = it.machine;
    machine.AddFile(u"C:\\named.dll",
                    FileWithVersion({{u"ProductName", u"Foo & Bar"}, {u"CompanyName", u"Maker"}}));
    machine.AddFile(u"C:\\plain.dll", "bytes");
    it.Add(u'1', u"Title & more", u"C:\\named.dll");
    it.Add(u'2', u"", u"C:\\named.dll");
    it.Add(u'3', u"", u"C:\\plain.dll");
    it.Add(u'4', u"");
    it.Add(u'5', u"Dead");
    it.Add(u'6', u"Local");
    AddServer(machine, Clsid(u'6'), u"\"C:\\plain.dll\" -s", u"LocalServer32");
    it.Add(u'7', u"Gone", u"C:\\gone.dll");
    machine.SetString(HKLM, Text(kHelperObjects) + u"{short}", u"", u"never listed");
    it.Open();
    EXPECT_EQ(ToUtf8(dynamic_cast<TextBox&>(*it.host->FindControl(u"txtFilename")).GetText()),
              "C:\\named.dll");
    const std::string none = "Browser Helper Object is improperly installed or configured\n";
    EXPECT_EQ(it.Rows(),
              "Title  more -> C:\\named.dll\nFoo  Bar -> C:\\named.dll\n"
              "C:\\plain.dll -> C:\\plain.dll\n(noname) -> " +
                  none + "Dead -> " + none + "Local -> C:\\plain.dll\nGone -> C:\\gone.dll\n");
    const auto& node = dynamic_cast<ItemNode&>(*it.List().Item(1)->Tag());
    EXPECT_EQ(node.params(u"Manufacturer").Values(1).AsText(), u"Maker");
    EXPECT_EQ(it.log->text, "");
}

TEST(ucBHO, AnEmptyListOffersNothing) {
    Helpers it;
    it.Open();
    it.host->PressKey(Key::ContextMenu);
    it.List().MouseUp(MouseButton::Right);
    it.host->PressKey(Key::Enter, Shift::Alt);
    it.Delete({});
    EXPECT_EQ(Describe(*it.host),
              "form Host \"\"\n  panel panel\n"
              "    label Label4 \"Detected Browser Helper Objects:\"\n"
              "    list lv \"Name\" (focus)\n    label lblFilename \"Related File:\"\n"
              "    text txtFilename \"\" (read-only)\n"
              "    button cmdDelete \"&Delete Browser Helper Object\" (disabled)\n");
    EXPECT_EQ(it.log->text, "");
    it.Add(u'1', u"Late");
    it.host->panel.RefreshList();
    const auto& button = *it.host->FindControl(u"cmdDelete");
    EXPECT_TRUE(button.Enabled());
    it.Delete({MessageResult::Ok, MessageResult::Ok});
    EXPECT_FALSE(button.Enabled());
}

TEST(ucBHO, TheContextMenuFollowsTheSelection) {
    Helpers it;
    it.machine.AddFile(u"C:\\plain.dll", "bytes");
    it.Add(u'1', u"Plain", u"C:\\plain.dll");
    it.Add(u'2', u"Gone", u"C:\\gone.dll");
    it.Add(u'3', u"Dead");
    it.Open();
    it.toolkit.Pick({u"mnuProperties", u"mnuProperties", u""});
    it.toolkit.Answer({MessageResult::Ok, MessageResult::Ok});
    it.List().MouseUp(MouseButton::Left);  // nothing
    it.List().MouseUp(MouseButton::Right);
    it.host->PressKey(Key::Enter, Shift::Alt);
    it.List().UserSelect(2);
    it.host->PressKey(Key::ContextMenu);
    it.host->PressKey(Key::Enter, Shift::Alt);
    it.List().UserSelect(3);
    it.List().MouseUp(MouseButton::Right);
    it.host->PressKey(Key::Enter, Shift::Alt);
    const std::vector<Text> whole = {u"&Delete", u"&Ignore", u"-", u"&Properties"};
    const std::vector<std::vector<Text>> popups = {whole, whole, {u"&Delete", u"&Ignore"}};
    EXPECT_EQ(it.toolkit.Popups(), popups);
    const std::vector<Text> launched(2, u"properties C:\\plain.dll (window 1)");
    EXPECT_EQ(it.machine.Launched(), launched);
    EXPECT_EQ(it.Messages(),
              "48 File 'C:\\gone.dll' not found. \n48 File 'C:\\gone.dll' not found. \n");
}

TEST(ucBHO, DeletesTheRegistrationAndRenamesParasites) {
    const auto nothing = [](MemoryMachine&) {};
    const auto deny = [](MemoryMachine& machine) { machine.DenyWrite(HKLM, kHelperObjects); };
    const struct {
        const char* label;
        TextView server;
        void (*prepare)(MemoryMachine&);
        bool isDeleted;
        bool isRenamed;
        WindowsFamily family = WindowsFamily::NT;
    } rows[] = {
        {"parasite", u"C:\\file.dll", nothing, true, true},
        {"parasite on 9x", u"C:\\file.dll", nothing, true, true, WindowsFamily::Windows9x},
        {"parasite, deletion refused", u"C:\\file.dll", deny, false, true},
        {"named file", u"C:\\file.dll",
         [](MemoryMachine& machine) {
             machine.AddFile(u"C:\\file.dll", FileWithVersion({{u"CompanyName", u"Maker"}}));
         },
         true, false},
        {"no file", u"", nothing, true, false},
        {"no file, deletion refused", u"", deny, false, false},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.label);
        Helpers it(row.family);
        it.machine.AddFile(u"C:\\file.dll", "bytes");
        row.prepare(it.machine);
        it.Add(u'1', u"It", row.server);
        it.Open();
        it.Delete({MessageResult::Cancel});
        EXPECT_TRUE(it.machine.HasFile(u"C:\\file.dll"));
        EXPECT_EQ(it.log->text, "");
        it.Delete({MessageResult::Ok, MessageResult::Ok});
        const std::string question =
            "49 Are you sure you want to delete 'It' browser helper object?\n";
        EXPECT_EQ(
            it.Messages(),
            question + question +
                (row.isDeleted ? "64 Browser helper object 'It' deleted successfully. \n"
                               : "48 Access denied. You must be logged in as an administrator when "
                                 "deleting this browser helper object. \n"));
        EXPECT_EQ(it.List().Count(), row.isDeleted ? 0u : 1u);
        EXPECT_EQ(it.machine.HasKey(HKLM, kHelperObjects + Clsid(u'1')), !row.isDeleted);
        EXPECT_EQ(it.machine.HasKey(HKCR, u"CLSID\\" + Clsid(u'1')), !row.server.empty());
        EXPECT_EQ(it.machine.HasFile(u"C:\\parasite_file.dll.parasite"), row.isRenamed);
        EXPECT_TRUE(it.log->text.starts_with(
            "5 ucBHO.cmdDelete_Click: Deleting BHO({11111111-1111-1111-1111-111111111111}, 'It', "
            "'" +
            ToUtf8(row.server) + "')\n"))
            << it.log->text;
    }
}

class Ignoring : public Helpers {
  public:
    Ignoring() {
        machine.AddFile(u"C:\\plain.dll", "bytes");
        Add(u'1', u"Plain", u"C:\\plain.dll");
        Add(u'2', u"Dead");
        Open();
    }
    /// By the keyboard, in the menu of that row. The first answer is the menu's question's.
    void Pick(std::size_t row, const Text& entry, std::initializer_list<MessageResult> answers) {
        List().UserSelect(row);
        toolkit.Answer(answers);
        toolkit.Pick({entry});
        host->PressKey(Key::ContextMenu);
        EXPECT_EQ(List().SelectedIndex(), row);
    }
    /// The label and the names.
    std::string Shown() {
        std::string shown = ToUtf8(dynamic_cast<Label&>(*host->FindControl(u"Label4")).Caption());
        for (std::size_t row = 1; row <= List().Count(); ++row) {
            shown += '|' + ToUtf8(List().Item(row)->GetText());
        }
        return shown;
    }
};

TEST(ucBHO, IgnoresAnObjectAndStopsIgnoringIt) {
    Ignoring it;
    const std::string none = "Detected Browser Helper Objects:|Plain|Dead";
    EXPECT_EQ(it.Shown(), none);
    it.Pick(2, u"mnuIgnore", {});
    EXPECT_EQ(it.Shown(), "Detected Browser Helper Objects (1 ignored):|Plain|Dead, ignored");
    EXPECT_EQ(AddToIgnoreList({EntryOfFile(u"C:\\plain.dll", u"by content")}, *it.log), 1u);
    it.host->panel.RefreshList();
    const std::string both =
        "Detected Browser Helper Objects (2 ignored):|Plain, ignored|Dead, ignored";
    EXPECT_EQ(it.Shown(), both);
    it.Delete({MessageResult::Cancel});  // is asked for by the name alone
    it.Pick(1, u"mnuStopIgnoring", {MessageResult::Cancel});
    EXPECT_EQ(it.Shown(), both);
    it.Pick(1, u"mnuStopIgnoring", {MessageResult::Ok});
    it.Pick(2, u"mnuStopIgnoring", {MessageResult::Ok});
    EXPECT_EQ(it.Shown(), none);
    EXPECT_TRUE(IgnoreList::Read().Entries().empty());
    const std::string stop = "49 Are you sure you want to stop ignoring 'Plain'?\n";
    EXPECT_EQ(it.Messages(), "49 Are you sure you want to delete 'Plain' browser helper object?\n" +
                                 stop + stop +
                                 "49 Are you sure you want to stop ignoring 'Dead'?\n");
    EXPECT_EQ(it.toolkit.Popups().back(), (std::vector<Text>{u"&Delete", u"Stop &Ignoring"}));
}

TEST(ucBHO, ADamagedIgnoreListStaysAndIsTold) {
    Ignoring it;
    it.machine.AddFile(IgnoreListPath(), "damaged");
    it.host->panel.RefreshList();
    it.Pick(2, u"mnuIgnore", {MessageResult::Ok});
    EXPECT_EQ(it.Shown(), "Detected Browser Helper Objects:|Plain|Dead");
    EXPECT_EQ(IgnoreList::Read().Damage(), u"line 1: isn't the head of an ignore list");
    EXPECT_TRUE(it.Messages().starts_with("48 Cannot change the ignore list. C:\\"))
        << it.Messages();
    EXPECT_TRUE(it.Logged(" 4 ucBHO.mnuIgnore_Click: ")) << it.log->text;
}

TEST(ucBHO, FailuresAreLoggedAndShowNothing) {
    Helpers it;
    it.Add(u'1', u"First", u"C:\\a.dll");
    it.Add(u'2', u"Lone quote", u"\"");  // no command line at all
    it.Add(u'3', u"Never reached", u"C:\\b.dll");
    it.Open();
    EXPECT_EQ(it.List().Count(), 1u);
    EXPECT_TRUE(it.Logged(" 4 ucBHO.FillBHOInfo: ")) << it.log->text;
    it.Delete({});  // the question itself fails
    EXPECT_TRUE(it.Logged(" 4 ucBHO.cmdDelete_Click: "));
}

TEST(ucBHO, ShowsThousandsOfObjectsAndOddNames) {
    Helpers it;
    for (int number = 0; number < 3000; ++number) {
        const Text clsid = u"{" + Text(31, u'0') + ToText(10000 + number) + u"}";
        it.machine.AddKey(HKLM, kHelperObjects + clsid);
    }
    it.Add(u'1', Text(32767, u'&') + u"\xD800", Text(32767, u'x'));
    it.Open();
    EXPECT_EQ(it.List().Count(), 3001u);
    it.List().UserSelect(3001);
    EXPECT_EQ(it.List().SelectedItem()->GetText(), Text(u"\xD800"));
    EXPECT_EQ(it.log->text, "");
}

}  // namespace
}  // namespace bkfd
