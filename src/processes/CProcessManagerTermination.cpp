#include "processes/CProcessManager.h"
#include "processes/ProcessWalk.h"
#include "services/ApplicationState.h"
#include "services/MAPI.h"
#include "services/SysUtil.h"
#include "ui/Toolkit.h"

namespace bkfd {
namespace {

constexpr std::int32_t kCannotTerminate = static_cast<std::int32_t>(SystemError::Unspecified);

constexpr char16_t kTerminatingSelf[] =
    u"Operation complete; terminating. Please reboot Windows and restart Brackenfold to see "
    u"whether "
    u"no more parasites found. ";

/// The processes to end, in order: identifiers as numbers, under a key made of each.
class Victims {
  public:
    Victims() : ownId_(TheMachine().ProcessTable().GetCurrentProcessId()) {}

    /// This process is only remembered: it goes last or not at all.
    void AddHolder(std::uint32_t processId) {
        if (processId == ownId_) {
            ownProcessHolds_ = true;
        } else {
            Add(processId);
        }
    }

    const KeyedList& List(bool withSelf) {
        if (ownProcessHolds_ && withSelf) Add(ownId_);
        return list_;
    }

    static Text Key(std::uint32_t processId) { return u"_" + Label(processId); }
    /// Identifiers count as signed: those of the Windows 95 family show as negative.
    static Text Label(std::uint32_t processId) {
        return ToText(static_cast<std::int32_t>(processId));
    }

  private:
    void Add(std::uint32_t processId) {
        if (list_.Exists(Key(processId))) return;
        list_.Add(static_cast<std::int32_t>(processId), Key(processId));
    }

    std::uint32_t ownId_;
    bool ownProcessHolds_ = false;
    KeyedList list_;
};

bool HoldsAny(const ModuleList& loaded, const KeyedList& modules) {
    for (std::size_t i = 0; i < loaded.Count(); ++i) {
        const Text name = loaded.Name(i);
        if (!Trim(name).empty() && modules.Exists(name)) return true;
    }
    return false;
}

}  // namespace

void CProcessManager::TerminateProcessesByModule(const Text& module, bool terminateSelf) {
    KeyedList modules;
    modules.Add(module, module);
    TerminateProcessesByModules(modules, terminateSelf);
}

void CProcessManager::TerminateProcessesByModules(const KeyedList& modules, bool terminateSelf) {
    if (modules.Count() == 0) return;
    if (gIsNT) {
        TerminateByModulesNT(modules, terminateSelf);
    } else {
        TerminateByModules9x(modules, terminateSelf);
    }
}

void CProcessManager::TerminateByModulesNT(const KeyedList& modules, bool terminateSelf) {
    Victims victims;
    for (const std::uint32_t processId : ListProcessIds()) {
        const ProcessTableHandle process(OpenProcessOrNone(ProcessAccess::All, processId));
        if (!process) continue;
        ModuleList loaded;
        if (loaded.Read(process.Get()) && HoldsAny(loaded, modules)) victims.AddHolder(processId);
    }
    TerminateList(victims.List(terminateSelf));
}

void CProcessManager::TerminateByModules9x(const KeyedList& modules, bool terminateSelf) {
    Victims victims;
    VisitProcesses([&](const ProcessEntry& process) {
        VisitModules(process.processId, [&](const Text& exePath) {
            Text module;
            TrimAtNull(exePath, module);
            const bool listed = modules.Exists(module);
            if (listed) victims.AddHolder(process.processId);
            return !listed;
        });
    });
    TerminateList(victims.List(terminateSelf));
}

void CProcessManager::TerminateList(const KeyedList& victims) {
    const std::uint32_t ownId = TheMachine().ProcessTable().GetCurrentProcessId();
    for (const Variant& victim : victims) {
        const auto processId = static_cast<std::uint32_t>(victim.AsInteger());
        if (processId == ownId) continue;
        const ProcessTableHandle process(OpenProcessOrNone(ProcessAccess::All, processId));
        if (process) MyTerminateProcess(process.Get(), Victims::Label(processId));
    }
    if (!victims.Exists(Victims::Key(ownId))) return;
    const ProcessTableHandle self(OpenProcessOrNone(ProcessAccess::All, ownId));
    if (!self) return;
    ShowMessage(kTerminatingSelf, MessageStyle::Information);
    // On a live Windows the call doesn't come back; on a machine in files this program goes on
    // although its process there is gone, and ends here.
    if (MyTerminateProcess(self.Get(), u"my:" + Victims::Label(ownId))) TheToolkit().EndProgram();
}

bool CProcessManager::MyTerminateProcess(Handle process, const Text& label) {
    // The label is the process identifier: that the texts say "file" is on purpose.
    const Text source = u"CProcessManager.MyTerminateProcess";
    const Status ended = TheMachine().ProcessTable().TerminateProcess(process, 0);
    if (ended.IsOk()) {
        logger_->Trace(
            SysUtil::FormatTemplate(u"Process for file '%1' terminated successfully. ", {label}),
            source);
        return true;
    }
    logger_->Write(kCannotTerminate,
                   SysUtil::FormatTemplate(u"Cannot terminate process for file '%1'. %2",
                                           {label, ToText(static_cast<std::int32_t>(ended.code))}),
                   LogLevel::SystemFailure, source);
    return false;
}

}  // namespace bkfd
