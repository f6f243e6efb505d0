#pragma once

#include <vector>

#include "platform/RootNames.h"

/// The registry places from which Windows starts programs at logon.
namespace bkfd {

struct StartupPlace {
    RegistryBase base;
    TextView key;
    /// A place of the policies, whose values are described in another way.
    bool isPolicy = false;
};

/// In the order in which they are visited: those of the 32-bit view behind the others.
std::vector<StartupPlace> StartupPlaces();
/// Whether the key is one of the places.
bool IsStartupPlace(RegistryRoot root, TextView key);

/// A registry value that starts a program.
struct StartupItem {
    Text id;  // a new one in each run
    Text name;
    Text file;  // full path; empty for a value of the policies without data
    Text manufacturer;
    RegistryBase base = RegistryRoot::LocalMachine;
    Text key;
    Text valueName;
    bool isPolicy = false;
    bool isKnown = false;  // a component of Windows itself
    /// False where reading failed behind the identifier: the rest is unknown.
    bool isRead = true;
};

}  // namespace bkfd
