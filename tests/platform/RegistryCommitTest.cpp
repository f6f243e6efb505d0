#include "platform/hive/RegistryCommit.h"

#include <gmock/gmock.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "common/FullDisk.h"
#include "common/HostFolder.h"
#include "common/WritePoints.h"
#include "formats/HiveChecker.h"
#include "formats/HiveLogSamples.h"
#include "formats/HiveSamples.h"

namespace {
int syncsLeft = -1;  // until one fails; -1: none does
bool failsForGood = false;
}  // namespace

/// In place of the C library's.
extern "C" int fsync(int file) {
    if (syncsLeft == 0) {
        if (!failsForGood) syncsLeft = -2;
        errno = EIO;
        return -1;
    }
    if (syncsLeft > 0) --syncsLeft;
    return static_cast<int>(syscall(SYS_fsync, file));
}

namespace bkfd {
namespace {

using samples::SmallRoot;
using testing::HasSubstr;

using Files = std::map<std::string, std::string>;

std::string AsString(ByteView bytes) {
    return {bytes.begin(), bytes.end()};
}

const std::string kWineText =
    "WINE REGISTRY Version 2\n\n[Software] 1700000000\n#time=1da165bc18c9a80\n\"a\"=\"1\"\n";
const std::string kWineChanged =
    "WINE REGISTRY Version 2\n\n[Software] 1800000000\n#time=1da165bc18c9a81\n\"a\"=\"2\"\n";

/// A volume with two hives, a dirty one with its logs, and a file of text.
class Volume {
  public:
    Volume() {
        Bytes dirty = samples::Version(0);
        samples::SetSequences(dirty, 8, 7);
        Write("config/SOFTWARE", HiveMaker(SmallRoot()).File());
        Write("config/SYSTEM", HiveMaker({u"ROOT", {}, {{u"Fast"}}, "lf", 0, {}}, 3).File());
        Write("config/SAM", dirty);
        Write("config/SAM.LOG1", samples::NewLog(7, {1, 2}));
        folder_.Write("system.reg", kWineText);
        std::filesystem::create_directory(folder_.Path("Undo"));
    }

    const HostFolder& Folder() const { return folder_; }
    std::string Journal(int number) const {
        return folder_.Path("Undo/" + std::to_string(number) + ".registry");
    }

    std::unique_ptr<HiveStore> Open(const std::string& name) const {
        auto opened = HiveStore::Open(folder_.Path("config/" + name),
                                      {{}, [] { return std::uint64_t{0x01DA000000000000}; }});
        return std::get<std::unique_ptr<HiveStore>>(std::move(opened));
    }

    /// One commit over all files: what is there, and a line for an error.
    std::string Commit(int number, const std::function<void(RegistryStore&)>& change,
                       const std::string& text, bool* hasPutAllBack = nullptr) const {
        const auto software = Open("SOFTWARE");
        const auto system = Open("SYSTEM");
        const auto sam = Open("SAM");
        RegistryCommit commit(folder_.Path(), Journal(number));
        for (HiveStore* const store : {software.get(), system.get(), sam.get()}) {
            change(*store);
            commit.Add(*store);
        }
        commit.AddText(folder_.Path("system.reg"), folder_.Read("system.reg"), text);
        std::vector<std::string> kept;
        while (--number > 0) kept.push_back(Journal(number));
        commit.SetKept(kept);
        const auto error = commit.Run();
        if (hasPutAllBack != nullptr) *hasPutAllBack = commit.HasPutAllBack();
        return error ? error->file + ' ' + error->message : std::string();
    }

    /// All files but the journals.
    Files Snapshot() const {
        Files files = folder_.Snapshot();
        std::erase_if(files, [](const auto& file) { return file.first.starts_with("Undo/"); });
        return files;
    }

    std::string Recover(int number) const {
        const auto done = RecoverRegistry(folder_.Path(), Journal(number));
        if (const auto* const error = std::get_if<RegistryFileError>(&done)) return error->message;
        return std::get<RegistryRecovery>(done) == RegistryRecovery::Finished     ? "finished"
               : std::get<RegistryRecovery>(done) == RegistryRecovery::RolledBack ? "rolled back"
                                                                                  : "nothing";
    }

  private:
    void Write(const std::string& name, ByteView bytes) { folder_.Write(name, AsString(bytes)); }

