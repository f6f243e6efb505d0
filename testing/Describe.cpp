#include "testing/Describe.h"

#include <cstdio>

#include "ui/Button.h"
#include "ui/Form.h"
#include "ui/Label.h"
#include "ui/ListBox.h"
#include "ui/ListView.h"
#include "ui/NativeChild.h"
#include "ui/Picture.h"
#include "ui/TabStrip.h"
#include "ui/TextBox.h"

namespace bkfd {
namespace {

std::string Escaped(char character) {
    switch (character) {
        case '\r':
            return "\\r";
        case '\n':
            return "\\n";
        case '\t':
            return "\\t";
        case '"':
            return "\\\"";
        case '\\':
            return "\\\\";
        default:
            break;
    }
    if (static_cast<unsigned char>(character) >= 32) return std::string(1, character);
    char code[5];
    std::snprintf(code, sizeof code, "\\x%02X", static_cast<unsigned>(character));
    return code;
}

std::string Quoted(TextView text) {
    std::string quoted = "\"";
    for (const char character : ToUtf8(text)) quoted += Escaped(character);
    return quoted + '"';
}

class Describer : public ControlVisitor {
  public:
    std::string Result() && { return std::move(result_); }

    void Visit(Button& button) override {
        Line("button", button, " " + Quoted(button.Caption()),
             Mark(button.IsDefault(), "default") + Mark(button.IsCancel(), "cancel"));
    }
    void Visit(Form& form) override {
        Line("form", form, " " + Quoted(form.Caption()), Mark(form.IsModal(), "modal"));
        ++depth_;
        for (const MenuItem* menu : form.MenuBar()) Describe(*menu);
        Children(form);
        --depth_;
    }
    void Visit(Label& label) override {
        Line(label.IsLink() ? "link" : "label", label, " " + Quoted(label.Caption()));
    }
    void Visit(ListBox& box) override {
        Line("lines", box, "");
        for (std::size_t row = 1; row <= box.Count(); ++row) {
            Row(row == box.SelectedIndex(), Quoted(box.Line(row)));
        }
    }
    void Visit(ListView& view) override {
        std::string columns;
        for (const ListView::Column& column : view.Columns()) {
            columns += " " + Quoted(column.caption);
        }
        Line("list", view, columns);
        for (std::size_t row = 1; row <= view.Count(); ++row) {
            Row(row == view.SelectedIndex(), ItemText(*view.Item(row), view.Columns().size()));
        }
    }
    void Visit(NativeChild& child) override {
        Line("native", child, " " + Quoted(child.Native().className));
    }
    void Visit(Panel& panel) override {
        Line("panel", panel, "");
        ++depth_;
        Children(panel);
        --depth_;
    }
    void Visit(Picture& picture) override {
        const std::string caption =
            picture.Caption().empty() ? "" : " " + Quoted(picture.Caption());
        Line("picture", picture, " " + Quoted(picture.Resource()) + caption);
    }
    void Visit(TabStrip& strip) override {
        Line("tabs", strip, "");
        for (std::size_t tab = 1; tab <= strip.Tabs().size(); ++tab) {
            const TabStrip::Tab& shown = strip.Tabs()[tab - 1];
            Row(tab == strip.SelectedIndex(), ToUtf8(shown.key) + " " + Quoted(shown.caption));
        }
    }
    void Visit(TextBox& box) override {
        const bool selection = box.SelectionLength() > 0;
        Line("text", box, " " + Quoted(box.GetText()),
             Mark(box.IsReadOnly(), "read-only") +
                 Mark(selection, "selected " + std::to_string(box.SelectionStart()) + "+" +
                                     std::to_string(box.SelectionLength())));
    }

  private:
    static std::string Mark(bool applies, const std::string& mark) {
        return applies ? " (" + mark + ")" : "";
    }

    static std::string ItemText(const ListItem& item, std::size_t columns) {
        std::string text = Quoted(item.GetText());
        for (std::size_t column = 1; column < columns; ++column) {
            const ListItem::SubItem& sub = item.GetSubItem(column);
            text += " | " + Quoted(sub.text) + Mark(sub.bold, "bold");
            if (sub.colour != ListItem::kWindowText) {
                text += Mark(true, "colour " + std::to_string(sub.colour));
            }
        }
        return text + Mark(!item.SmallIcon().empty(), "icon " + ToUtf8(item.SmallIcon()));
    }

    void Put(const std::string& text) {
        result_.append(static_cast<std::size_t>(depth_) * 2, ' ').append(text).append("\n");
    }

    void Row(bool selected, const std::string& text) { Put((selected ? "  > " : "    ") + text); }

    void Line(const char* kind, const Control& control, const std::string& content,
              const std::string& marks = {}) {
        Put(kind + (" " + ToUtf8(control.Name())) + content + marks +
            Mark(!control.Visible(), "hidden") + Mark(!control.Enabled(), "disabled") +
            Mark(control.HasFocus(), "focus"));
    }

    void Children(Container& container) {
        for (Control* child : container.Children()) child->Accept(*this);
    }

    void Describe(const MenuItem& item) {
        Put(item.IsSeparator()
                ? "-"
                : "menu " + ToUtf8(item.Name()) + " " + Quoted(item.Caption()) +
                      Mark(!item.Visible(), "hidden") + Mark(!item.Enabled(), "disabled"));
        ++depth_;
        for (const MenuItem* entry : item.Entries()) Describe(*entry);
        --depth_;
    }

    int depth_ = 0;
    std::string result_;
};

}  // namespace

std::string Describe(Control& control) {
    Describer describer;
    control.Accept(describer);
    return std::move(describer).Result();
}

}  // namespace bkfd
