#include "support/ReportContents.h"

#include "detection/CPaDetector.h"
#include "ignore/IgnoreList.h"
#include "platform/RegistryViews.h"
#include "resources/StringTable.h"
#include "services/ApplicationState.h"
#include "services/FileUtil.h"
#include "services/MAPI.h"
#include "services/RegistryAccess.h"
#include "services/SysUtil.h"
#include "services/WideDocument.h"
#include "services/WindowsVersionText.h"
#include "support/MEnumProcesses.h"

namespace bkfd {
namespace {

constexpr TextView kBrowserKey = u"SOFTWARE\\Microsoft\\Internet Explorer";
constexpr TextView kZoneMapKey =
    u"Software\\Microsoft\\Windows\\CurrentVersion\\Internet Settings\\ZoneMap";
constexpr TextView kSiblingKey = u"SOFTWARE\\Tarnwick Labs\\Fernhollow";

Text SuspiciousFiles(const LoggerRef& logger) {
    CPaDetector detector;
    detector.Init(logger, nullptr);
    return detector.MakeSuspiciousFilesXML();
}

/// What a cleanup passes over, byte for byte; why it passes nothing over if the list is damaged.
/// Empty where nothing is on it.
Text IgnoredThings() {
    const IgnoreList list = IgnoreList::Read();
    if (list.Entries().empty()) return list.Damage();
    const std::string content = list.Content();
    return FromBytes({reinterpret_cast<const std::uint8_t*>(content.data()), content.size()});
}

/// HKEY_LOCAL_MACHINE in each view that has the key for itself.
std::vector<RegistryBase> MachineBases(TextView key) {
    std::vector<RegistryBase> bases;
    for (const RegistryView view :
         ViewsOf(TheMachine().System(), RegistryRoot::LocalMachine, key)) {
        bases.emplace_back(RegistryRoot::LocalMachine, view);
    }
    return bases;
}

/// The security zones of sites, as the text of an export file of the machine's family.
Text ZoneMap(RegistryAccess& registry) {
    Text exports = registry.ExportKey(RegistryRoot::CurrentUser, kZoneMapKey);
    for (const RegistryBase machine : MachineBases(kZoneMapKey)) {
        exports += registry.ExportKey(machine, kZoneMapKey);
    }
    if (!IsWindowsNT()) return u"REGEDIT4\r\n" + exports;
    return WideDocument(u"Windows Registry Editor Version 5.00\r\n" + exports);
}

/// The log of the sibling product, empty where it isn't installed.
Text SiblingLog(RegistryAccess& registry) {
    Text folder;
    for (const RegistryBase machine : MachineBases(kSiblingKey)) {
        (void)registry.ReadString(machine, kSiblingKey, u"InstallPath", folder);
        if (!folder.empty()) break;
    }
    if (folder.empty()) return {};
    folder = WithBackslash(folder);
    const Text log = FileUtil::ReadTextFile(folder + u"FNHW.log");
    return log.empty() ? FileUtil::ReadTextFile(folder + u"FNW.log") : log;
}

}  // namespace

std::optional<StringId> WhatIsMissing(const SupportRequest& request) {
    if (request.answer.empty() || request.answer == ResourceString(StringId::YourDescriptionHere)) {
        return StringId::DescribeProblem;
    }
    if (request.name.empty()) return StringId::TypeName;
    if (request.email.empty()) return StringId::TypeEmail;
    return std::nullopt;
}

void GatherReport(const SupportRequest& request, const LoggerRef& logger, ValueBag& report) {
    const auto addEncoded = [&report](const Text& name, Text&& given) {
        const Text text = std::move(given);  // goes with its encoded form there: some are large
        report.Add(name, SysUtil::EncodeText(text));
    };
    report.Add(u"name", request.name);
    report.Add(u"email", request.email);
    report.Add(u"answer", request.answer);

    RegistryAccess registry;
    Text browserVersion;
    (void)registry.ReadString(RegistryRoot::LocalMachine, kBrowserKey, u"Version", browserVersion);
    report.Add(u"WindowsVersion", ReadWindowsVersion().text);
    report.Add(u"IEVersion", browserVersion);
    SysUtil::PumpMessages();

    addEncoded(u"SuspiciousFiles", SuspiciousFiles(logger));
    SysUtil::PumpMessages();

    addEncoded(u"ZoneMap", ZoneMap(registry));
    SysUtil::PumpMessages();

    addEncoded(u"Hosts", FileUtil::ReadTextFile(GetHostsFilePath()));
    addEncoded(u"Log", FileUtil::ReadTextFile(ProgramFolder() + u"\\BKFD.log"));
    Text siblingLog = SiblingLog(registry);
    if (!siblingLog.empty()) addEncoded(u"FNHWLog", std::move(siblingLog));
    SysUtil::PumpMessages();

    Text files;
    Text processes = MakeProcessReport(files, logger);
    addEncoded(u"Processes", std::move(processes));
    addEncoded(u"ProcessFileInfo", std::move(files));
    Text ignored = IgnoredThings();
    if (!ignored.empty()) addEncoded(u"IgnoreList", std::move(ignored));
}

}  // namespace bkfd
