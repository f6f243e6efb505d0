#include "formats/Zip.h"

#include <zlib.h>

#include <algorithm>
#include <limits>

#include "base/RuntimeError.h"
#include "formats/ZipCipher.h"

namespace bkfd {
namespace {

constexpr std::uint32_t kLocalSignature = 0x04034B50;
constexpr std::uint32_t kCentralSignature = 0x02014B50;
constexpr std::uint32_t kEndSignature = 0x06054B50;
constexpr std::uint32_t kDescriptorSignature = 0x08074B50;
constexpr std::size_t kLocalSize = 30;
constexpr std::size_t kCentralSize = 46;
constexpr std::size_t kEndSize = 22;
constexpr std::uint64_t kMost = std::numeric_limits<std::uint32_t>::max();
constexpr std::size_t kLongestName = 65535;
constexpr std::uint16_t kEncrypted = 1;
constexpr std::uint16_t kDescriptorFollows = 8;
constexpr std::uint16_t kUtf8Name = 0x800;
constexpr std::uint16_t kStored = 0;
constexpr std::uint16_t kDeflated = 8;
constexpr std::uint32_t kVolumeLabel = 8;
constexpr std::size_t kPiece = 64 * 1024;

/// Little-endian numbers out of a fixed record.
class Fields {
  public:
    explicit Fields(std::span<const std::uint8_t> bytes) : bytes_(bytes) {}
    std::uint16_t U16() { return static_cast<std::uint16_t>(Take(2)); }
    std::uint32_t U32() { return Take(4); }
    void Skip(std::size_t count) { bytes_ = bytes_.subspan(count); }

  private:
    std::uint32_t Take(std::size_t count) {
        std::uint32_t value = 0;
        for (std::size_t i = 0; i < count; ++i) value |= std::uint32_t{bytes_[i]} << (8 * i);
        bytes_ = bytes_.subspan(count);
        return value;
    }
    std::span<const std::uint8_t> bytes_;
};

/// A record of little-endian numbers and byte texts in the making.
class RecordWriter {
  public:
    RecordWriter& U16(std::uint64_t value) { return Put(value, 2); }
    RecordWriter& U32(std::uint64_t value) { return Put(value, 4); }
    RecordWriter& Raw(const auto& bytes) {
        bytes_.insert(bytes_.end(), bytes.begin(), bytes.end());
        return *this;
    }
    const Bytes& Data() const { return bytes_; }

