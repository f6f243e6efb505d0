#include "tests/contract/MachineContract.h"

namespace bkfd::contract {

void MachineContract::WriteNew(TextView path, std::string_view content) {
    auto file = files_.CreateFileW(path, FileMode::CreateNew);
    ASSERT_EQ(file.code, 0u) << ToUtf8(path);
    const Bytes bytes(content.begin(), content.end());
    ASSERT_EQ(file.value->WriteFile(bytes).code, 0u);
    ASSERT_EQ(file.value->FlushFileBuffers().code, 0u);
}

std::string MachineContract::Content(TextView path) {
    auto file = files_.CreateFileW(path, FileMode::Read);
    if (!file.IsOk()) return "error " + std::to_string(file.code);
    const auto size = file.value->GetFileSize();
    EXPECT_EQ(size.code, 0u);
    Bytes bytes(static_cast<std::size_t>(size.value) + 10);
    const auto count = file.value->ReadFile(0, bytes);
    EXPECT_EQ(count.code, 0u);
    EXPECT_EQ(count.value, size.value);
    return {bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(count.value)};
}

namespace {

TEST_P(MachineContract, FilesAreMadeReadAndAppendedTo) {
    EXPECT_EQ(files_.CreateFileW(In(u"a.txt"), FileMode::Read).code, SystemError::FileNotFound);
    EXPECT_EQ(files_.CreateFileW(In(u"no\\a.txt"), FileMode::Read).code, SystemError::PathNotFound);
    EXPECT_EQ(files_.CreateFileW(In(u"no\\a.txt"), FileMode::CreateNew).code,
              SystemError::PathNotFound);
    WriteNew(In(u"a.txt"), "0123456789");
    EXPECT_EQ(Content(In(u"A.TXT")), "0123456789");
    EXPECT_EQ(files_.CreateFileW(In(u"A.txt"), FileMode::CreateNew).code, SystemError::FileExists);

    for (const char* more : {"ab", "cd"}) {
        auto file = files_.CreateFileW(In(u"a.txt"), FileMode::Append);
        ASSERT_EQ(file.code, 0u);
        const Bytes bytes(more, more + 2);
        EXPECT_EQ(file.value->WriteFile(bytes).code, 0u);
    }
    EXPECT_EQ(Content(In(u"a.txt")), "0123456789abcd");
    { EXPECT_EQ(files_.CreateFileW(In(u"new.log"), FileMode::Append).code, 0u); }
    EXPECT_EQ(Content(In(u"new.log")), "");
}

TEST_P(MachineContract, ReadingGoesByOffset) {
    WriteNew(In(u"a.bin"), "0123456789");
    auto file = files_.CreateFileW(In(u"a.bin"), FileMode::Read);
    ASSERT_EQ(file.code, 0u);
    Bytes four(4);
    EXPECT_EQ(file.value->ReadFile(3, four).value, 4u);
    EXPECT_EQ(four, Bytes({'3', '4', '5', '6'}));
    EXPECT_EQ(file.value->ReadFile(8, four).value, 2u);
    EXPECT_EQ(four[0], '8');
    for (const std::uint64_t behind : {std::uint64_t{10}, std::uint64_t{1} << 33}) {
        const auto count = file.value->ReadFile(behind, four);
        EXPECT_EQ(count.code, 0u);
        EXPECT_EQ(count.value, 0u);
    }
}

TEST_P(MachineContract, AttributesTellWhatIsThere) {
    WriteNew(In(u"a.txt"), "x");
    const auto code = [&](TextView path) { return files_.GetFileAttributesW(path).code; };
    EXPECT_EQ(code(In(u"b.txt")), SystemError::FileNotFound);
    EXPECT_EQ(code(In(u"no\\b.txt")), SystemError::PathNotFound);
    EXPECT_EQ(files_.SetFileAttributesW(In(u"b.txt"), 32).code, SystemError::FileNotFound);
    EXPECT_EQ(files_.GetFileAttributesW(under_->ScratchFolder()).value & FileAttribute::Directory,
              FileAttribute::Directory);
    EXPECT_EQ(files_.GetFileAttributesW(In(u"a.txt")).value & FileAttribute::Directory, 0u);

    ASSERT_EQ(files_.SetFileAttributesW(In(u"A.TXT"), FileAttribute::ReadOnly).code, 0u);
    EXPECT_EQ(files_.GetFileAttributesW(In(u"a.txt")).value & FileAttribute::ReadOnly,
              FileAttribute::ReadOnly);
    EXPECT_EQ(files_.DeleteFileW(In(u"a.txt")).code, SystemError::AccessDenied);
    if (under_->RefusesToWriteReadOnly()) {
        EXPECT_EQ(files_.CreateFileW(In(u"a.txt"), FileMode::Append).code,
                  SystemError::AccessDenied);
    }
    ASSERT_EQ(files_.SetFileAttributesA(Ansi(In(u"a.txt")), FileAttribute::Archive).code, 0u);
    EXPECT_EQ(files_.GetFileAttributesW(In(u"a.txt")).value, FileAttribute::Archive);
    EXPECT_EQ(files_.DeleteFileA(Ansi(In(u"a.txt"))).code, 0u);
    EXPECT_EQ(code(In(u"a.txt")), SystemError::FileNotFound);
    EXPECT_EQ(files_.DeleteFileW(In(u"a.txt")).code, SystemError::FileNotFound);
    EXPECT_EQ(files_.DeleteFileW(under_->ScratchFolder()).code, SystemError::AccessDenied);
}

TEST_P(MachineContract, MovesKeepContentAndAttributesAndRefuseTargets) {
    WriteNew(In(u"one"), "1");
    WriteNew(In(u"two"), "2");
    EXPECT_EQ(files_.MoveFileW(In(u"one"), In(u"TWO")).code, SystemError::AlreadyExists);
    EXPECT_EQ(files_.MoveFileA(Ansi(In(u"one")), Ansi(In(u"two"))).code,
              SystemError::AlreadyExists);
    EXPECT_EQ(files_.MoveFileW(In(u"none"), In(u"three")).code, SystemError::FileNotFound);
    EXPECT_EQ(files_.MoveFileW(In(u"no\\one"), In(u"three")).code, SystemError::PathNotFound);
    EXPECT_EQ(files_.MoveFileW(In(u"one"), In(u"no\\three")).code, SystemError::PathNotFound);
    EXPECT_EQ(Content(In(u"one")) + Content(In(u"two")), "12");

    EXPECT_EQ(files_.MoveFileW(In(u"one"), In(u"three.x.y")).code, 0u);
    EXPECT_EQ(Content(In(u"one")), "error 2");
    EXPECT_EQ(Content(In(u"three.x.y")), "1");
    EXPECT_EQ(files_.MoveFileA(Ansi(In(u"three.x.y")), Ansi(In(u"one"))).code, 0u);
    WriteNew(In(u"three.x.y"), "3");
    EXPECT_EQ(Content(In(u"one")), "1");
    EXPECT_EQ(files_.MoveFileExW(In(u"three.x.y"), In(u"ONE")).code, 0u);
    EXPECT_EQ(Content(In(u"one")), "3");
    EXPECT_EQ(Content(In(u"three.x.y")), "error 2");
    EXPECT_EQ(files_.MoveFileExW(In(u"one"), In(u"four")).code, 0u);
    EXPECT_EQ(Content(In(u"four")), "3");

    ASSERT_EQ(files_.SetFileAttributesW(In(u"four"), FileAttribute::Hidden).code, 0u);
    ASSERT_EQ(files_.MoveFileW(In(u"four"), In(u"five")).code, 0u);
    WriteNew(In(u"four"), "4");
    for (const TextView name : {u"four", u"five"}) {
        EXPECT_EQ((files_.GetFileAttributesW(In(name)).value & FileAttribute::Hidden) != 0,
                  name == u"five");
    }
}

TEST_P(MachineContract, FoldersAreMadeOnce) {
    EXPECT_EQ(files_.CreateDirectoryW(In(u"sub")).code, 0u);
    EXPECT_EQ(files_.CreateDirectoryW(In(u"SUB")).code, SystemError::AlreadyExists);
    EXPECT_EQ(files_.CreateDirectoryW(In(u"no\\sub")).code, SystemError::PathNotFound);
    WriteNew(In(u"sub\\a.txt"), "in");
    EXPECT_EQ(Content(In(u"Sub\\A.txt")), "in");
    EXPECT_EQ(files_.MoveFileW(In(u"sub\\a.txt"), In(u"a.txt")).code, 0u);
    EXPECT_EQ(Content(In(u"sub\\..\\a.txt")), "in");
}

TEST_P(MachineContract, OddNamesAreNames) {
    const TextView names[] = {u"with blank and, comma.x", u"\u00E4\u00D6.dll", u"a.b.c.d",
                              u"~$tilde~1.tmp",           u"#%'@!.exe",        u".hidden"};
    for (const TextView name : names) {
        SCOPED_TRACE(ToUtf8(name));
        WriteNew(In(name), "x");
        EXPECT_EQ(Content(ToLower(In(name))), "x");
        EXPECT_EQ(files_.MoveFileW(In(name), In(u"moved")).code, 0u);
        EXPECT_EQ(files_.DeleteFileW(In(u"moved")).code, 0u);
    }
}

TEST_P(MachineContract, PathsEndAtTheirFirstNul) {
    WriteNew(In(u"a"), "x");
    const Text path = In(u"a") + Text(1, u'\0') + u"rest";
    EXPECT_EQ(files_.GetFileAttributesW(path).code, 0u);
    EXPECT_EQ(Content(path), "x");
}

TEST_P(MachineContract, SearchesFindNamesAndPatterns) {
    WriteNew(In(u"LongName.ext"), "12345");
    FindData data;
    for (const TextView pattern : {u"longname.EXT", u"long*", u"*.ext", u"l?ngname.ext"}) {
        SCOPED_TRACE(ToUtf8(pattern));
        const Handle search = files_.FindFirstFileA(Ansi(In(pattern)), data);
        ASSERT_NE(search, kInvalidHandle);
        EXPECT_EQ(data.name, u"LongName.ext");
        EXPECT_EQ(data.sizeLow, 5u);
        EXPECT_EQ(data.sizeHigh, 0u);
        EXPECT_EQ(files_.FindClose(search).code, 0u);
    }
    for (const TextView pattern : {u"none", u"*.none", u"no\\*"}) {
        EXPECT_EQ(files_.FindFirstFileA(Ansi(In(pattern)), data), kInvalidHandle);
    }
    const Handle folder = files_.FindFirstFileA(Ansi(under_->ScratchFolder()), data);
    ASSERT_NE(folder, kInvalidHandle);
    EXPECT_NE(data.attributes & FileAttribute::Directory, 0u);
    EXPECT_EQ(files_.FindClose(folder).code, 0u);
}

TEST_P(MachineContract, SearchPathDeliversNameAndFilePart) {
    const Text path = In(u"program.exe");
    WriteNew(path, "x");
    Text buffer(2000, u' ');
    auto found = files_.SearchPathW(path, buffer);
    ASSERT_EQ(found.count, path.size());
    EXPECT_EQ(buffer.substr(0, found.count), path);
    EXPECT_EQ(buffer[found.count], u'\0');
    EXPECT_EQ(reinterpret_cast<const char16_t*>(found.filePart), buffer.data() + path.size() - 11);

    std::string ansi(2000, ' ');
    found = files_.SearchPathA(Ansi(path), ansi);
    ASSERT_EQ(found.count, path.size());
    EXPECT_EQ(reinterpret_cast<const char*>(found.filePart), ansi.data() + path.size() - 11);

    EXPECT_EQ(files_.SearchPathW(path, std::span(buffer).first(path.size() + 1)).count,
              path.size());
    EXPECT_EQ(files_.SearchPathW(path, std::span(buffer).first(path.size())).count,
              path.size() + 1);
    EXPECT_EQ(files_.SearchPathW(In(u"none.exe"), buffer).count, 0u);
    EXPECT_EQ(files_.SearchPathW(u"surely-not-there.exe", buffer).count, 0u);
    EXPECT_EQ(files_.SearchPathW(under_->ScratchFolder(), buffer).count,
              under_->ScratchFolder().size());
}

TEST_P(MachineContract, BareNamesAreSearchedInTheWindowsFolder) {
    const Text name = IsNT() ? u"system32" : u"system";
    const Text windows = system_.ExpandEnvironmentStringsW(u"%windir%");
    Text buffer(2000, u' ');
    const auto found = files_.SearchPathW(name, buffer);
    EXPECT_TRUE(EqualsIgnoreCase(buffer.substr(0, found.count), windows + u"\\" + name));
}

TEST_P(MachineContract, LongNamesNeedTheFile) {
    const Text path = In(u"A long name.exe");
    WriteNew(path, "x");
    Text buffer(2000, u' ');
    ASSERT_EQ(files_.GetLongPathNameW(path, buffer), path.size());
    EXPECT_EQ(buffer.substr(0, path.size()), path);
    EXPECT_EQ(files_.GetLongPathNameW(path + Text(1, u'\0') + u"rest", buffer), path.size());
    EXPECT_EQ(files_.GetLongPathNameW(path, std::span(buffer).first(5)), path.size() + 1);
    EXPECT_EQ(files_.GetLongPathNameW(In(u"none"), buffer), 0u);
    const Text shortName = under_->GiveShortName(path);
    if (shortName.empty()) return;
    EXPECT_EQ(Content(In(shortName)), "x");
    ASSERT_EQ(files_.GetLongPathNameW(In(shortName), buffer), path.size());
    EXPECT_EQ(buffer.substr(0, path.size()), path);
}

}  // namespace
}  // namespace bkfd::contract
