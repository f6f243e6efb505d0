#pragma once

#include <vector>

#include "platform/model/CodePage.h"
#include "platform/model/ModelProcesses.h"
#include "platform/model/RegistryRoots.h"
#include "platform/model/Volume.h"
#include "platform/volume/VolumeFacts.h"

/// What would run after the next start of a Windows that isn't running.
namespace bkfd {

/// A place that starts a program or has a library loaded.
struct StartPlace {
    enum class Kind {
        SessionManager,   // a program before all others, or a library in all; the value's name
        Winlogon,         // Shell, Userinit, Notify, the logon dialogue; `name` is the value or key
        Service,          // by its name
        SecurityPackage,  // a library of the security authority; the value's name
        PrintMonitor,     // a library of the spooler; the monitor's or provider's name
        ScheduledTask,    // one that the start or a logon triggers; its name
        DelayLoad,        // objects that Explorer loads; the value's name
        AppInit,          // libraries in every program with windows
        ActiveSetup,      // a component that a user's logon has still to set up; its key
        Run,              // a value of a Run key that the engine's inventory has too
        OtherRun,         // a value of a place like it that the inventory lacks
        StartFolder,      // a file of a start-up folder
        IniFile,          // a line of WIN.INI or SYSTEM.INI
        HelperObject,     // of the browser, by its class
        Winsock,          // a library in every program with sockets; its entry of the catalogue
        Debugger,         // starts instead of a program; that one's file name
    };

    Kind kind = Kind::Service;
    Text name;
    Text file;  // full path: the program, or the library or script that it is started for
    Text user;  // name; empty for what is started for the whole machine

    bool operator==(const StartPlace&) const = default;
};

struct StartTable {
    std::vector<ProcessRecord> processes;
    std::vector<StartPlace> places;  // those whose file is there
};

struct StartSources {
    RegistryRoots& roots;
    Volume& volume;
    const MachineFacts& facts;
    CodePage& codePage;
    const std::vector<VolumeUser>& users;  // whose own entries count
};

/// The processes in the order in which they would start, each with the libraries that places name.
/// An entry whose file is missing starts nothing.
StartTable MakeStartTable(const StartSources& sources);

}  // namespace bkfd
