#pragma once

#include <cstdint>
#include <string>
#include <variant>
#include <vector>

#include "platform/image/HostFiles.h"
#include "platform/image/ImageError.h"
#include "platform/image/ImageJson.h"

namespace bkfd {

/// registry.journal: the changes since the image's files were last written, a record a line. The
/// first line names the form; a record is the CRC-32 of its JSON in eight hexadecimal digits, a
/// blank and the JSON.
class ImageJournal {
  public:
    explicit ImageJournal(std::string path) : path_(std::move(path)) {}

    /// All records that were written whole; a missing journal has none. A last record that was cut
    /// off is dropped, anything else that can't be understood is an error.
    std::variant<std::vector<ImageJson>, ImageError> Read();
    bool IsThere() const;
    /// Adds a record behind those that were read, and makes the journal if there is none. It lies
    /// on the disk when this returns; a failure leaves the journal as it was.
    Status Append(const ImageJson& record);
    /// Takes the journal away, when all that it holds lies in the image's files.
    Status Clear();

  private:
    Status Open();

    std::string path_;
    HostFile file_;
    std::int64_t size_ = 0;  // of what is whole
};

}  // namespace bkfd
