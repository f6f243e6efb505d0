#include "support/zip/ZipLibrary.h"

#include <algorithm>
#include <map>
#include <optional>

#include "base/RuntimeError.h"
#include "formats/Zip.h"
#include "platform/Machine.h"
#include "services/SysUtil.h"
#include "support/zip/FileSelection.h"
#include "support/zip/LineEnds.h"

namespace bkfd {
namespace {

struct Library {
    ZpCallbacks callbacks;
    ZpOptionRecord options;
    std::vector<std::string> texts;

    bool Has(std::size_t slot) const { return options.slots[slot] != 0; }
};

Library& TheLibrary() {
    static Library library;
    return library;
}

/// Ends a run with a result of the library; never leaves this file.
struct Stop {
    std::int32_t result;
};

Text FromCodePage(std::string_view bytes) {
    return TheMachine().System().MultiByteToWideChar(bytes);
}

class FileSource : public ByteSource {
  public:
    explicit FileSource(std::unique_ptr<OpenFile> file) : file_(std::move(file)) {}
    std::uint64_t Size() override {
        const auto size = file_->GetFileSize();
        return size.IsOk() ? size.value : 0;
    }
    bool Read(std::uint64_t offset, std::span<std::uint8_t> buffer) override {
        const auto read = file_->ReadFile(offset, buffer);
        return read.IsOk() && read.value == buffer.size();
    }

  private:
    std::unique_ptr<OpenFile> file_;
};

/// The archive that is there already, empty for none.
struct OldArchive {
    std::optional<FileSource> source;
    ZipDirectory directory;

    static OldArchive Open(Files& files, const Text& path) {
        OldArchive old;
        auto file = files.CreateFileW(path, FileMode::Read);
        if (file.IsNotThere()) return old;
        if (!file.IsOk()) throw Stop{ZpResult::BadArchive};
        old.source.emplace(std::move(file.value));
        auto directory = ReadZipDirectory(*old.source);
        if (!directory) throw Stop{ZpResult::BadArchive};
        old.directory = *std::move(directory);
        return old;
    }
};

/// The new archive beside the old one; it goes away again unless it is moved into place.
class NewArchive {
  public:
    NewArchive(Files& files, Text path) : files_(files), path_(std::move(path)) {
        temporary_ = path_ + u"." + SysUtil::NewUniqueId() + u".tmp";
        auto file = files_.CreateFileW(temporary_, FileMode::CreateNew);
        if (!file.IsOk()) throw Stop{ZpResult::TempFailed};
        file_ = std::move(file.value);
    }
    ~NewArchive() {
        file_.reset();
        if (!isInPlace_) (void)files_.DeleteFileW(temporary_);
    }
    NewArchive(const NewArchive&) = delete;
    NewArchive& operator=(const NewArchive&) = delete;

    ByteSink Sink() {
        return [this](std::span<const std::uint8_t> bytes) {
            if (!file_->WriteFile(bytes).IsOk()) throw Stop{ZpResult::TempFailed};
        };
    }

    void MoveIntoPlace() {
        if (!file_->FlushFileBuffers().IsOk()) throw Stop{ZpResult::TempFailed};
        file_.reset();
        if (!files_.MoveFileExW(temporary_, path_).IsOk()) throw Stop{ZpResult::CannotReplace};
        isInPlace_ = true;
    }

  private:
    Files& files_;
    Text path_;
    Text temporary_;
    std::unique_ptr<OpenFile> file_;
    bool isInPlace_ = false;
};

/// The content of a file piece by piece, with line ends converted where that is asked for.
ContentReader ReaderOf(OpenFile& file, const Library& library) {
    const LineEnds conversion = library.Has(ZpSlot::CrLfToLf)   ? LineEnds::CrLfToLf
                                : library.Has(ZpSlot::LfToCrLf) ? LineEnds::LfToCrLf
                                                                : LineEnds::Keep;
    return ConvertLineEnds(
        conversion, [&file, offset = std::uint64_t{0}](std::span<std::uint8_t> buffer) mutable {
            const auto read = file.ReadFile(offset, buffer);
            if (!read.IsOk()) throw Stop{ZpResult::OpenFailed};
            offset += read.value;
            return read.value;
        });
}

/// One call of `ZpArchive`.
class Run {
  public:
    Run(const Library& library, Files& files, Text archive)
        : library_(library), files_(files), archive_(std::move(archive)) {}

