#pragma once

#include <memory>
#include <string>
#include <variant>

#include "platform/image/ImageError.h"
#include "platform/model/ModelMachine.h"

namespace bkfd {

/// A machine held in files: machine.json, registry/*.reg and drives/<letter>/ in one folder. Every
/// change lies on the disk before the call returns: changes of names and files in the drives, all
/// others in registry.journal, which is folded into the other files at the image's end and before
/// it is used again. One process at a time uses an image.
class ImageMachine : public ModelMachine {
  public:
    /// Folds the journal into the image's files. After a failure the journal keeps what it has,
    /// and the next load tries again.
    virtual Status Fold() = 0;
    /// Where a file or folder lies on the host.
    virtual Result<std::string> HostPath(TextView path) = 0;

  protected:
    using ModelMachine::ModelMachine;
};

/// Opens the image in the host's folder `path`. An image that can only be read can be used until
/// the first change.
std::variant<std::unique_ptr<ImageMachine>, ImageError> LoadMachineImage(const std::string& path);

}  // namespace bkfd
