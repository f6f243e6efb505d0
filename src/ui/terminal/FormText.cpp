#include "ui/terminal/FormText.h"

#include "ui/Button.h"
#include "ui/Label.h"
#include "ui/ListBox.h"
#include "ui/ListView.h"
#include "ui/NativeChild.h"
#include "ui/Picture.h"
#include "ui/TabStrip.h"
#include "ui/TextBox.h"
#include "ui/terminal/PrintableText.h"

namespace bkfd {
namespace {

std::string Seen(TextView caption) {
    return PrintableText(WithoutMnemonic(caption), true);
}

class Writer : public ControlVisitor {
  public:
    std::string Result() && { return std::move(result_); }

    void Visit(Form& form) override {
        Line("== " + PrintableText(form.Caption()) + " ==");
        for (const MenuItem* menu : form.MenuBar()) {
            if (menu->Visible()) WriteMenu(*menu);
        }
        Children(form);
    }
    void Visit(Panel& panel) override { Children(panel); }
    void Visit(Label& label) override { Line(Seen(label.Caption())); }
    void Visit(Button& button) override {
        Line("[" + Seen(button.Caption()) + "]" + (button.Enabled() ? "" : " (disabled)"));
    }
    void Visit(TextBox& box) override {
        Line(ToUtf8(box.Name()) + ": " + PrintableText(box.GetText(), true));
    }
    void Visit(ListBox& box) override {
        for (std::size_t row = 1; row <= box.Count(); ++row) {
            Row(row, row == box.SelectedIndex(), PrintableText(box.Line(row)));
        }
    }
    void Visit(ListView& view) override {
        std::string captions;
        for (const ListView::Column& column : view.Columns()) {
            captions += (captions.empty() ? "" : " | ") + PrintableText(column.caption);
        }
        Line("      " + captions);
        for (std::size_t row = 1; row <= view.Count(); ++row) {
            Row(row, row == view.SelectedIndex(), ItemText(view, *view.Item(row)));
        }
    }
    void Visit(TabStrip& strip) override {
        for (std::size_t tab = 1; tab <= strip.Tabs().size(); ++tab) {
            const std::string caption = PrintableText(strip.Tabs()[tab - 1].caption);
            Line((tab == strip.SelectedIndex() ? "> tab " : "  tab ") + std::to_string(tab) + "  " +
                 caption);
        }
    }
    void Visit(Picture& picture) override {
        if (!picture.Caption().empty()) Line(PrintableText(picture.Caption()));
    }
    void Visit(NativeChild&) override {}  // nothing that a terminal could show

  private:
    void Line(const std::string& line) { result_ += line + "\n"; }

    void Row(std::size_t number, bool selected, const std::string& text) {
        const std::string digits = std::to_string(number);
        Line((selected ? "> " : "  ") +
             std::string(digits.size() < 3 ? 3 - digits.size() : 0, ' ') + digits + "  " + text);
    }

    // The alarming look of a sub-item is an exclamation mark here.
    static std::string ItemText(const ListView& view, const ListItem& item) {
        std::string text = PrintableText(item.GetText());
        for (std::size_t column = 1; column < view.Columns().size(); ++column) {
            const ListItem::SubItem& sub = item.GetSubItem(column);
            text += (sub.bold ? " | ! " : " | ") + PrintableText(sub.text);
        }
        return text;
    }

    void WriteMenu(const MenuItem& menu) {
        std::string entries;
        for (const MenuItem* entry : menu.Entries()) {
            if (!entry->Visible() || entry->IsSeparator()) continue;
            entries += (entries.empty() ? "" : ", ") + Seen(entry->Caption());
        }
        Line(Seen(menu.Caption()) + ": " + entries);
    }

    void Children(Container& container) {
        for (Control* child : container.Children()) {
            if (child->Visible()) child->Accept(*this);
        }
    }

    std::string result_;
};

}  // namespace

std::string FormText(Form& form) {
    Writer writer;
    form.Accept(writer);
    return std::move(writer).Result();
}

}  // namespace bkfd
