#pragma once

#include <string>

#include "common/EngineFixture.h"
#include "support/zip/cZip.h"

namespace bkfd {

/// An archive of a.txt, b.txt and c.txt, each holding its letter, made as the command says of "%".
Bytes MadeByZip(std::string command);

/// A machine with a folder C:\in with something of every kind, an object that packs into
/// C:\out\a.zip, and other programs that look at this.
class ArchiveFixture : public EngineFixture {
  public:
    ArchiveFixture();

    void Zip(const std::vector<TextView>& specs);
    /// What a command prints over a copy of the archive on the host, which it calls "%", with its
    /// failure as a last line.
    std::string Inspect(std::string command) const;
    /// The names in the archive, one a line, behind what unzip and 7z find wrong.
    std::string Names() const;

    cZip zip;

  private:
    static constexpr TextView kArchive = u"C:\\out\\a.zip";
};

}  // namespace bkfd