  private:
    RecordWriter& Put(std::uint64_t value, int count) {
        for (int i = 0; i < count; ++i) bytes_.push_back(static_cast<std::uint8_t>(value >> 8 * i));
        return *this;
    }
    Bytes bytes_;
};

bool ReadText(ByteSource& source, std::uint64_t offset, std::size_t length, std::string& text) {
    Bytes bytes(length);
    if (!source.Read(offset, bytes)) return false;
    text.assign(bytes.begin(), bytes.end());
    return true;
}

bool Holds(ByteSource& archive, std::uint64_t offset, std::uint64_t length) {
    return offset <= archive.Size() && length <= archive.Size() - offset;
}

/// The end record stands in the last 64 KiB, behind everything but its comment.
std::optional<std::uint64_t> FindEndRecord(ByteSource& archive) {
    const std::uint64_t size = archive.Size();
    if (size < kEndSize) return std::nullopt;
    const auto length = static_cast<std::size_t>(std::min<std::uint64_t>(size, kEndSize + 65535));
    Bytes tail(length);
    if (!archive.Read(size - length, tail)) return std::nullopt;
    for (std::size_t at = length - kEndSize + 1; at-- > 0;) {
        const auto record = std::span(tail).subspan(at);
        if (Fields(record).U32() != kEndSignature) continue;
        Fields commentLength(record.subspan(20));
        if (commentLength.U16() == record.size() - kEndSize) return size - length + at;
    }
    return std::nullopt;
}

/// Reads one central record at `offset` and moves behind it, which must not be behind `limit`.
bool ReadCentralRecord(ByteSource& archive, std::uint64_t& offset, std::uint64_t limit,
                       ZipEntry& entry) {
    std::array<std::uint8_t, kCentralSize> header{};
    if (!archive.Read(offset, header)) return false;
    Fields fields(header);
    if (fields.U32() != kCentralSignature) return false;
    entry.madeBy = fields.U16();
    entry.versionNeeded = fields.U16();
    entry.flags = fields.U16();
    entry.method = fields.U16();
    entry.time = fields.U16();
    entry.date = fields.U16();
    entry.crc = fields.U32();
    entry.compressedSize = fields.U32();
    entry.size = fields.U32();
    const std::size_t nameLength = fields.U16();
    const std::size_t extraLength = fields.U16();
    const std::size_t commentLength = fields.U16();
    if (fields.U16() != 0) return false;  // another disk
    entry.internalAttributes = fields.U16();
    entry.externalAttributes = fields.U32();
    entry.localHeader = fields.U32();
    if (std::max({entry.compressedSize, entry.size, entry.localHeader}) == kMost) return false;
    offset += kCentralSize;
    if (offset + nameLength + extraLength + commentLength > limit) return false;
    entry.extra.resize(extraLength);
    const bool read =
        ReadText(archive, offset, nameLength, entry.name) &&
        archive.Read(offset + nameLength, entry.extra) &&
        ReadText(archive, offset + nameLength + extraLength, commentLength, entry.comment);
    offset += nameLength + extraLength + commentLength;
    return read;
}

/// Where the entry's data begins, by its local header.
std::optional<std::uint64_t> DataOffset(ByteSource& archive, const ZipEntry& entry) {
    std::array<std::uint8_t, kLocalSize> header{};
    if (!archive.Read(entry.localHeader, header)) return std::nullopt;
    Fields fields(header);
    if (fields.U32() != kLocalSignature) return std::nullopt;
    fields.Skip(22);
    const std::uint64_t nameLength = fields.U16();
    return entry.localHeader + kLocalSize + nameLength + fields.U16();
}

// What zlib's level 6 searches for, and how deep.
constexpr int kGoodLength = 8;
constexpr int kLazyLength = 16;
constexpr int kNiceLength = 128;
constexpr int kSearchDepth = 48;

/// A zlib stream that is ended with the object.
class Deflater {
  public:
    Deflater() {
        if (deflateInit2(&stream_, Z_DEFAULT_COMPRESSION, Z_DEFLATED, -MAX_WBITS, MAX_MEM_LEVEL,
                         Z_DEFAULT_STRATEGY) != Z_OK) {
            throw RuntimeError(ErrorNumber::OutOfMemory);
        }
        // Less than the usual depth: a third less time for two per cent more bytes.
        deflateTune(&stream_, kGoodLength, kLazyLength, kNiceLength, kSearchDepth);
    }
    ~Deflater() { deflateEnd(&stream_); }
    Deflater(const Deflater&) = delete;
    Deflater& operator=(const Deflater&) = delete;

    void Compress(std::span<std::uint8_t> input, int flush, Bytes& out) {
        stream_.next_in = input.data();
        stream_.avail_in = static_cast<uInt>(input.size());
        std::array<std::uint8_t, kPiece> piece;
        do {
            stream_.next_out = piece.data();
            stream_.avail_out = static_cast<uInt>(piece.size());
            deflate(&stream_, flush);
            out.insert(out.end(), piece.data(), stream_.next_out);
        } while (stream_.avail_out == 0);
    }

  private:
    z_stream stream_{};
};

std::uint32_t Crc(std::span<const std::uint8_t> bytes, std::uint32_t crc = 0) {
    return static_cast<std::uint32_t>(
        crc32_z(crc, bytes.empty() ? Z_NULL : bytes.data(), bytes.size()));
}

/// The stored bytes of an entry, piece by piece, decrypted.
class EntryData {
  public:
    EntryData(ByteSource& archive, std::uint64_t offset, std::uint32_t size)
        : archive_(archive), offset_(offset), left_(size) {}