    void Delete(const std::vector<Text>& patterns) {
        OldArchive old = OldArchive::Open(files_, archive_);
        const auto isNamed = [&](const ZipEntry& entry) {
            return std::ranges::any_of(patterns, [&](Text pattern) {
                std::ranges::replace(pattern, u'\\', u'/');
                return MatchesPattern(entry.Name(FromCodePage), pattern);
            });
        };
        const auto removed = std::ranges::count_if(old.directory.entries, isNamed);
        if (removed == 0) throw Stop{ZpResult::NothingToDo};
        NewArchive target(files_, archive_);
        ZipWriter writer(target.Sink());
        for (const ZipEntry& entry : old.directory.entries) {
            if (isNamed(entry)) {
                Say(u"deleting: " + entry.Name(FromCodePage));
            } else {
                Keep(writer, old, entry);
            }
        }
        Finish(writer, target, old);
    }

    void Update(const std::vector<Text>& specs) {
        OldArchive old = OldArchive::Open(files_, archive_);
        Choose(specs, old);
        if (library_.Has(ZpSlot::VolumeLabel)) ChooseVolumeLabel();
        if (chosen_.empty()) throw Stop{ZpResult::NothingToDo};
        if (library_.Has(ZpSlot::Encrypt)) AskPassword();
        NewArchive target(files_, archive_);
        ZipWriter writer(target.Sink());
        const bool append = library_.Has(ZpSlot::Append);
        for (const ZipEntry& entry : old.directory.entries) {
            const auto replaced = chosen_.find(ToLower(entry.Name(FromCodePage)));
            if (replaced == chosen_.end()) {
                Keep(writer, old, entry);
            } else if (!append) {
                Add(writer, order_[replaced->second], u"updating: ");
                chosen_.erase(replaced);
            }
        }
        for (std::size_t i = 0; i < order_.size(); ++i) {
            const auto left = chosen_.find(ToLower(order_[i].name));
            if (left != chosen_.end() && left->second == i) Add(writer, order_[i], u"  adding: ");
        }
        Finish(writer, target, old);
    }

  private:
    /// The files to pack, by the names that they get, as update and freshen want it.
    void Choose(const std::vector<Text>& specs, const OldArchive& old) {
        const SelectionRules rules{
            library_.Has(ZpSlot::Recursion), library_.Has(ZpSlot::SystemAndHidden),
            !library_.Has(ZpSlot::NoFolderNames), !library_.Has(ZpSlot::NoDirectoryEntries)};
        std::map<Text, const ZipEntry*> present;
        for (const ZipEntry& entry : old.directory.entries) {
            present.emplace(ToLower(entry.Name(FromCodePage)), &entry);
        }
        for (SelectedFile& file : SelectFiles(files_, specs, rules)) {
            if (IsArchiveItself(file)) continue;
            const auto entry = present.find(ToLower(file.name));
            const bool isPresent = entry != present.end();
            if (library_.Has(ZpSlot::Freshen) && !isPresent) continue;
            const bool onlyNewer = library_.Has(ZpSlot::Update) || library_.Has(ZpSlot::Freshen);
            if (onlyNewer && isPresent && !IsNewer(file, *entry->second)) continue;
            Take(std::move(file));
        }
    }

    /// Two files of one name in the archive: the first stays, the other is told.
    void Take(SelectedFile file) {
        if (chosen_.emplace(ToLower(file.name), order_.size()).second) {
            order_.push_back(std::move(file));
        } else {
            Say(u"name is taken, left out: " + file.path);
        }
    }

    bool IsArchiveItself(const SelectedFile& file) const {
        return EqualsIgnoreCase(file.path, archive_);
    }

    /// By whole two-second steps, as archives hold times.
    static bool IsNewer(const SelectedFile& file, const ZipEntry& entry) {
        const CivilTime civil{(entry.date >> 9) + 1980,
                              (entry.date >> 5) & 15,
                              entry.date & 31,
                              entry.time >> 11,
                              (entry.time >> 5) & 63,
                              (entry.time & 31) * 2,
                              0};
        return file.data.lastWrite >= AddSeconds(ToDate(civil), 2);
    }

    void ChooseVolumeLabel() {
        const auto label = files_.GetVolumeInformationW(u"");
        if (!label.IsOk() || label.value.empty()) return;
        SelectedFile entry;
        entry.name = label.value;
        entry.data.lastWrite = TheMachine().System().GetLocalTime();
        volumeLabel_ = entry.name;
        Take(std::move(entry));
    }

    void AskPassword() {
        std::array<char, 1024> buffer{};  // for 254 characters in UTF-8
        if (library_.callbacks.password == nullptr ||
            library_.callbacks.password(buffer, "Password: ", ToWtf8(archive_).c_str()) != 0) {
            throw Stop{ZpResult::Cancelled};
        }
        buffer.back() = '\0';
        password_ = buffer.data();
        if (password_.empty()) throw Stop{ZpResult::Cancelled};
    }

