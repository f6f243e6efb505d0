#include "platform/Machine.h"
#include "services/SysUtil.h"

namespace bkfd::SysUtil {
namespace {

struct KnownWindows {
    std::int32_t platformId;
    std::int32_t major;
    std::int32_t minor;
    std::int32_t firstBuild;  // of several with one version, the highest that isn't above counts
    TextView name;
};

constexpr KnownWindows kKnownWindows[] = {
    {1, 4, 0, 0, u"Windows 95"},          {1, 4, 10, 0, u"Windows 98"},
    {1, 4, 10, 2222, u"Windows 98 SE"},   {1, 4, 90, 0, u"Windows Me"},
    {2, 3, 10, 0, u"Windows NT 3.1"},     {2, 3, 50, 0, u"Windows NT 3.5"},
    {2, 3, 51, 0, u"Windows NT 3.51"},    {2, 4, 0, 0, u"Windows NT 4"},
    {2, 5, 0, 0, u"Windows 2000"},        {2, 5, 1, 0, u"Windows XP"},
    {2, 5, 2, 0, u"Windows Server 2003"}, {2, 6, 0, 0, u"Windows Vista"},
    {2, 6, 1, 0, u"Windows 7"},           {2, 6, 2, 0, u"Windows 8"},
    {2, 6, 3, 0, u"Windows 8.1"},         {2, 10, 0, 0, u"Windows 10"},
    {2, 10, 0, 22000, u"Windows 11"},
};

TextView WindowsName(const WindowsVersion& version, std::int32_t build) {
    TextView name = version.platformId == WindowsPlatform::NT          ? u"Windows NT"
                    : version.platformId == WindowsPlatform::Windows9x ? u"Windows 9x"
                                                                       : u"Windows";
    for (const KnownWindows& known : kKnownWindows) {
        if (known.platformId == version.platformId && known.major == version.major &&
            known.minor == version.minor && known.firstBuild <= build) {
            name = known.name;
        }
    }
    return name;
}

}  // namespace

Text GetWindowsVersion(std::int32_t& major, std::int32_t& minor, std::int32_t& build,
                       std::int32_t& platformId, Text& servicePack) {
    const auto answer = TheMachine().System().GetVersionExW();
    const WindowsVersion version = answer.IsOk() ? answer.value : WindowsVersion{};
    major = version.major;
    minor = version.minor;
    build = version.build;
    platformId = version.platformId;
    servicePack = Trim(version.servicePack);  // 9x has letters with blanks around them
    if (!answer.IsOk()) return {};

    const std::int32_t shownBuild =
        platformId == WindowsPlatform::Windows9x ? build & 0xFFFF : build;
    Text text(WindowsName(version, shownBuild));
    text.append(u" ").append(ToText(major)).append(u".").append(ToText(minor));
    text.append(u".").append(ToText(shownBuild));
    if (!servicePack.empty()) text.append(u" ").append(servicePack);
    return text;
}

}  // namespace bkfd::SysUtil
