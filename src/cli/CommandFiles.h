#pragma once

#include <iosfwd>
#include <span>
#include <string>
#include <vector>

#include "base/Text.h"

/// Files of this computer that commands read and make. Failures are CommandErrors that name the
/// file.
namespace bkfd {

/// The whole file, or all that `standardInput` still has for "-"; at most 1 GiB.
Bytes ReadInput(const std::string& path, std::istream& standardInput);

/// New files of one folder, made all or none: until `Keep` is called, the destructor takes away
/// what was made. A file that is there already, be it a link, is never touched.
class NewHostFiles {
  public:
    /// The folder is made if it is missing; what is above it must be there.
    explicit NewHostFiles(std::string folder);
    ~NewHostFiles();
    NewHostFiles(const NewHostFiles&) = delete;
    NewHostFiles& operator=(const NewHostFiles&) = delete;

    /// `name` is the last component of a path. Returns the whole path.
    std::string Write(const std::string& name, std::span<const std::uint8_t> content);
    void Keep() { isKept_ = true; }

  private:
    std::string folder_;
    int directory_ = -1;
    bool isFolderNew_ = false;
    bool isKept_ = false;
    std::vector<std::string> written_;
};

}  // namespace bkfd
