#include "app/FIgnoreList.h"

#include <algorithm>

#include "panels/IgnoreChanges.h"
#include "resources/StringTable.h"
#include "services/ErrorMode.h"
#include "services/SysUtil.h"
#include "ui/Keys.h"
#include "ui/ListFormLayout.h"
#include "ui/Metrics.h"

namespace bkfd {
namespace {

constexpr int kDateWidth = 1800;
constexpr int kWhatWidth = 6600;
constexpr int kStopButtonWidth = 1500;

}  // namespace

Text DamageMessage(const IgnoreList& list) {
    if (list.Damage().empty()) return {};
    return SysUtil::FormatTemplate(ResourceString(StringId::IgnoreListDamaged),
                                   {IgnoreListPath(), list.Damage()});
}

FIgnoreList::FIgnoreList()
    : HidingForm(u"FIgnoreList"),
      lv(*this, u"lv", {{u"Date", kDateWidth}, {u"What", kWhatWidth}, {u"Note", 0}}) {
    SetCaption(u"Ignore List");
    SetIconName(u"ABOUT");
    SetClientSize(11400, 4800);
    cmdStop.SetDefault(true);
    ClosesBy(cmdClose);
    onResize = [this] { Form_Resize(); };
    lv.onKeyUp = [this](int& keyCode, int shift) {
        if (keyCode == Key::Delete && shift == Shift::None) cmdStop_Click();
    };
    cmdStop.onClick = [this] { cmdStop_Click(); };
}

Text FIgnoreList::Init(LoggerRef logger) {
    logger_ = std::move(logger);
    RefreshList();
    if (!list_.Damage().empty()) return DamageMessage(list_);
    return list_.Entries().empty() ? ResourceString(StringId::NothingIgnored) : Text();
}

void FIgnoreList::RefreshList() {
    LogErrors(*logger_, LogLevel::WindowFailure, u"FIgnoreList.RefreshList", [&] {
        const std::size_t selected = std::max<std::size_t>(lv.SelectedIndex(), 1);
        list_ = IgnoreList::Read();
        lv.Clear();
        for (const IgnoreEntry& entry : list_.Entries()) {
            const ListItemRef row = lv.Add(entry.date);
            row->SetSubItem(1, TitleOf(entry));
            row->SetSubItem(2, entry.note);
        }
        if (lv.Count() > 0) lv.SetSelectedIndex(std::min(selected, lv.Count()));
    });
    cmdStop.SetEnabled(lv.Count() > 0);
}

void FIgnoreList::cmdStop_Click() {
    const std::size_t row = lv.SelectedIndex();
    if (row == 0 || row > list_.Entries().size()) return;
    const IgnoreEntry entry = list_.Entries()[row - 1];
    StopIgnoring(TitleOf(entry), {entry}, *logger_, u"FIgnoreList.cmdStop_Click");
    RefreshList();
    Changed();
}

void FIgnoreList::Form_Resize() {
    using namespace Metrics;
    LayOutListForm(*this, {Image1, Label1, Label2, lv, cmdStop, kStopButtonWidth, cmdClose});
    const int noteWidth = Width() - 2 * kMargin - kDateWidth - kWhatWidth - kScrollBarWidth;
    lv.SetColumnWidth(3, std::max(0, noteWidth));
}

}  // namespace bkfd