    /// False for an entry that is too short to be encrypted.
    bool Decrypt(const std::string& password) {
        cipher_.emplace(password);
        Bytes header;
        return left_ >= ZipCipher::kHeaderSize && Next(header, ZipCipher::kHeaderSize);
    }
    bool IsAtEnd() const { return left_ == 0; }
    /// The next bytes, at most `most` of them; false if they can't be read.
    bool Next(Bytes& piece, std::size_t most = kPiece) {
        piece.resize(std::min<std::size_t>(left_, most));
        if (!archive_.Read(offset_, piece)) return false;
        offset_ += piece.size();
        left_ -= static_cast<std::uint32_t>(piece.size());
        if (cipher_) cipher_->Decrypt(piece);
        return true;
    }

  private:
    ByteSource& archive_;
    std::uint64_t offset_;
    std::uint32_t left_;
    std::optional<ZipCipher> cipher_;
};

/// Hands an entry's content on as far as its directory says that it goes, and checks it against
/// that.
class ContentSink {
  public:
    ContentSink(const ZipEntry& entry, const ByteSink& sink) : entry_(entry), sink_(sink) {}

    /// False for more than the entry has.
    bool Take(std::span<const std::uint8_t> bytes) {
        if (bytes.size() > entry_.size - size_) return false;
        size_ += static_cast<std::uint32_t>(bytes.size());
        crc_ = Crc(bytes, crc_);
        if (!bytes.empty()) sink_(bytes);
        return true;
    }
    bool IsWhole() const { return size_ == entry_.size && crc_ == entry_.crc; }

  private:
    const ZipEntry& entry_;
    const ByteSink& sink_;
    std::uint32_t size_ = 0;
    std::uint32_t crc_ = 0;
};

/// A zlib stream for reading that is ended with the object.
class Inflater {
  public:
    Inflater() { isReady_ = inflateInit2(&stream_, -MAX_WBITS) == Z_OK; }
    ~Inflater() { inflateEnd(&stream_); }
    Inflater(const Inflater&) = delete;
    Inflater& operator=(const Inflater&) = delete;

    bool Unpack(EntryData& data, ContentSink& content) {
        Bytes input;
        Bytes output(kPiece);
        int result = isReady_ ? Z_OK : Z_MEM_ERROR;
        while (result == Z_OK) {
            if (stream_.avail_in == 0 && !data.IsAtEnd()) {
                if (!data.Next(input)) return false;
                stream_.next_in = input.data();
                stream_.avail_in = static_cast<uInt>(input.size());
            }
            stream_.next_out = output.data();
            stream_.avail_out = static_cast<uInt>(output.size());
            // Without anything left to read or to write it ends with Z_BUF_ERROR.
            result = inflate(&stream_, Z_NO_FLUSH);
            const std::size_t count = output.size() - stream_.avail_out;
            if (!content.Take(std::span(output).first(count))) return false;
        }
        return result == Z_STREAM_END;
    }

