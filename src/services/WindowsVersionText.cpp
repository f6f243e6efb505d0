#include "services/WindowsVersionText.h"

#include "platform/Machine.h"
#include "services/SysUtil.h"

namespace bkfd {
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

WindowsVersionFacts ReadWindowsVersion() {
    const auto answer = TheMachine().System().GetVersionExW();
    const WindowsVersion version = answer.IsOk() ? answer.value : WindowsVersion{};
    WindowsVersionFacts facts;
    facts.major = version.major;
    facts.minor = version.minor;
    facts.build = version.build;
    facts.platformId = version.platformId;
    facts.servicePack = Trim(version.servicePack);  // 9x has letters with blanks around them
    if (!answer.IsOk()) return facts;

    const std::int32_t shownBuild =
        facts.platformId == WindowsPlatform::Windows9x ? facts.build & 0xFFFF : facts.build;
    facts.text = WindowsName(version, shownBuild);
    facts.text.append(u" ").append(ToText(facts.major)).append(u".").append(ToText(facts.minor));
    facts.text.append(u".").append(ToText(shownBuild));
    if (!facts.servicePack.empty()) facts.text.append(u" ").append(facts.servicePack);
    return facts;
}

Text SysUtil::GetWindowsVersion(std::int32_t& major, std::int32_t& minor, std::int32_t& build,
                                std::int32_t& platformId, Text& servicePack) {
    const WindowsVersionFacts facts = ReadWindowsVersion();
    major = facts.major;
    minor = facts.minor;
    build = facts.build;
    platformId = facts.platformId;
    servicePack = facts.servicePack;
    return facts.text;
}

}  // namespace bkfd