    void Add(ZipWriter& writer, const SelectedFile& file, TextView verb) {
        NewZipEntry entry;
        entry.name = file.name;
        entry.modified = file.data.lastWrite;
        entry.attributes = file.data.attributes & 0x3F;
        entry.isVolumeLabel =
            !volumeLabel_.empty() && file.name == volumeLabel_ && file.path.empty();
        if (entry.isVolumeLabel || (entry.attributes & FileAttribute::Directory) != 0) {
            writer.Add(entry, [](auto) { return std::size_t{0}; });
        } else {
            auto content = files_.CreateFileW(file.path, FileMode::Read);
            if (!content.IsOk()) throw Stop{ZpResult::OpenFailed};
            entry.password = password_;
            if (!password_.empty()) entry.salt = Salt();
            writer.Add(entry, ReaderOf(*content.value, library_));
        }
        Say(Text(verb) + file.name);
        CallService(file);
    }

    /// Bytes that no other entry's header begins with.
    static std::array<std::uint8_t, 11> Salt() {
        std::array<std::uint8_t, 11> salt{};
        const Text guid = TheMachine().ComponentObjects().CoCreateGuid();
        for (std::size_t i = 0; i < guid.size(); ++i) {
            auto& byte = salt[i % salt.size()];
            byte = static_cast<std::uint8_t>(byte * 31 + guid[i]);
        }
        return salt;
    }

    void Keep(ZipWriter& writer, OldArchive& old, const ZipEntry& entry) {
        if (!writer.Copy(*old.source, entry)) throw Stop{ZpResult::BadArchive};
    }

    void Finish(ZipWriter& writer, NewArchive& target, OldArchive& old) {
        std::vector<char> comment(4097);
        if (library_.callbacks.comment != nullptr) library_.callbacks.comment(comment);
        comment.back() = '\0';
        const std::string asked(comment.data());
        writer.Finish(asked.empty() ? old.directory.comment : asked);
        old.source.reset();  // an open file can't be replaced
        target.MoveIntoPlace();
    }

    void Say(const Text& message) {
        if (library_.Has(ZpSlot::Quiet) || library_.callbacks.print == nullptr) return;
        const std::string text = ToWtf8(message) + "\n";
        library_.callbacks.print(text.c_str(), static_cast<std::uint32_t>(text.size()));
    }

    void CallService(const SelectedFile& file) {
        if (library_.callbacks.service == nullptr) return;
        const std::string name = ToWtf8(file.name);
        if (library_.callbacks.service(name.c_str(), file.data.sizeLow) != 0) {
            throw Stop{ZpResult::Cancelled};
        }
    }

    const Library& library_;
    Files& files_;
    Text archive_;
    std::map<Text, std::size_t> chosen_;  // lower-cased name in the archive to its place in order_
    std::vector<SelectedFile> order_;
    Text volumeLabel_;
    std::string password_;
};

}  // namespace

ZpTextRef ZpText(std::string text) {
    auto& texts = TheLibrary().texts;
    texts.push_back(std::move(text));
    return static_cast<ZpTextRef>(texts.size());
}

void ZpInit(const ZpCallbacks& callbacks) {
    TheLibrary().callbacks = callbacks;
    TheLibrary().texts.clear();
}

void ZpSetOptions(const ZpOptionRecord& options) {
    TheLibrary().options = options;
}

ZpOptionRecord ZpGetOptions() {
    return TheLibrary().options;
}

std::int32_t ZpArchive(std::int32_t count, const std::string& archive, const ZpListRecord& list) {
    const Library& library = TheLibrary();
    try {
        std::vector<Text> names;
        for (std::size_t i = 0; i < list.names.size() && std::cmp_less(i, count); ++i) {
            const ZpTextRef reference = list.names[i];
            if (reference == 0 || reference > library.texts.size()) break;
            names.push_back(FromWtf8(library.texts[reference - 1]));
        }
        Run run(library, TheMachine().FileSystem(), FromWtf8(archive));
        if (library.Has(ZpSlot::Delete)) {
            run.Delete(names);
        } else {
            run.Update(names);
        }
        return ZpResult::Ok;
    } catch (const Stop& stop) {
        return stop.result;
    } catch (const RuntimeError& error) {
        return error.Number() == static_cast<std::int32_t>(ErrorNumber::Overflow)
                   ? ZpResult::TooBig
                   : ZpResult::TempFailed;
    } catch (const std::bad_alloc&) {
        return ZpResult::NoMemory;
    }
}

}  // namespace bkfd
