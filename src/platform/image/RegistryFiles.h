#pragma once

#include <optional>
#include <string>
#include <vector>

#include "platform/image/ImageError.h"
#include "platform/image/RegistrySections.h"
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
        RegFormat format = RegFormat::Version5;
    };
    using Sections = std::vector<const RegSection*>;

    RegCodePage Converter() const;
    std::string Format(File& file, const Sections& sections) const;

    std::string folder_;
    CodePage& codePage_;
    std::vector<File> files_;
    RegistrySections sections_;
};

}  // namespace bkfd
