#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "platform/files/HostFiles.h"
#include "platform/image/ImageError.h"
#include "platform/image/ImageJson.h"

namespace bkfd {

/// What of a journal is whole.
struct JournalContent {
    std::vector<ImageJson> records;
    std::size_t size = 0;  // in bytes, from the journal's start on
};

/// The line of a record, with its end.
std::string JournalLine(const ImageJson& record);
/// All records that were written whole. A last record that was cut off is dropped, anything else
/// that can't be understood is an error, which names `path`.
std::variant<JournalContent, ImageError> ParseJournal(const std::string& path,
                                                      std::string_view content);

/// registry.journal: the changes since the image's files were last written, a record a line. The
/// first line names the form; a record is the CRC-32 of its JSON in eight hexadecimal digits, a
/// blank and the JSON.
class ImageJournal {
  public:
    explicit ImageJournal(std::string path) : path_(std::move(path)) {}

    /// All records, as `ParseJournal` reads them; a missing journal has none.
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