    HostFolder folder_;
};

/// A value in the place of another, and so many bytes that the hive grows.
void Change(RegistryStore& store) {
    (void)store.DeleteValue({}, u"");
    (void)store.DeleteValue({}, u"version");
    EXPECT_TRUE(
        store.SetValue(u"New\\Key", u"large", {RegistryType::Binary, Bytes(60'000, 1)}).IsOk());
}

/// What undoes it, as a user of the store can.
void ChangeBack(RegistryStore& store) {
    EXPECT_TRUE(store.DeleteKey(u"New\\Key").IsOk());
    EXPECT_TRUE(store.DeleteKey(u"New").IsOk());
    if (store.EnumKeys(u"Index").IsOk()) {
        const Bytes text = ToUtf16Bytes(Text(u"text\0", 5));
        EXPECT_TRUE(store.SetValue({}, u"", {RegistryType::String, text}).IsOk());
    } else if (store.EnumKeys(u"Fast").IsNotThere()) {
        EXPECT_TRUE(store.SetValue({}, u"version", {RegistryType::Dword, {2, 0, 0, 0}}).IsOk());
    }
}

TEST(RegistryCommit, WritesWhatItsFilesHoldAndAnUndoBringsBackEveryByte) {
    const Volume volume;
    const Files before = volume.Snapshot();
    ASSERT_EQ(volume.Commit(1, Change, kWineChanged), "");
    EXPECT_EQ(volume.Folder().Read("system.reg"), kWineChanged);
    EXPECT_EQ(volume.Folder().Read("config/SAM.LOG1"), "")
        << "would be replayed over what is newer";
    for (const char* name : {"SOFTWARE", "SYSTEM", "SAM"}) {
        const auto store = volume.Open(name);
        EXPECT_EQ(store->State(), HiveState::Clean);
        EXPECT_EQ(store->QueryValue(u"New\\Key", u"large").value.data, Bytes(60'000, 1));
        EXPECT_TRUE(CheckHive(store->Content()).empty()) << name;
    }
    // A second commit on top; what undoes both goes back over both journals.
    const auto second = [](RegistryStore& store) { (void)store.MakeKey(u"New\\Key\\Below"); };
    ASSERT_EQ(volume.Commit(2, second, kWineText), "");
    const auto back = [](RegistryStore& store) {
        (void)store.DeleteKey(u"New\\Key\\Below");
        ChangeBack(store);
    };
    bool hasPutAllBack = false;
    ASSERT_EQ(volume.Commit(3, back, kWineText, &hasPutAllBack), "");
    EXPECT_TRUE(hasPutAllBack);
    EXPECT_TRUE(volume.Snapshot() == before) << "lengths and logs too";
}

TEST(RegistryCommit, WhatOthersHaveWrittenSinceStays) {
    const Volume volume;
    ASSERT_EQ(volume.Commit(1, Change, kWineChanged), "");
    const auto others = [](RegistryStore& store) { (void)store.MakeKey(u"Others"); };
    ASSERT_EQ(volume.Commit(1000, others, kWineChanged), "") << "without kept journals";
    std::filesystem::remove(volume.Journal(1000));
    bool hasPutAllBack = true;
    ASSERT_EQ(volume.Commit(2, ChangeBack, kWineText, &hasPutAllBack), "");
    EXPECT_FALSE(hasPutAllBack);
    EXPECT_TRUE(volume.Open("SOFTWARE")->EnumKeys(u"Others").IsOk());
    EXPECT_TRUE(volume.Open("SOFTWARE")->QueryValue({}, u"").IsOk());
    EXPECT_TRUE(CheckHive(volume.Open("SOFTWARE")->Content()).empty());
}

TEST(RegistryCommit, AFileThatSomebodyElseWritesMeanwhileIsLeftAlone) {
    const Volume volume;
    const auto store = volume.Open("SOFTWARE");
    Change(*store);
    std::string other = volume.Folder().Read("config/SOFTWARE") + std::string(4096, '\0');
    volume.Folder().Write("config/SOFTWARE", other);
    RegistryCommit commit(volume.Folder().Path(), volume.Journal(1));
    commit.Add(*store);
    const auto error = commit.Run();
    ASSERT_TRUE(error);
    EXPECT_EQ(error->message, "was changed by somebody else");
    EXPECT_TRUE(volume.Folder().Read("config/SOFTWARE") == other);
    EXPECT_FALSE(volume.Folder().Has("Undo/1.registry"));
}

/// The files after the changes of `Change`, from a run that nothing disturbs.
Files FilesAfterChange() {
    const Volume volume;
    EXPECT_EQ(volume.Commit(1, Change, kWineChanged), "");
    return volume.Snapshot();
}

TEST(RegistryCommit, ACrashAtAnyWriteLeavesWhatTheNextRunMends) {
    const Files after = FilesAfterChange();
    int point = 1;
    int finished = 0;
    int rolledBack = 0;
    for (;; ++point) {
        SCOPED_TRACE(point);
        const Volume volume;
        const Files before = volume.Snapshot();
        if (!EndsAt(point, [&] { (void)volume.Commit(1, Change, kWineChanged); })) break;
        // The next run may be ended too.
        (void)EndsAt(1 + point % 7, [&] { (void)volume.Recover(1); });
        if (volume.Folder().Has("Undo/1.registry")) {
            const bool isOpen = !FindUnfinishedJournals(volume.Folder().Path("Undo")).empty();
            const std::string done = volume.Recover(1);
            EXPECT_EQ(done == "nothing", !isOpen) << done;
        }
        const Files now = volume.Snapshot();
        Files known = now;
        std::erase_if(known, [](const auto& file) { return file.first.ends_with("bkfd-new"); });
        EXPECT_TRUE(known == before || known == after);
        (known == after ? finished : rolledBack) += 1;
        EXPECT_TRUE(FindUnfinishedJournals(volume.Folder().Path("Undo")).empty());
        if (HasFailure()) break;
    }
    EXPECT_GT(rolledBack, 20);
    EXPECT_GE(finished, 1);
}

TEST(RegistryCommit, SyncsThatFailLeaveEverythingAsItWas) {
    const Files after = FilesAfterChange();
    constexpr int kSyncs = 18;  // of such a commit
    for (const bool isForGood : {false, true}) {
        bool wasDone = false;
        for (int count = 0; !wasDone && !HasFailure(); ++count) {
            SCOPED_TRACE(count);
            const Volume volume;
            const Files before = volume.Snapshot();
            syncsLeft = count;
            failsForGood = isForGood;
            const std::string error = volume.Commit(1, Change, kWineChanged);
            wasDone = error.empty();
            syncsLeft = -1;
            if (!FindUnfinishedJournals(volume.Folder().Path("Undo")).empty()) {
                EXPECT_THAT(error, HasSubstr("the next start tries to put it back"));
                EXPECT_EQ(volume.Recover(1), "rolled back");
            }
            EXPECT_EQ(wasDone, count >= kSyncs);
            for (const auto& [name, content] : volume.Snapshot()) {
                EXPECT_TRUE((wasDone ? after : before).at(name) == content) << name;
            }
        }
    }
}

TEST(RegistryCommit, AFullDiskLeavesEverythingAsItWas) {
    // For the journal, for the growing of a hive, for nothing.
    for (const rlim_t size : {1000U, 60'000U, 20'000'000U}) {
        SCOPED_TRACE(size);
        const Volume volume;
        const Files before = volume.Snapshot();
        std::string error;
        {
            const FullDisk full(size);
            error = volume.Commit(1, Change, kWineChanged);
        }
        EXPECT_EQ(error.empty(), size > 1'000'000) << error;
        EXPECT_EQ(volume.Snapshot() == before, !error.empty());
        EXPECT_EQ(volume.Folder().Has("Undo/1.registry"), error.empty());
    }
}

TEST(RegistryCommit, WhatAnybodyElseWroteAfterACrashIsNotRolledBack) {
    for (int point = 3; point < 20; ++point) {
        SCOPED_TRACE(point);
        const Volume volume;
        ASSERT_TRUE(EndsAt(point, [&] { (void)volume.Commit(1, Change, kWineChanged); }));
        if (!volume.Folder().Has("Undo/1.registry")) continue;
        // Not only in what the write had come to.
        std::string file = volume.Folder().Read("config/SOFTWARE");
        const std::size_t at = point % 2 == 0 ? 600 : 8000;
        file[at] = static_cast<char>(file[at] ^ 0x5A);
        volume.Folder().Write("config/SOFTWARE", file);
        const Files now = volume.Folder().Snapshot();
        const std::string done = volume.Recover(1);
        EXPECT_THAT(done, HasSubstr("was written to by somebody else"));
        EXPECT_TRUE(volume.Folder().Snapshot() == now) << "the journal too";
    }
}

TEST(RegistryCommit, DamagedJournalsAndThoseThatLeadElsewhereAreErrors) {
    const Volume volume;
    ASSERT_EQ(volume.Commit(1, Change, kWineChanged), "");
    const std::string whole = volume.Folder().Read("Undo/1.registry");
    const Files now = volume.Snapshot();
    for (std::size_t length = 0; length < whole.size(); length += length < 300 ? 1 : 997) {
        volume.Folder().Write("Undo/1.registry", whole.substr(0, length));
        EXPECT_EQ(volume.Recover(1), "is damaged") << length;
    }
    for (std::size_t at = 0; at < 400; ++at) {
        std::string changed = whole;
        changed[at] = static_cast<char>(changed[at] ^ 1);
        volume.Folder().Write("Undo/1.registry", changed);
        EXPECT_EQ(volume.Recover(1), "is damaged") << at;
    }
    volume.Folder().Write("outside", "x");
    for (const char* path :
         {"../x", "/etc/hosts", "config/../outside", "config", "link", "way/x", ""}) {
        std::filesystem::remove(volume.Folder().Path("link"));
        std::filesystem::remove(volume.Folder().Path("way"));
        std::filesystem::create_symlink("outside", volume.Folder().Path("link"));
        std::filesystem::create_symlink("/etc", volume.Folder().Path("way"));
        Journal journal;
        journal.entries.push_back({JournalKind::Whole, path, 1, 1, {}, {}, {}});
        journal.entries[0].pages[0].before = {'y'};
        volume.Folder().Write("Undo/1.registry", AsString(WriteJournal(journal)));
        EXPECT_NE(volume.Recover(1), "rolled back") << path;
        EXPECT_EQ(volume.Folder().Read("outside"), "x");
    }
    EXPECT_TRUE(volume.Snapshot().at("config/SOFTWARE") == now.at("config/SOFTWARE"));
}

}  // namespace
}  // namespace bkfd
