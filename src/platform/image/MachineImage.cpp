#include "platform/image/MachineImage.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <cerrno>

#include "platform/files/DiskVolume.h"
#include "platform/image/ImageClock.h"
#include "platform/image/ImageJournal.h"
#include "platform/image/ImageRecords.h"
#include "platform/image/ImageSettings.h"
#include "platform/image/RegistryFiles.h"

namespace bkfd {
namespace {

constexpr const char* kSettingsFile = "/machine.json";
constexpr const char* kJournalFile = "/registry.journal";
constexpr const char* kRegistryFolder = "/registry";
constexpr const char* kDrivesFolder = "/drives";

/// What an image machine's base class keeps references to, so that it is made before it.
struct ImageParts {
    ImageParts(const std::string& path, ImageTime time, DiskJournal& diskJournal)
        : journal(path + kJournalFile), volume(path + kDrivesFolder, diskJournal), clock(time) {}

    ImageJournal journal;
    DiskVolume volume;
    ImageClock clock;
};

class LoadedImage final : private ImageParts,
                          private ChangeLog,
                          private DiskJournal,
                          public ImageMachine {
  public:
    LoadedImage(const std::string& path, HostFile lock, ImageSettings settings)
        : ImageParts(path, settings.time, *this),
          ImageMachine(settings.facts, volume, clock, static_cast<ChangeLog*>(this)),
          path_(path),
          lock_(std::move(lock)),
          registryFiles_(path + kRegistryFolder, codePage_) {
        rules_ = std::move(settings.rules);
        for (ProcessRecord& record : settings.processes) processes_.Add(std::move(record));
        for (const auto& [root, key] : settings.deniedReads) registry_.DenyRead(root, key);
        for (const auto& [root, key] : settings.deniedWrites) registry_.DenyWrite(root, key);
        for (const Text& folder : {facts_.programFolder, facts_.SystemFolder(),
                                   system_.GetTempPathW(), facts_.currentFolder}) {
            const auto full = files_.FullPath(folder);
            if (full.IsOk()) volume.AssumeFolder(full.value);
        }
    }

    // Whoever wants to know what became of it has folded before.
    ~LoadedImage() override { (void)Fold(); }

    /// Reads the registry and makes up for what a crash kept from being done.
    std::optional<ImageError> Load() {
        if (auto error = registryFiles_.Load(tree_)) return error;
        auto read = journal.Read();
        if (auto* error = std::get_if<ImageError>(&read)) return *error;
        const auto& records = std::get<std::vector<ImageJson>>(read);
        for (std::size_t i = 0; i < records.size(); ++i) {
            if (Replay(records[i], i + 1 == records.size())) continue;
            return ImageError{path_ + kJournalFile, i + 2, "",
                              "holds a change of a kind that isn't known"};
        }
        for (const WrittenBytes& written : replayed_) {
            if (volume.RedoWriting(written).IsOk()) continue;
            return ImageError{
                path_ + kJournalFile, 0, "",
                "holds the end of " + ToUtf8(written.path) + ", which can't be written"};
        }
        replayed_.clear();
        isChanged_ = journal.IsThere();
        timeForNextUse_ = clock.Time();
        // An image that can't be written keeps its journal; what it says holds all the same.
        (void)Fold();
        return std::nullopt;
    }

    Result<std::string> HostPath(TextView file) override { return volume.HostPath(file); }

    Status Fold() override {
        if (!isChanged_) return {};
        Status status = volume.SettleFiles();
        if (status.IsOk()) status = registryFiles_.Save();
        if (status.IsOk()) status = SaveSettings();
        if (status.IsOk()) status = journal.Clear();
        if (status.IsOk()) isChanged_ = false;
        return status;
    }

  protected:
    Status RestartMachine() override {
        const ImageTime before = clock.Time();
        clock.Restart();
        const auto isThere = [this](const Text& file) { return !volume.Find(file).IsNotThere(); };
        ModelProcesses restarted(facts_, nullptr);
        for (ProcessRecord& record : processes_.All()) restarted.Add(std::move(record));
        restarted.DropMissing(isThere);
        const Status noted = Write(RestartRecord(clock.Time(), restarted.All()));
        if (noted.IsOk()) {
            processes_.DropMissing(isThere);
            timeForNextUse_ = clock.Time();
        } else {
            clock.SetTime(before);
        }
        return noted;
    }

  private:
    Status Note(const MachineChange& change) override {
        const Status noted = Append(ChangeRecord(change));
        if (noted.IsOk()) registryFiles_.Apply(change);
        return noted;
    }

    Status NoteMoves(const VolumeMoves& moves) override {
        return Append(MoveRecord(moves, rules_));
    }

    Status NoteRemoval(const Text& file) override { return Append(RemovalRecord(file)); }

    /// No record of the change carries what was written before.
    Status NoteWriting() override {
        const Status moved = MoveTimeOn();
        if (!moved.IsOk() || written_.empty()) return moved;
        const Status settled = volume.SettleFiles();
        if (settled.IsOk()) written_.clear();
        return settled;
    }

    bool NoteWritten(const WrittenBytes& written) override {
        written_.push_back(written);
        return true;
    }

    // Directly behind the record of the change.
    void NoteOutcome(bool isDone) override { (void)Write(OutcomeRecord(isDone)); }

    /// No use of an image with a time of its own begins at a time that an earlier use has seen when
    /// it changed something: names of files are made of it.
    Status MoveTimeOn() {
        if (!timeForNextUse_.now || clock.Now() < *timeForNextUse_.now) return {};
        const ImageTime next = clock.ForNextUse();
        const Status written = Write(TimeRecord(next));
        if (written.IsOk()) timeForNextUse_ = next;
        return written;
    }

    Status Append(const ImageJson& record) {
        const Status moved = MoveTimeOn();
        return moved.IsOk() ? Write(record) : moved;
    }

    /// In one line, so that a change is never there without what was written before it.
    Status Write(ImageJson record) {
        AddWritten(record, written_);
        const Status appended = journal.Append(record);
        if (!appended.IsOk()) return appended;
        written_.clear();
        isChanged_ = true;
        return {};
    }

    bool Replay(const ImageJson& record, bool isLast) {
        ReplayTargets targets{tree_,  registryFiles_, processes_, rules_,
                              volume, clock,          pending_,   replayed_};
        return ReplayRecord(record, isLast, targets);
    }

    /// The file is read anew, since it may be large and is changed once at most.
    Status SaveSettings() {
        const std::string file = path_ + kSettingsFile;
        const auto content = ReadHostFile(file);
        if (!content) return StatusOfErrno(errno);
        const auto parsed = ParseImageSettings(file, *content);
        const auto* saved = std::get_if<ImageSettings>(&parsed);
        if (saved == nullptr) return {SystemError::InvalidData};
        const std::string changed =
            UpdateImageSettings(*content, *saved, {timeForNextUse_, processes_.All(), rules_});
        return changed == *content ? Status{} : ReplaceHostFile(file, changed);
    }

    std::string path_;
    HostFile lock_;
    RegistryFiles registryFiles_;
    PendingNames pending_;
    std::vector<WrittenBytes> replayed_;
    std::vector<WrittenBytes> written_;  // to files, and in no record yet
    ImageTime timeForNextUse_;
    bool isChanged_ = false;
};

std::string WithoutSlash(std::string path) {
    while (path.size() > 1 && path.back() == '/') path.pop_back();
    return path;
}

}  // namespace

std::variant<std::unique_ptr<ImageMachine>, ImageError> LoadMachineImage(
    const std::string& givenPath) {
    const std::string path = WithoutSlash(givenPath);
    HostFile lock(open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!lock.IsOpen()) return ImageError{path, 0, "", "is no folder that can be read"};
    if (flock(lock.Get(), LOCK_EX | LOCK_NB) != 0) {
        return ImageError{path, 0, "", "the image is in use by another process", true};
    }
    const std::string file = path + kSettingsFile;
    const auto content = ReadHostFile(file);
    if (!content) return ImageError{file, 0, "", errno == ENOENT ? "is missing" : "can't be read"};
    auto parsed = ParseImageSettings(file, *content);
    if (auto* error = std::get_if<ImageError>(&parsed)) return *error;
    auto image = std::make_unique<LoadedImage>(path, std::move(lock),
                                               std::move(std::get<ImageSettings>(parsed)));
    if (auto error = image->Load()) return *error;
    return std::unique_ptr<ImageMachine>(std::move(image));
}

}  // namespace bkfd
