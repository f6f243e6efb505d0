#include <gmock/gmock.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "cli/CliFixture.h"
#include "common/SmallVolume.h"

// Volumes and prefixes on which something is odd, hostile, torn or can't be read.
namespace bkfd {
namespace {

namespace fs = std::filesystem;
using VolumeForm = SmallVolume::Form;
using testing::HasSubstr;

/// As long as it lives, nothing can be done that takes root.
class AsNobody {
  public:
    AsNobody() : before_(geteuid()) {
        if (before_ == 0) EXPECT_EQ(seteuid(65534), 0);
    }
    ~AsNobody() {
        if (before_ == 0) EXPECT_EQ(seteuid(before_), 0);
    }
    AsNobody(const AsNobody&) = delete;
    AsNobody& operator=(const AsNobody&) = delete;

  private:
    uid_t before_;
};

void Link(const SmallVolume& volume, const std::string& name, const std::string& target) {
    fs::remove_all(volume.Path(name));
    fs::create_symlink(target, volume.Path(name));
}

void MakePipe(const SmallVolume& volume, const std::string& name) {
    fs::remove(volume.Path(name));
    EXPECT_EQ(mkfifo(volume.Path(name).c_str(), 0666), 0);
}

/// Moves it out of the volume and puts a link in its place.
void MoveOut(const SmallVolume& volume, const HostFolder& outside, const std::string& name) {
    const std::string target = outside.Path(fs::path(name).filename());
    fs::rename(volume.Path(name), target);
    Link(volume, name, target);
}

void Protect(const SmallVolume& volume, const std::string& name) {
    fs::permissions(volume.Path(name), fs::perms::none);
}

/// A drive that the machine has as E:, by what it keeps of it, and a program there that starts.
void NameDrive(const SmallVolume& volume, const Bytes& device) {
    const auto machine = volume.Load();
    const Text run = u"Software\\Microsoft\\Windows\\CurrentVersion\\Run";
    auto& roots = machine->Roots();
    EXPECT_TRUE(roots
                    .SetValue(RegistryRoot::LocalMachine, u"System\\MountedDevices",
                              u"\\DosDevices\\E:", {RegistryType::Binary, device})
                    .IsOk());
    EXPECT_TRUE(roots.SetValue(RegistryRoot::LocalMachine, run, u"x", MakeStringValue(u"E:\\x.exe"))
                    .IsOk());
    EXPECT_FALSE(machine->Commit(0));
}

void SetProfile(const SmallVolume& volume, TextView path) {
    const auto machine = volume.Load();
    const auto value = MakeStringValue(path);
    EXPECT_TRUE(machine->Roots()
                    .SetValue(RegistryRoot::LocalMachine,
                              u"Software\\Microsoft\\Windows NT\\CurrentVersion\\ProfileList\\"
                              u"S-1-5-21-1-2-3-1001",
                              u"ProfileImagePath", value)
                    .IsOk());
    EXPECT_FALSE(machine->Commit(0));
}

const std::string kConfig = "WINDOWS/system32/config/";
const std::string kUserHive = "Kit/NTUSER.DAT";

TEST(OddVolume, EachOddityIsToldByNameAndNothingIsWritten) {
    const HostFolder outside;
    fs::permissions(outside.Path(), fs::perms(0755));
    const struct {
        const char* what;
        VolumeForm form;
        std::function<void(const SmallVolume&)> prepare;
        int code;
        const char* told;  // on exactly one line
    } rows[] = {
        {"nothing odd", VolumeForm::Hives, [](const auto&) {}, 0, ""},
        {"Windows lies outside", VolumeForm::Hives,
         [&](const auto& v) { MoveOut(v, outside, "WINDOWS"); }, 2, "/WINDOWS leads out of"},
        {"a hive lies outside", VolumeForm::Hives,
         [&](const auto& v) { MoveOut(v, outside, kConfig + "SOFTWARE"); }, 2,
         "SOFTWARE leads out of"},
        {"a hive is a link to itself", VolumeForm::Hives,
         [](const auto& v) { Link(v, kConfig + "SOFTWARE", "SOFTWARE"); }, 2,
         "SOFTWARE is a link in a circle"},
        {"the other hive is", VolumeForm::Hives,
         [](const auto& v) { Link(v, kConfig + "SYSTEM", "SYSTEM"); }, 2,
         "SYSTEM can't be reached"},
        {"a hive's link is broken", VolumeForm::Hives,
         [](const auto& v) { Link(v, kConfig + "SOFTWARE", "gone"); }, 2,
         "SOFTWARE is a link that leads nowhere"},
        {"a hive is a folder", VolumeForm::Hives,
         [](const auto& v) {
             fs::remove(v.Path(kConfig + "SOFTWARE"));
             fs::create_directory(v.Path(kConfig + "SOFTWARE"));
         },
         2, "SOFTWARE is no file"},
        {"Windows is a circle", VolumeForm::Hives,
         [](const auto& v) { Link(v, "WINDOWS", "WINDOWS"); }, 2, "/WINDOWS is a link in a circle"},
        {"the system folder is unreadable", VolumeForm::Hives,
         [](const auto& v) { Protect(v, "WINDOWS/system32"); }, 2,
         "can't be read: Permission denied"},
        {"a hive is a device", VolumeForm::Hives,
         [](const auto& v) { Link(v, kConfig + "SYSTEM", "/dev/zero"); }, 2, "SYSTEM leads out of"},
        {"a hive is a pipe", VolumeForm::Hives,
         [](const auto& v) { MakePipe(v, kConfig + "SYSTEM"); }, 2, "SYSTEM is no regular file"},
        {"a hive is empty", VolumeForm::Hives,
         [](const auto& v) { v.Write(kConfig + "SOFTWARE", ""); }, 2, "config/SOFTWARE"},
        {"a hive is unreadable", VolumeForm::Hives,
         [](const auto& v) { Protect(v, kConfig + "SOFTWARE"); }, 2, "SOFTWARE Permission denied"},
        {"a user's hive is a device", VolumeForm::Hives,
         [](const auto& v) { Link(v, kUserHive, "/dev/zero"); }, 3, "NTUSER.DAT  can't be reached"},
        {"a user's hive is a pipe", VolumeForm::Hives,
         [](const auto& v) { MakePipe(v, kUserHive); }, 3, "NTUSER.DAT  isn't there"},
        {"a user's hive is cut", VolumeForm::Hives,
         [](const auto& v) { fs::resize_file(v.Path(kUserHive), 4200); }, 3, "NTUSER.DAT"},
        {"a user's hive is unreadable", VolumeForm::Hives,
         [](const auto& v) { Protect(v, kUserHive); }, 3, "NTUSER.DAT  Permission denied"},
        {"a profile is unreadable", VolumeForm::Hives, [](const auto& v) { Protect(v, "Kit"); }, 3,
         "NTUSER.DAT  can't be reached"},
        {"a profile is a circle", VolumeForm::Hives, [](const auto& v) { Link(v, "Kit", "Kit"); },
         3, "NTUSER.DAT  isn't there"},
        {"a profile is on another drive", VolumeForm::Hives,
         [](const auto& v) { SetProfile(v, u"E:\\Kit"); }, 3, "E:\\Kit\\NTUSER.DAT  isn't there"},
        {"a program is on another disk", VolumeForm::Hives,
         [](const auto& v) { NameDrive(v, Bytes(12)); }, 3, "--drive E=FOLDER"},
        {"a program is on another disk with a table of GUIDs", VolumeForm::Hives,
         [](const auto& v) {
             NameDrive(v, {'D', 'M', 'I', 'O', ':', 'I', 'D', ':', 1, 2});
         },
         3, "--drive E=FOLDER"},
        {"a program is on a medium", VolumeForm::Hives,
         [](const auto& v) {
             NameDrive(v, {'\\', 0, '?', 0, '?', 0, '\\', 0});
         },
         0, ""},
        {"a prefix's program is outside", VolumeForm::Wine,
         [&](const auto& v) {
             NameDrive(v, {});
             fs::create_directory(v.Path("dosdevices"));
             Link(v, "dosdevices/e:", outside.Path());
         },
         3, "--drive E=FOLDER"},
        {"a profile has no path", VolumeForm::Hives,
         [](const auto& v) { SetProfile(v, u"\\\\.\\pipe\\x"); }, 3, "NTUSER.DAT  isn't there"},
        {"a prefix's file lies outside", VolumeForm::Wine,
         [&](const auto& v) { MoveOut(v, outside, "user.reg"); }, 2, "user.reg leads out of"},
        {"a prefix's file is a pipe", VolumeForm::Wine,
         [](const auto& v) { MakePipe(v, "user.reg"); }, 2, "user.reg can't be read"},
        {"a prefix's file is empty", VolumeForm::Wine,
         [](const auto& v) { v.Write("user.reg", ""); }, 2, "user.reg is no registry text"},
        {"a prefix's link is broken", VolumeForm::Wine,
         [](const auto& v) { Link(v, "system.reg", "gone"); }, 2,
         "system.reg is a link that leads"},
        {"a prefix has no default user", VolumeForm::Wine,
         [](const auto& v) { fs::remove(v.Path("userdef.reg")); }, 0, ""},
        {"a prefix's default user is a pipe", VolumeForm::Wine,
         [](const auto& v) { MakePipe(v, "userdef.reg"); }, 3, "userdef.reg  can't be read"},
        {"a prefix's file has lines of something else", VolumeForm::Wine,
         [](const auto& v) { v.Write("user.reg", v.Read("user.reg") + "\"x\"=hex:zz\n"); }, 3,
         "user.reg  line "},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        const SmallVolume volume(row.form, false);
        fs::permissions(volume.Path(), fs::perms(0755));
        row.prepare(volume);
        const auto before = volume.Others();
        CliRun run;
        {
            const AsNobody nobody;
            run = RunOn(volume, {"scan"});
        }
        EXPECT_EQ(run.code, row.code) << run.out << run.err;
        const std::string told = run.out + run.err;
        EXPECT_THAT(told, HasSubstr(row.told));
        const std::size_t first = told.find(row.told);
        EXPECT_TRUE(*row.told == 0 || told.find(row.told, first + 1) == std::string::npos);
        EXPECT_TRUE(volume.Others() == before);
    }
}

TEST(OddVolume, WhatCannotBeReadIsNotCleanedUpButByName) {
    const SmallVolume volume(VolumeForm::Hives);
    Protect(volume, "WINDOWS/bho.dll");
    if (geteuid() == 0) {
        const std::string command = "chown -R 65534 '" + volume.Path() + "'";
        ASSERT_EQ(std::system(command.c_str()), 0);
    }
    const AsNobody nobody;
    EXPECT_THAT(RunOn(volume, {"scan"}).out, HasSubstr("1 file could not be read"));
    for (const char* how : {"--yes", "--dry-run"}) {
        const CliRun run = RunOn(volume, {"clean", how});
        EXPECT_EQ(run.code, 2);
        EXPECT_THAT(run.err, HasSubstr("nothing was changed: C:\\WINDOWS\\bho.dll"));
        EXPECT_EQ(volume.Read("WINDOWS/bad.exe"), "MZbad.exe");
    }
    EXPECT_EQ(RunOn(volume, {"disable", "--yes", "C:\\WINDOWS\\bho.dll"}).code, 0);
    EXPECT_EQ(RunOn(volume, {"clean", "--yes"}).code, 0);
    EXPECT_EQ(RunOn(volume, {"scan"}).code, 0);
}

TEST(OddVolume, NoCutHiveIsCalledClean) {
    const SmallVolume volume(VolumeForm::Hives);
    for (const std::string& hive : {kConfig + "SOFTWARE", kConfig + "SYSTEM", kUserHive}) {
        const std::string whole = volume.Read(hive);
        for (std::size_t length = 0; length < whole.size(); length += 509) {
            SCOPED_TRACE(hive + ' ' + std::to_string(length));
            volume.Write(hive, whole.substr(0, length));
            const CliRun run = RunOn(volume, {"scan"});
            EXPECT_NE(run.code, 0) << run.out;
            EXPECT_THAT(run.out + run.err, HasSubstr(fs::path(hive).filename().string()));
        }
        volume.Write(hive, whole);
    }
}

TEST(OddVolume, ADiskThatFailsWhileItIsReadIsTold) {
    const SmallVolume volume(VolumeForm::Hives);
    const auto machine = volume.Load(false);
    EXPECT_TRUE(machine->Problems().empty());
    ASSERT_EQ(truncate(volume.Path(kUserHive).c_str(), 100), 0);
    (void)machine->Roots().EnumKeys(RegistryRoot::CurrentUser, u"Software\\Microsoft");
    ASSERT_EQ(machine->Problems().size(), 1U);
    EXPECT_THAT(machine->Problems()[0].what, HasSubstr("the disk doesn't give"));
}

/// Runs the command line in a process that ends when it is to write the first page of a hive for
/// the last time.
void RunUntilWrite(const SmallVolume& volume, const Strings& arguments) {
    const pid_t child = fork();
    if (child == 0) {
        SetWritePointHook([](const char* step) {
            if (std::string_view(step) == "first page") _exit(7);
        });
        (void)RunOn(volume, arguments);
        _exit(0);
    }
    int status = 0;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(WEXITSTATUS(status), 7);
}

TEST(OddVolume, AWriteThatBrokeOffIsReadThroughAndThenPutBack) {
    const Strings places[] = {{}, {"--program-folder", "C:\\Deep\\In\\Own"}};
    for (const Strings& place : places) {
        const SmallVolume volume(VolumeForm::Hives);
        const std::string scanned = RunOn(volume, {"--json", "scan"}).out;
        const std::string hive = volume.Read(kConfig + "SOFTWARE");
        const auto with = [&](Strings arguments) {
            arguments.insert(arguments.begin(), place.begin(), place.end());
            return arguments;
        };
        RunUntilWrite(volume, with({"clean", "--yes"}));
        EXPECT_NE(volume.Read(kConfig + "SOFTWARE"), hive);
        // Where the hive can't be read at all, the journal is found all the same.
        const auto torn = volume.Snapshot();
        const CliRun read = RunOn(volume, with({"--json", "settings"}));
        EXPECT_EQ(read.code, 0) << read.err;
        EXPECT_THAT(read.err, HasSubstr("a write of the registry broke off; it is read as it was"));
        EXPECT_TRUE(volume.Snapshot() == torn);
        const CliRun undone = RunOn(volume, with({"undo", "last", "--yes"}));
        EXPECT_EQ(undone.code, 0) << undone.err;
        EXPECT_THAT(undone.err, HasSubstr("broke off; what it held before is back"));
        EXPECT_TRUE(volume.Read(kConfig + "SOFTWARE") == hive);
        EXPECT_EQ(RunOn(volume, {"--json", "scan"}).out, scanned);
    }
}

TEST(OddVolume, APrefixWhoseDriveLiesElsewhereIsCleanedAndUndone) {
    const SmallVolume volume(VolumeForm::Wine);
    const HostFolder elsewhere;
    fs::create_directories(volume.Path("drive_c/users/kit"));
    MoveOut(volume, elsewhere, "drive_c");
    const auto files = [&] {
        auto all = volume.Snapshot();
        all.merge(elsewhere.Snapshot());
        std::erase_if(all, [](const auto& file) {
            return file.first.find("Program Files") != std::string::npos;
        });
        return all;
    };
    const auto before = files();
    EXPECT_EQ(RunOn(volume, {"clean", "--yes"}).code, 0);
    EXPECT_EQ(RunOn(volume, {"scan"}).code, 0);
    EXPECT_EQ(RunOn(volume, {"undo", "last", "--yes"}).code, 0);
    EXPECT_TRUE(files() == before);
}

TEST(OddVolume, TheProgramsFolderIsOneOfThatWindows) {
    const SmallVolume volume(VolumeForm::Hives);
    const auto before = volume.Snapshot();
    for (const char* folder : {"C:", "C:\\", "C:\\a\\..", "a", "/tmp", "C:\\a|b", "\\\\a\\b"}) {
        const CliRun run = RunOn(volume, {"--program-folder", folder, "clean", "--yes"});
        EXPECT_EQ(run.code, 2) << folder;
        EXPECT_THAT(run.err, HasSubstr("--program-folder takes a folder")) << folder;
    }
    EXPECT_TRUE(volume.Snapshot() == before);
    EXPECT_EQ(RunOn(volume, {"--program-folder", "C:/Own/", "clean", "--yes"}).code, 0);
    EXPECT_TRUE(volume.Has("Own/Undo/0001.undo"));
    EXPECT_FALSE(volume.Has("Own/Undo/0002.undo"));
}

TEST(OddVolume, ForgettingARecordRemovesWhatItsHivesHeld) {
    const SmallVolume volume(VolumeForm::Hives);
    const std::string own = "Program Files/Brackenfold/Undo/";
    EXPECT_EQ(RunOn(volume, {"clean", "--yes"}).code, 0);
    EXPECT_EQ(RunOn(volume, {"undo", "1", "--yes"}).code, 0);
    EXPECT_TRUE(volume.Has(own + "0001-1.registry"));
    EXPECT_TRUE(volume.Has(own + "0002-1.registry"));
    EXPECT_EQ(RunOn(volume, {"undo", "--forget", "1", "--yes"}).code, 0);
    EXPECT_FALSE(volume.Has(own + "0001-1.registry"));
    EXPECT_TRUE(volume.Has(own + "0002-1.registry"));
}

}  // namespace
}  // namespace bkfd
