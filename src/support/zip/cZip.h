#pragma once

#include <cstdint>
#include <functional>
#include <vector>

#include "base/Text.h"
#include "support/zip/ZipLibrary.h"

namespace bkfd {

class cZip;

/// One run of the zip library for an archive's object; one at a time. More than 1023 specifications
/// are a RuntimeError SubscriptOutOfRange, a base folder that can't be entered is PathFileAccess.
/// The library's result is not handed on: a failure shows in the archive's absence.
void RunZipLibrary(cZip& zip, ZpOptionRecord& options, const std::vector<Text>& specs);

/// Makes archives in the standard zip format from a list of file specifications.
class cZip {
  public:
    /// Directory entries and folder names are left out, and subfolders aren't visited.
    cZip();

    const Text& ZipFile() const { return zipFile_; }
    void SetZipFile(const Text& name) { zipFile_ = name; }
    const Text& BasePath() const { return basePath_; }
    void SetBasePath(const Text& folder) { basePath_ = folder; }
    bool Encrypt() const { return Slot(ZpSlot::Encrypt) == 1; }
    void SetEncrypt(bool on) { Slot(ZpSlot::Encrypt) = on; }
    bool IncludeSystemAndHiddenFiles() const { return Slot(ZpSlot::SystemAndHidden) == 1; }
    void SetIncludeSystemAndHiddenFiles(bool on) { Slot(ZpSlot::SystemAndHidden) = on; }
    bool StoreVolumeLabel() const { return Slot(ZpSlot::VolumeLabel) == 1; }
    void SetStoreVolumeLabel(bool on) { Slot(ZpSlot::VolumeLabel) = on; }
    /// Reads the raw slot, which holds the inverse of what is written: true on a new object. On
    /// purpose.
    bool StoreDirectories() const { return Slot(ZpSlot::NoDirectoryEntries) != 0; }
    void SetStoreDirectories(bool on) { Slot(ZpSlot::NoDirectoryEntries) = !on; }
    bool StoreFolderNames() const { return Slot(ZpSlot::NoFolderNames) == 0; }
    void SetStoreFolderNames(bool on) { Slot(ZpSlot::NoFolderNames) = !on; }
    bool RecurseSubDirs() const { return Slot(ZpSlot::Recursion) == 2; }
    void SetRecurseSubDirs(bool on) { Slot(ZpSlot::Recursion) = on ? 2 : 0; }
    bool UpdateOnlyIfNewer() const { return Slot(ZpSlot::Update) == 1; }
    void SetUpdateOnlyIfNewer(bool on) { Slot(ZpSlot::Update) = on; }
    /// Reads its own slot but writes that of `UpdateOnlyIfNewer`, on purpose: it never reads true.
    bool FreshenFiles() const { return Slot(ZpSlot::Freshen) == 1; }
    void SetFreshenFiles(bool on) { Slot(ZpSlot::Update) = on; }
    /// 0 verbose, 1 quiet, 2 neither; other values change nothing.
    std::int16_t MessageLevel() const;
    void SetMessageLevel(std::int16_t level);
    bool ConvertCRLFToLF() const { return Slot(ZpSlot::CrLfToLf) == 1; }
    void SetConvertCRLFToLF(bool on) { Slot(ZpSlot::CrLfToLf) = on; }
    bool ConvertLFToCRLF() const { return Slot(ZpSlot::LfToCrLf) == 1; }
    void SetConvertLFToCRLF(bool on) { Slot(ZpSlot::LfToCrLf) = on; }

    void ClearFileSpecs() { specs_.clear(); }
    /// Always 0.
    std::int32_t AddFileSpec(const Text& spec);
    std::int32_t FileSpecCount() const { return static_cast<std::int32_t>(specs_.size()); }
    /// Counted from 1; outside the list it is a RuntimeError SubscriptOutOfRange.
    const Text& FileSpec(std::int32_t index) const;
    bool AllowAppend() const { return Slot(ZpSlot::Append) == 1; }
    void SetAllowAppend(bool on) { Slot(ZpSlot::Append) = on; }
    /// Makes the archive, or brings it up to date.
    void Zip();
    /// Removes the listed entries from the archive.
    void Delete();

    /// Events. The count of `Progress` is always 1; nothing raises `Cancel`.
    std::function<void(std::int32_t count, const Text& message)> Progress;
    std::function<void(Text& password, bool& cancel)> PasswordRequest;
    std::function<void(const Text& message, bool& cancel)> Cancel;

  private:
    friend struct ZipEvents;  // raises the events, for the callbacks of mZip alone

    std::uint32_t& Slot(std::size_t slot) { return options_.slots[slot]; }
    std::uint32_t Slot(std::size_t slot) const { return options_.slots[slot]; }

    ZpOptionRecord options_;
    Text zipFile_;
    Text basePath_;
    std::vector<Text> specs_;
};

}  // namespace bkfd
