#pragma once

#include <optional>
#include <string>
#include <vector>

#include "formats/RegText.h"
#include "platform/image/ImageError.h"
#include "platform/model/ChangeLog.h"
#include "platform/model/CodePage.h"
#include "platform/model/RegistryTree.h"

namespace bkfd {

/// The registry of an image as export files, and the way of changes back into them: each value goes
/// into the file that its key came from, and files without a change stay as they are.
class RegistryFiles {
  public:
    /// `folder` is the host's folder of the files, which may be missing.
    RegistryFiles(std::string folder, CodePage& codePage);

    /// Reads all files in name order into the tree.
    std::optional<ImageError> Load(RegistryTree& tree);
    /// Takes a change of the registry into the documents.
    void Apply(const MachineChange& change);
    /// Writes the documents that changed.
    Status Save();

  private:
    struct File {
        std::string path;
        RegDocument document;
        bool isChanged = false;
    };
    struct Position {
        std::size_t file = 0;
        std::size_t section = 0;
    };

    /// The section that decides about the key: the last one of its name, unless a later one deletes
    /// it.
    std::optional<Position> DecidingSection(TextView key) const;
    /// Where a key that has no section belongs: behind the last section of the nearest key above.
    Position PlaceForNew(TextView key) const;
    Position MakeSection(TextView key);
    void SetValue(TextView key, RegEntry entry);
    void DeleteValue(TextView key, TextView name);
    void DeleteKey(TextView key);
    File& HomeForAll();
    RegCodePage Converter() const;
    std::string Format(File& file) const;

    std::string folder_;
    CodePage& codePage_;
    std::vector<File> files_;
};

}  // namespace bkfd