  private:
    z_stream stream_{};
    bool isReady_ = false;
};

bool Unstore(EntryData& data, ContentSink& content) {
    Bytes piece;
    while (!data.IsAtEnd()) {
        if (!data.Next(piece) || !content.Take(piece)) return false;
    }
    return true;
}

/// DOS time and date: two-second steps, years 1980 to 2107.
void SetDosTime(ZipEntry& entry, Date modified) {
    CivilTime civil = ToCivil(modified);
    if (civil.year < 1980) civil = {1980, 1, 1, 0, 0, 0, 0};
    if (civil.year > 2107) civil = {2107, 12, 31, 23, 59, 58, 0};
    entry.time =
        static_cast<std::uint16_t>(civil.hour << 11 | civil.minute << 5 | civil.second / 2);
    entry.date =
        static_cast<std::uint16_t>((civil.year - 1980) << 9 | civil.month << 5 | civil.day);
}

/// What reading an entry's content to its end gives.
struct Packed {
    Bytes stored;  // the content, as long as storing it may still be the smaller form
    Bytes deflated;
    std::uint64_t size = 0;
    std::uint32_t crc = 0;
};

Packed Pack(const ContentReader& content) {
    Packed packed;
    Deflater deflater;
    Bytes piece(kPiece);
    while (const std::size_t count = content(piece)) {
        const auto read = std::span(piece).first(count);
        packed.size += count;
        if (packed.size >= kMost) {
            throw RuntimeError(ErrorNumber::Overflow, u"File is too large for a zip archive");
        }
        packed.crc = Crc(read, packed.crc);
        deflater.Compress(read, Z_NO_FLUSH, packed.deflated);
        // Small contents alone can end up smaller when stored; the rest isn't worth the memory.
        if (packed.size <= kPiece) {
            packed.stored.insert(packed.stored.end(), read.begin(), read.end());
        }
    }
    deflater.Compress({}, Z_FINISH, packed.deflated);
    return packed;
}

RecordWriter LocalHeader(const ZipEntry& entry) {
    RecordWriter record;
    record.U32(kLocalSignature).U16(entry.versionNeeded).U16(entry.flags).U16(entry.method);
    record.U16(entry.time).U16(entry.date).U32(entry.crc);
    record.U32(entry.compressedSize).U32(entry.size).U16(entry.name.size()).U16(0);
    record.Raw(entry.name);
    return record;
}

RecordWriter CentralRecord(const ZipEntry& entry) {
    RecordWriter record;
    record.U32(kCentralSignature).U16(entry.madeBy).U16(entry.versionNeeded).U16(entry.flags);
    record.U16(entry.method).U16(entry.time).U16(entry.date).U32(entry.crc);
    record.U32(entry.compressedSize).U32(entry.size).U16(entry.name.size());
    record.U16(entry.extra.size()).U16(entry.comment.size()).U16(0);
    record.U16(entry.internalAttributes).U32(entry.externalAttributes).U32(entry.localHeader);
    record.Raw(entry.name).Raw(entry.extra).Raw(entry.comment);
    return record;
}

}  // namespace

Text ZipEntry::Name(Text (*codePage)(std::string_view)) const {
    return HasUtf8Name() ? FromUtf8(name) : codePage(name);
}

std::optional<ZipDirectory> ReadZipDirectory(ByteSource& archive) {
    const auto end = FindEndRecord(archive);
    if (!end) return std::nullopt;
    std::array<std::uint8_t, kEndSize> record{};
    if (!archive.Read(*end, record)) return std::nullopt;
    Fields fields(record);
    fields.Skip(4);
    if (fields.U32() != 0) return std::nullopt;  // more than one disk
    const std::size_t here = fields.U16();
    const std::size_t count = fields.U16();
    const std::uint64_t size = fields.U32();
    std::uint64_t offset = fields.U32();
    if (here != count || offset + size > *end) return std::nullopt;

    ZipDirectory directory;
    if (!ReadText(archive, *end + kEndSize, fields.U16(), directory.comment)) return std::nullopt;
    const std::uint64_t limit = offset + size;
    for (std::size_t i = 0; i < count; ++i) {
        ZipEntry& entry = directory.entries.emplace_back();
        if (!ReadCentralRecord(archive, offset, limit, entry)) return std::nullopt;
    }
    return directory;
}

bool ReadZipEntry(ByteSource& archive, const ZipEntry& entry, const std::string& password,
                  const ByteSink& sink) {
    const auto offset = DataOffset(archive, entry);
    if (!offset || !Holds(archive, *offset, entry.compressedSize)) return false;
    if (entry.IsEncrypted() == password.empty()) return false;

    EntryData data(archive, *offset, entry.compressedSize);
    if (entry.IsEncrypted() && !data.Decrypt(password)) return false;
    ContentSink content(entry, sink);
    const bool isUnpacked = entry.method == kStored     ? Unstore(data, content)
                            : entry.method == kDeflated ? Inflater().Unpack(data, content)
                                                        : false;
    return isUnpacked && content.IsWhole();
}

std::optional<Bytes> ReadZipEntry(ByteSource& archive, const ZipEntry& entry,
                                  const std::string& password, std::size_t limit) {
    if (entry.size > limit) return std::nullopt;
    Bytes content;
    const bool isRead = ReadZipEntry(archive, entry, password, [&](auto bytes) {
        content.insert(content.end(), bytes.begin(), bytes.end());
    });
    if (!isRead) return std::nullopt;
    return content;
}

ZipWriter::ZipWriter(ByteSink sink) : sink_(std::move(sink)) {}

void ZipWriter::Add(const NewZipEntry& source, const ContentReader& content) {
    Packed packed = Pack(content);
    const bool isStored =
        packed.size <= packed.deflated.size() && packed.size == packed.stored.size();

    ZipEntry entry;
    entry.name = ToUtf8(source.name);
    const bool isAscii = std::ranges::all_of(source.name, [](char16_t unit) { return unit < 128; });
    entry.flags = isAscii ? 0 : kUtf8Name;
    entry.madeBy = entry.versionNeeded;  // its upper byte, 0, stands for DOS attributes
    entry.method = isStored ? kStored : kDeflated;
    SetDosTime(entry, source.modified);
    entry.crc = packed.crc;
    entry.size = static_cast<std::uint32_t>(packed.size);
    entry.externalAttributes = source.attributes | (source.isVolumeLabel ? kVolumeLabel : 0U);

    Bytes data = std::move(isStored ? packed.stored : packed.deflated);
    if (!source.password.empty()) {
        entry.flags |= kEncrypted;
        Bytes header(source.salt.begin(), source.salt.end());
        header.push_back(static_cast<std::uint8_t>(entry.crc >> 24));
        data.insert(data.begin(), header.begin(), header.end());
        ZipCipher(source.password).Encrypt(data);
    }
    Append(std::move(entry), data, {});
}

bool ZipWriter::Copy(ByteSource& archive, const ZipEntry& source) {
    const auto offset = DataOffset(archive, source);
    if (!offset || !Holds(archive, *offset, source.compressedSize)) return false;
    Bytes data(source.compressedSize);
    if (!archive.Read(*offset, data)) return false;
    ZipEntry entry = source;
    RecordWriter descriptor;
    if (entry.IsEncrypted() && (entry.flags & kDescriptorFollows) != 0) {
        // The check byte of such an entry depends on the flag, so flag and descriptor stay.
        descriptor.U32(kDescriptorSignature).U32(entry.crc).U32(entry.compressedSize);
        descriptor.U32(entry.size);
    } else {
        entry.flags &= static_cast<std::uint16_t>(~kDescriptorFollows);
    }
    Append(std::move(entry), data, descriptor.Data());
    return true;
}

void ZipWriter::Append(ZipEntry entry, std::span<const std::uint8_t> data,
                       std::span<const std::uint8_t> descriptor) {
    if (entry.name.size() > kLongestName) {
        throw RuntimeError(ErrorNumber::Overflow, u"File name is too long for a zip archive");
    }
    Reserve(kLocalSize + entry.name.size() + data.size() + descriptor.size());
    if (entries_.size() == 65535) {
        throw RuntimeError(ErrorNumber::Overflow, u"Too many files for a zip archive");
    }
    entry.localHeader = static_cast<std::uint32_t>(offset_);
    entry.compressedSize = static_cast<std::uint32_t>(data.size());
    Write(LocalHeader(entry).Data());
    Write(data);
    Write(descriptor);
    entries_.push_back(std::move(entry));
}

void ZipWriter::Finish(const std::string& comment) {
    const std::uint64_t start = offset_;
    for (const ZipEntry& entry : entries_) {
        const RecordWriter record = CentralRecord(entry);
        Reserve(record.Data().size());
        Write(record.Data());
    }
    RecordWriter end;
    end.U32(kEndSignature).U16(0).U16(0).U16(entries_.size()).U16(entries_.size());
    end.U32(offset_ - start).U32(start).U16(comment.size()).Raw(comment);
    Reserve(end.Data().size());
    Write(end.Data());
}

void ZipWriter::Reserve(std::uint64_t bytes) const {
    if (offset_ + bytes >= kMost) {
        throw RuntimeError(ErrorNumber::Overflow, u"The zip archive would become too large");
    }
}

void ZipWriter::Write(std::span<const std::uint8_t> bytes) {
    if (!bytes.empty()) sink_(bytes);
    offset_ += bytes.size();
}

}  // namespace bkfd
