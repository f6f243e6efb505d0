#include "services/MAPI.h"

#include <array>
#include <bit>

#include "base/RuntimeError.h"
#include "platform/Machine.h"
#include "resources/StringTable.h"
#include "services/SysUtil.h"
#include "services/WindowsVersionText.h"

namespace bkfd {
namespace {

/// Puts the pointer's shape back, however the message ends.
class PointerKeeper {
  public:
    PointerKeeper() : shape_(TheToolkit().CurrentPointer()) {}
    ~PointerKeeper() { TheToolkit().SetPointer(shape_); }
    PointerKeeper(const PointerKeeper&) = delete;
    PointerKeeper& operator=(const PointerKeeper&) = delete;

  private:
    Pointer shape_;
};

}  // namespace

Text GetHostsFilePath() {
    const std::int32_t platformId = ReadWindowsVersion().platformId;
    const Text folder = WithBackslash(SysUtil::ExpandEnvironment(u"%windir%"));
    if (platformId == WindowsPlatform::Windows9x) return folder + u"hosts";
    if (platformId == WindowsPlatform::NT) return folder + u"system32\\drivers\\etc\\hosts";
    return folder;
}

Date GetBootTime() {
    // Signed on purpose: after 24.8 days the boot lies in the future.
    const auto uptime = static_cast<std::int32_t>(TheMachine().System().GetTickCount());
    CivilTime now = ToCivil(TheMachine().System().GetLocalTime());
    now.millisecond = 0;
    return AddSeconds(ToDate(now), -static_cast<std::int64_t>(uptime / 1000));
}

MessageResult ShowMessage(const Text& prompt, int style, const Text& title) {
    const PointerKeeper keeper;
    TheToolkit().SetPointer(Pointer::Default);
    const Text& shownTitle = title.empty() ? ResourceString(StringId::ProgramTitle) : title;
    return TheToolkit().ShowMessageBox(prompt, style, shownTitle);
}

bool IsWindowsNT() {
    return IsVersionOfNT(TheMachine().System().GetVersion());
}

bool IsWindowsNT4() {
    return IsWindowsNT() && (TheMachine().System().GetVersion() & 0xFF) == 4;
}

Text DateToText(Date date) {
    static_assert(std::endian::native == std::endian::little && sizeof(Date) == 8);
    return SysUtil::BytesToText(std::bit_cast<std::array<std::uint8_t, 8>>(date));
}

Date TextToDate(TextView text) {
    const Bytes bytes = SysUtil::TextToBytes(text);
    std::array<std::uint8_t, sizeof(Date)> memory{};
    if (bytes.size() < memory.size()) throw RuntimeError(ErrorNumber::SubscriptOutOfRange);
    std::copy_n(bytes.begin(), memory.size(), memory.begin());
    return std::bit_cast<Date>(memory);
}

void SortKeyedList(KeyedList& list) {
    std::vector<Text> items;
    items.reserve(static_cast<std::size_t>(list.Count()));
    for (const Variant& item : list) items.push_back(item.AsText());
    // The exchange sort as it always was: where equal items come to stand is part of the result.
    for (std::size_t i = 0; i + 1 < items.size(); ++i) {
        for (std::size_t j = i + 1; j < items.size(); ++j) {
            if (CompareIgnoreCase(items[i], items[j]) > 0) std::swap(items[i], items[j]);
        }
    }
    list.Clear();
    for (Text& item : items) list.Add(std::move(item));
}

}  // namespace bkfd
