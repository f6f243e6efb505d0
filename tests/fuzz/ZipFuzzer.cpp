#include "common/MemorySource.h"
#include "formats/Zip.h"
#include "fuzz/Fuzzer.h"

using namespace bkfd;

namespace {

constexpr std::size_t kLargestContent = 1U << 20;
const std::string kPassword = "s3cret";

/// A growing archive.
struct Archive {
    Bytes bytes;
    ZipWriter writer{[this](auto more) { bytes.insert(bytes.end(), more.begin(), more.end()); }};
};

std::optional<Bytes> Content(ByteSource& archive, const ZipEntry& entry) {
    return ReadZipEntry(archive, entry, entry.IsEncrypted() ? kPassword : "", kLargestContent);
}

Bytes ArchiveOf(std::initializer_list<std::pair<const char16_t*, Bytes>> files,
                const std::string& password, const std::string& comment) {
    Archive archive;
    for (const auto& [name, content] : files) {
        archive.writer.Add({name, 40'000, 32, false, password, {1, 2, 3}}, MemoryReader(content));
    }
    archive.writer.Finish(comment);
    return archive.bytes;
}

/// Reads all of an archive, copies what can be read and reads that again.
void CheckReading(const Bytes& bytes) {
    MemorySource source(bytes);
    const auto directory = ReadZipDirectory(source);
    Require(source.BytesRead() <= 2 * bytes.size() + 1024, "a directory is read once");
    if (!directory) return;
    Require(directory->entries.size() * 46 <= bytes.size(), "each entry stands in the archive");
    std::vector<const ZipEntry*> copied;
    Archive copy;
    for (const ZipEntry& entry : directory->entries) {
        const auto content = Content(source, entry);
        if (content) Require(content->size() == entry.size, "an entry has the size that it says");
        if (copy.writer.Copy(source, entry)) copied.push_back(&entry);
        Require(!content || (!copied.empty() && copied.back() == &entry), "what is read is copied");
    }
    copy.writer.Finish(directory->comment);

    MemorySource again(copy.bytes);
    const auto entries = ReadZipDirectory(again);
    Require(entries && entries->entries.size() == copied.size(), "a copy is an archive");
    Require(entries->comment == directory->comment, "a copy has the comment");
    for (std::size_t i = 0; i < copied.size(); ++i) {
        const ZipEntry& entry = entries->entries[i];
        Require(entry.name == copied[i]->name && entry.extra == copied[i]->extra &&
                    entry.comment == copied[i]->comment,
                "a copied entry keeps its texts");
        Require(Content(again, entry) == Content(source, *copied[i]),
                "a copied entry keeps its content");
    }
}

/// Packs the input itself.
void CheckWriting(const Bytes& bytes) {
    const std::string password = bytes.size() % 2 == 0 ? "" : kPassword;
    MemorySource archive(ArchiveOf({{u"a\u043F", bytes}}, password, ""));
    const auto directory = ReadZipDirectory(archive);
    Require(directory && directory->entries.size() == 1, "what is written is an archive");
    Require(Content(archive, directory->entries[0]) == bytes, "what is written is read back");
}

}  // namespace

std::vector<Bytes> FuzzCorpus() {
    const Bytes text = ToBytes(u"alpha alpha alpha alpha alpha alpha\r\n");
    return {ArchiveOf({{u"a.txt", text}, {u"b/", {}}, {u"c\u043F", ToBytes(u"abc")}}, "", "note"),
            ArchiveOf({{u"a.txt", text}}, kPassword, ""), ArchiveOf({}, "", "PK\5\6 comment")};
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const Bytes bytes(data, data + size);
    CheckReading(bytes);
    CheckWriting(bytes);
    return 0;
}
