#pragma once

#include <string_view>
#include <vector>

#include "detection/HelperObjects.h"
#include "detection/StartupItems.h"
#include "processes/RunningProgram.h"
#include "services/KeyedList.h"

/// What a detection finds, and why and where.
namespace bkfd {

/// The rules that put a file on the list.
enum class Reason {
    HelperObject,    // a helper object that names no company
    StartupNonamer,  // starts with Windows, runs, and names no company
    Process,  // runs, and is known or looks like a parasite (or, if suspicious, names no company)
    Module,   // the same for a loaded file
};

/// Where a file shows itself.
struct Place {
    enum class Kind {
        HelperObject,
        Startup,
        Process,
        Module,
        // What a Windows that isn't running starts; the detection itself meets none of them.
        SessionManager,
        Winlogon,
        Service,
        SecurityPackage,
        PrintMonitor,
        ScheduledTask,
        DelayLoad,
        AppInit,
        ActiveSetup,
        OtherRun,
        StartFolder,
        IniFile,
        Winsock,
        Debugger,
    };

    Kind kind = Kind::Process;
    Text name;  // the class, the value, the program, the program that loaded it
    Text key;   // of a registry value: its key with the root
    Text user;  // whose place it is, of a machine of several users; else empty
    RegistryView view = RegistryView::Native;  // of a place in the registry

    bool operator==(const Place&) const = default;
};

struct Finding {
    Text path;
    std::vector<Reason> reasons;  // each once, in the order in which they were met
    std::vector<Place> places;    // each once: helper objects, startup items, programs
};

/// What one pass over a machine saw and found. The inventories are empty where their enumeration
/// failed.
struct Detection {
    std::vector<HelperObject> helperObjects;
    std::vector<StartupItem> startupItems;
    std::vector<RunningProgram> programs;
    std::vector<Finding> files;      // to disable
    std::vector<HelperObject> bhos;  // to delete
};

/// Findings in the making: each file once, whatever its case.
class FindingList {
  public:
    static constexpr std::int32_t kNone = -1;

    /// Without places, which may be many, where nobody asks for them.
    explicit FindingList(bool keepsPlaces) : keepsPlaces_(keepsPlaces) {}

    /// The file's number, kNone if it isn't there.
    std::int32_t Find(const Text& path) const;
    /// Adds the file, or the reason to the one that is there; true for a new file.
    bool Add(const Text& path, Reason reason);
    void AddReason(std::int32_t number, Reason reason);
    /// A place that is there already isn't added again.
    void AddPlace(std::int32_t number, Place place);
    /// Adds the places in the registry, in front of those of programs.
    void AddRegistryPlaces(const std::vector<HelperObject>& helperObjects,
                           const std::vector<StartupItem>& startupItems);
    const std::vector<Finding>& All() const { return files_; }
    /// Drops those whose mark is set.
    void Remove(const std::vector<bool>& marks);
    std::vector<Finding> Take() { return std::move(files_); }

  private:
    bool keepsPlaces_;
    std::vector<Finding> files_;
    KeyedList numbers_;  // by path
    KeyedList places_;   // those that are known, by file, kind and name
};

}  // namespace bkfd
