#include "ui/terminal/FormCommand.h"

#include <charconv>
#include <functional>

#include "ui/Button.h"
#include "ui/Keys.h"
#include "ui/Label.h"
#include "ui/ListBox.h"
#include "ui/ListView.h"
#include "ui/Picture.h"
#include "ui/TabStrip.h"
#include "ui/TextBox.h"
#include "ui/terminal/FormText.h"

namespace bkfd {
namespace {

/// The first word, and what follows the blanks behind it.
struct Split {
    std::string word;
    std::string rest;
};

Split SplitWord(const std::string& line) {
    const std::size_t start = line.find_first_not_of(' ');
    if (start == std::string::npos) return {};
    const std::size_t end = std::min(line.find(' ', start), line.size());
    const std::size_t rest = std::min(line.find_first_not_of(' ', end), line.size());
    return {line.substr(start, end - start), line.substr(rest)};
}

Text Caption(const Control& control) {
    if (const auto* button = dynamic_cast<const Button*>(&control)) return button->Caption();
    if (const auto* label = dynamic_cast<const Label*>(&control)) return label->Caption();
    return {};
}

bool IsCalled(const Control& control, const std::string& name) {
    const Text wanted = FromUtf8(name);
    return EqualsIgnoreCase(control.Name(), wanted) ||
           (!wanted.empty() && EqualsIgnoreCase(WithoutMnemonic(Caption(control)), wanted));
}

/// The shown control of that kind with that name or caption, or null.
template <class Kind>
Kind* Named(Form& form, const std::string& name) {
    for (Kind* control : ShownControls<Kind>(form)) {
        if (IsCalled(*control, name)) return control;
    }
    return nullptr;
}

std::string NoSuch(const std::string& kind, const std::string& name) {
    return "There is no " + kind + " \"" + name + "\" here.";
}

/// 1 to `count`, or 0 for anything else.
std::size_t NumberUpTo(const std::string& digits, std::size_t count) {
    std::size_t number = 0;
    const char* end = digits.data() + digits.size();
    const auto [stop, error] = std::from_chars(digits.data(), end, number);
    return error == std::errc() && stop == end && number <= count ? number : 0;
}

template <class List>
std::string SelectIn(List& list, std::size_t count, const std::string& kind,
                     const std::string& digits) {
    const std::size_t number = NumberUpTo(digits, count);
    if (number == 0) return NoSuch(kind, digits);
    list.UserSelect(number);
    return {};
}

std::string ChooseTab(Form& form, const std::string& rest) {
    const auto strips = ShownControls<TabStrip>(form);
    if (strips.empty()) return NoSuch("tab", rest);
    return SelectIn(*strips.front(), strips.front()->Tabs().size(), "tab", rest);
}

std::string ChooseRow(Form& form, const std::string& rest) {
    const auto views = ShownControls<ListView>(form);
    if (!views.empty()) return SelectIn(*views.front(), views.front()->Count(), "row", rest);
    const auto boxes = ShownControls<ListBox>(form);
    if (!boxes.empty()) return SelectIn(*boxes.front(), boxes.front()->Count(), "row", rest);
    return NoSuch("row", rest);
}

std::string OpenContextMenu(Form& form, const std::string&) {
    const auto views = ShownControls<ListView>(form);
    if (views.empty()) return "There is no list here.";
    views.front()->MouseUp(MouseButton::Right);
    return {};
}

std::string PressButton(Form& form, const std::string& rest) {
    Button* button = Named<Button>(form, rest);
    if (!button) return NoSuch("button", rest);
    if (!button->AcceptsInput()) return "The button is disabled.";
    button->Click();
    return {};
}

MenuItem* FindEntry(const std::vector<MenuItem*>& entries, TextView caption) {
    for (MenuItem* entry : entries) {
        if (!entry->Visible()) continue;
        if (entry->Entries().empty() && !entry->IsSeparator() &&
            EqualsIgnoreCase(WithoutMnemonic(entry->Caption()), caption)) {
            return entry;
        }
        if (MenuItem* found = FindEntry(entry->Entries(), caption)) return found;
    }
    return nullptr;
}

std::string ChooseMenu(Form& form, const std::string& rest) {
    MenuItem* entry = FindEntry(form.MenuBar(), FromUtf8(rest));
    if (!entry) return NoSuch("menu entry", rest);
    entry->Choose();
    return {};
}

std::string ChangeText(Form& form, const std::string& rest, bool keeps) {
    const Split split = SplitWord(rest);
    TextBox* box = Named<TextBox>(form, split.word);
    if (!box) return NoSuch("text box", split.word);
    if (!box->AcceptsInput() || box->IsReadOnly()) return "The text can't be changed.";
    const Text line = FromUtf8(split.rest);
    const bool first = !keeps || box->GetText().empty() || box->HoldsPlaceholder();
    box->UserEdit(first ? line : box->GetText() + u"\r\n" + line);
    return {};
}

std::string SetBox(Form& form, const std::string& rest) {
    return ChangeText(form, rest, false);
}

std::string AddToBox(Form& form, const std::string& rest) {
    return ChangeText(form, rest, true);
}

std::string ClickOn(Form& form, const std::string& rest) {
    Control* control = Named<Control>(form, rest);
    if (!control) return NoSuch("control", rest);
    const Weak<Control> target = control;
    control->MouseUp(MouseButton::Left);
    if (target) target->Click();
    return {};
}

std::string DoubleClickOn(Form& form, const std::string& rest) {
    Control* control = Named<Control>(form, rest);
    if (!control) return NoSuch("control", rest);
    control->DoubleClick();
    return {};
}

std::string FocusOn(Form& form, const std::string& rest) {
    Control* control = Named<Control>(form, rest);
    if (!control || !control->TakesFocus()) return NoSuch("control for the keyboard", rest);
    control->SetFocus();
    return {};
}

struct NamedKey {
    const char* name;
    int code;
};
constexpr NamedKey kKeys[] = {
    {"tab", Key::Tab},
    {"enter", Key::Enter},
    {"escape", Key::Escape},
    {"space", Key::Space},
    {"up", Key::Up},
    {"down", Key::Down},
    {"left", Key::Left},
    {"right", Key::Right},
    {"home", Key::Home},
    {"end", Key::End},
    {"insert", Key::Insert},
    {"delete", Key::Delete},
    {"menu", Key::ContextMenu},
    {"backspace", Key::Backspace},
};
constexpr NamedKey kShifts[] = {
    {"ctrl+", Shift::Control}, {"shift+", Shift::Shift}, {"alt+", Shift::Alt}};

int KeyCode(const std::string& name) {
    for (const NamedKey& key : kKeys) {
        if (name == key.name) return key.code;
    }
    if (name.size() == 1 && name[0] >= 'a' && name[0] <= 'z') return name[0] - 'a' + 'A';
    if (name.size() == 1 && name[0] >= '0' && name[0] <= '9') return name[0];
    const std::size_t function =
        name.empty() || name[0] != 'f' ? 0 : NumberUpTo(name.substr(1), 24);
    return function == 0 ? 0 : Key::F1 + static_cast<int>(function) - 1;
}

std::string PressKey(Form& form, const std::string& rest) {
    std::string name = ToUtf8(ToLower(FromUtf8(rest)));
    int shift = 0;
    for (bool found = true; found;) {
        found = false;
        for (const NamedKey& modifier : kShifts) {
            if (name.rfind(modifier.name, 0) != 0) continue;
            shift |= modifier.code;
            name.erase(0, std::char_traits<char>::length(modifier.name));
            found = true;
        }
    }
    const int code = KeyCode(name);
    if (code == 0) return "\"" + rest + "\" is no key. Keys are like f5, ctrl+tab, escape.";
    form.PressKey(code, shift);
    return {};
}

std::string Copy(Form&, const std::string& rest) {
    TheToolkit().SetClipboardText(FromUtf8(rest));
    return {};
}

std::string CloseForm(Form& form, const std::string&) {
    form.UserClose();
    return {};
}

struct Command {
    const char* name;
    const char* argument;
    const char* help;
    std::string (*run)(Form&, const std::string&);
};
constexpr Command kCommands[] = {
    {"tab", "NUMBER", "shows another tab", ChooseTab},
    {"row", "NUMBER", "selects a row of the list", ChooseRow},
    {"context", "", "opens the menu of the selected row", OpenContextMenu},
    {"press", "CAPTION", "presses a button", PressButton},
    {"menu", "CAPTION", "chooses an entry of the menu bar", ChooseMenu},
    {"set", "NAME TEXT", "makes TEXT the content of a text box", SetBox},
    {"add", "NAME TEXT", "adds a line to a text box", AddToBox},
    {"click", "NAME", "clicks a control or a link", ClickOn},
    {"double", "NAME", "double-clicks a control", DoubleClickOn},
    {"focus", "NAME", "moves the keyboard to a control", FocusOn},
    {"key", "KEY", "presses a key: f5, ctrl+tab, escape", PressKey},
    {"copy", "TEXT", "puts TEXT on the clipboard", Copy},
    {"close", "", "closes the window", CloseForm},
};

}  // namespace

std::string FormCommandHelp() {
    std::string help;
    for (const Command& command : kCommands) {
        std::string usage = std::string("  ") + command.name + " " + command.argument;
        usage.resize(std::max<std::size_t>(usage.size(), 20), ' ');
        help += usage + command.help + "\n";
    }
    return help +
           "  show              shows the window again\n  help              shows this list\n";
}

std::string RunFormCommand(Form& form, const std::string& line) {
    const Split split = SplitWord(line);
    for (const Command& command : kCommands) {
        if (split.word == command.name) return command.run(form, split.rest);
    }
    return "\"" + split.word + "\" is no command; help lists them.";
}

}  // namespace bkfd
