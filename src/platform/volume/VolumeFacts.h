#pragma once

#include <set>
#include <string>
#include <vector>

#include "platform/model/MachineFacts.h"
#include "platform/model/RegistryRoots.h"

/// What a Windows that isn't running says of itself in its registry.
namespace bkfd {

/// A user of the machine.
struct VolumeUser {
    Text key;      // below HKEY_USERS: "S-1-5-21-...", ".DEFAULT" on the 95 family
    Text name;     // "Kit"
    Text profile;  // "C:\Documents and Settings\Kit"; empty on a 95 without profiles
};

/// Version, service pack, code page and the machine's environment. `windowsFolder` is used where
/// the registry doesn't name it: "C:\WINDOWS".
MachineFacts ReadFacts(RegistryRoots& roots, WindowsFamily family, const Text& windowsFolder);

/// The letter of the drive that Windows is on: that of its SystemRoot, C where it doesn't say.
char16_t WindowsDriveLetter(RegistryRoots& roots, WindowsFamily family);

/// The letters, in upper case, of the partitions of disks that Windows of the NT family knows, be
/// they there or not. Of removable media and drives of the network it is none.
std::set<char16_t> ReadDiskLetters(RegistryRoots& roots);

/// The users that have a profile, by the registry's order, system accounts left out.
std::vector<VolumeUser> ReadUsers(RegistryRoots& roots, const MachineFacts& facts);

/// Adds what a user's own environment has: variables of the registry, the names of folders.
void AddUserEnvironment(RegistryRoots& roots, const VolumeUser& user, MachineFacts& facts);

/// "KEY\\BELOW"
inline Text KeyBelow(TextView key, TextView below) {
    return Text(key).append(1, u'\\').append(below);
}

/// A text value, expanded if its type says so; empty if it can't be read.
Text ReadText(RegistryRoots& roots, const MachineFacts& facts, RegistryRoot root, TextView key,
              TextView name);

}  // namespace bkfd
