#pragma once

#include <map>
#include <memory>
#include <string>
#include <variant>
#include <vector>

#include "platform/files/DiskVolume.h"
#include "platform/model/ModelMachine.h"
#include "platform/volume/FindWindows.h"
#include "platform/volume/StartTable.h"
#include "platform/volume/VolumeFacts.h"

namespace bkfd {

/// What the user says of a volume that it doesn't tell itself.
struct VolumeOptions {
    DriveFolders drives;  // more than the one of Windows
    Text user;            // the only one to look at, by name or key; empty for all
    Text programFolder;   // empty for the usual one
    bool mayChange = false;
    bool keepsRegistry = false;  // changes files alone
};

/// Something of a volume that can't be read, or not to its end.
struct VolumeProblem {
    std::string file;             // of the host, or a drive: "E:\\"
    std::string what;             // a clause for people
    TextView kind = u"registry";  // or "file"
};

/// A Windows that isn't running, on the host's disk: a volume of either family or a Wine prefix.
/// Files are changed at once, registry files by `Commit`. The process table is that of the moment
/// after the next start; what ends processes or restarts Windows succeeds and changes nothing.
class VolumeMachine : public ModelMachine {
  public:
    virtual VolumeKind Kind() const = 0;
    /// Whose registry can be read and who are to be looked at, in the machine's order.
    virtual const std::vector<VolumeUser>& Users() const = 0;
    /// Makes HKEY_CURRENT_USER, the user's classes and the environment those of a user, on this
    /// machine or on an overlay of it.
    virtual void ChooseUser(const VolumeUser& user, ModelMachine& machine) = 0;
    virtual const std::vector<StartPlace>& StartPlaces() const = 0;
    /// The host's paths of the files that hold the registry, with the logs of hives.
    virtual std::vector<std::string> RegistryFiles() const = 0;
    /// When a key was last written, FILETIME; 0 where its file doesn't say.
    virtual Result<std::uint64_t> KeyLastWritten(RegistryRoot root, TextView key) const = 0;
    /// Where a file or folder lies on the host.
    virtual Result<std::string> HostPath(TextView path) = 0;
    /// What could not be read by now: a disk may fail at any time.
    virtual std::vector<VolumeProblem> Problems() const = 0;
    /// What was found of a write that broke off, and what was done about it: clauses for people.
    virtual const std::vector<std::string>& Notes() const = 0;
    /// Writes the registry files that have changed; `record` is the record of the operation, 0 for
    /// none. After an error they hold what they held, unless its text says otherwise.
    virtual std::optional<VolumeError> Commit(std::uint32_t record) = 0;

  protected:
    using ModelMachine::ModelMachine;
};

/// Opens what was found, any kind but an image. What a crash has left of an earlier change is first
/// finished or rolled back, or read as if it were where nothing is to be changed. Asked to change,
/// it is an error where nothing may be changed.
std::variant<std::unique_ptr<VolumeMachine>, VolumeError> LoadVolume(const FoundWindows& found,
                                                                     const VolumeOptions& options);

}  // namespace bkfd
