// Undo on Windows itself, inside a scratch key: the registry editor and a second program.
#include <process.h>
#include <windows.h>

#include <filesystem>
#include <fstream>

#include "base/Utf16Bytes.h"
#include "identity/ApplicationStart.h"
#include "platform/RegistryValues.h"
#include "platform/RootNames.h"
#include "platform/undo/UndoFolder.h"
#include "platform/undo/UndoMachine.h"
#include "platform/win32/Win32Machine.h"
#include "services/MAPI.h"
#include "services/RegistryAccess.h"
#include "tests/contract/MachineContract.h"
#include "undo/TakeBack.h"
#include "undo/UndoExport.h"
#include "undo/UndoRecords.h"
#include "win32/NativeText.h"

namespace bkfd {
namespace {

constexpr TextView kKey = u"Software\\Brackenfold undo";
constexpr TextView kDeep = u"Software\\Brackenfold undo\\Deep\\er";
constexpr TextView kMade = u"Software\\Brackenfold undo\\Made";

class UndoOnWindows : public testing::Test {
  protected:
    UndoOnWindows() {
        InstallMachine(&undo_);
        SetApplicationState();
    }

    static Text Exported() { return RegistryAccess().ExportKey(HKCU, kKey); }

    Win32Machine windows_;
    UndoMachine undo_{windows_, u"1.0.0"};
    Registry& registry_ = undo_.RegistryKeys();
};

/// With a key that is there before and gone afterwards.
class FilledUndo : public UndoOnWindows {
  protected:
    FilledUndo() {
        const RegistryValue values[] = {
            MakeStringValue(u"\u00e9 \"quoted\" C:\\"),
            MakeStringValue(u"%x%\\a", RegistryType::ExpandString),
            {RegistryType::Binary, Bytes(100, 0xAB)},
            {RegistryType::Binary, {}},
            MakeDwordValue(0xFFFFFFFE),
            {RegistryType::MultiString, {'a', 0, 0, 0, 'b', 0, 0, 0, 0, 0}},
            {RegistryType::None, {1, 2}},
            {RegistryType{11}, {1, 2, 3, 4, 5, 6, 7, 8}},
            {RegistryType{0x1234}, {9}},
        };
        for (const RegistryValue& value : values) {
            names_.push_back(u"Value \"" + ToText(static_cast<std::int64_t>(names_.size())));
            (void)windows_.RegistryKeys().RegSetValueExW(HKCU, kKey, names_.back(), value);
        }
        names_.emplace_back();
        for (const TextView key : {kKey, kDeep}) {
            (void)windows_.RegistryKeys().RegSetValueExW(HKCU, key, u"", MakeStringValue(u"it"));
        }
    }
    ~FilledUndo() override {
        (void)RegistryAccess().DeleteKey(HKCU, kKey);
        std::error_code ignored;
        std::filesystem::remove_all(UndoFolderPath(windows_.System()), ignored);
    }

    void Change() {
        for (std::size_t i = 0; i < names_.size(); ++i) {
            const RegistryValue other{RegistryType::Binary, {1}};
            (void)(i % 2 == 0 ? registry_.RegDeleteValueW(HKCU, kKey, names_[i])
                              : registry_.RegSetValueExW(HKCU, kKey, names_[i], other));
        }
        (void)RegistryAccess().DeleteKey(HKCU, u"Software\\Brackenfold undo\\Deep");
        (void)registry_.RegSetValueExW(HKCU, kMade, u"v", MakeDwordValue(1));
    }

    std::vector<Text> names_;
};

TEST_F(FilledUndo, TheRegistryEditorImportsWhatWasThere) {
    const Text before = Exported();
    RecordId id = 0;
    {
        const RecordedOperation operation(UndoOperation::kCleanUp);
        Change();
        id = undo_.Record();
    }
    EXPECT_NE(Exported(), before);

    const Bytes text = ToUtf16Bytes(u"\uFEFF" + ExportBefore(ReadRecord(id)));
    const std::filesystem::path file(windows_.System().GetTempPathW() + u"undo.reg");
    std::ofstream(file, std::ios::binary)
        .write(reinterpret_cast<const char*>(text.data()),
               static_cast<std::streamsize>(text.size()));
    Text editor(MAX_PATH, u'\0');
    editor.resize(::GetWindowsDirectoryW(Wide(editor.data()), MAX_PATH));
    editor += u"\\regedit.exe";
    EXPECT_EQ(::_wspawnl(_P_WAIT, Wide(editor), L"regedit.exe", L"/S", file.c_str(), nullptr), 0);
    std::filesystem::remove(file);
    EXPECT_EQ(Exported(), before);
    const UndoResult result = TakeBack(id);
    EXPECT_TRUE(result.IsWhole());
    EXPECT_EQ(result.Count(UndoStep::Outcome::Done), 0u);
}

TEST_F(FilledUndo, TakesBackAndDoesAgain) {
    const Text before = Exported();
    Text after;
    RecordId id = 0;
    {
        const RecordedOperation operation(UndoOperation::kCleanUp);
        Change();
        after = Exported();
        id = undo_.Record();
    }
    for (const Text& wanted : {before, after}) {
        const UndoResult result = TakeBack(id);
        EXPECT_TRUE(result.IsWhole());
        EXPECT_EQ(Exported(), wanted);
        id = result.record;
    }
}

TEST_F(FilledUndo, ANulInAValuesNameKeepsNoKeyFromGoingAndComingBack) {
    if (!IsWindowsNT()) return;
    constexpr TextView kHidden(u"n\0hidden", 8);
    Registry& keys = windows_.RegistryKeys();
    ASSERT_TRUE(keys.RegSetValueExW(HKCU, kDeep, kHidden, MakeDwordValue(7)).IsOk());
    const Text before = Exported();
    EXPECT_NE(before.find(u"No export can name"), Text::npos);
    RecordId id = 0;
    {
        const RecordedOperation operation(UndoOperation::kCleanUp);
        EXPECT_TRUE(RegistryAccess().DeleteKey(HKCU, kDeep));
        id = undo_.Record();
    }
    EXPECT_TRUE(keys.RegEnumValueW(HKCU, kDeep).IsNotThere());
    EXPECT_TRUE(TakeBack(id).IsWhole());
    EXPECT_EQ(Exported(), before);
    EXPECT_EQ(keys.RegQueryValueExW(HKCU, kDeep, kHidden).value, MakeDwordValue(7));
}

/// The second program: runs while the first one is in an operation.
TEST_F(UndoOnWindows, DISABLED_ASecondProgramIsRefused) {
    const RegistryValue value = MakeDwordValue(2);
    EXPECT_EQ(registry_.RegSetValueExW(HKCU, kKey, u"second", value).code,
              SystemError::SharingViolation);
    EXPECT_TRUE(registry_.RegQueryValueExW(HKCU, kKey, u"second").IsNotThere());
    EXPECT_EQ(undo_.Failure().code, SystemError::SharingViolation);
}

TEST_F(FilledUndo, ASecondProgramMeanwhileChangesNothing) {
    const RecordedOperation operation(UndoOperation::kCleanUp);
    Change();
    const Text program = windows_.System().GetModuleFileNameW();
    EXPECT_EQ(::_wspawnl(_P_WAIT, Wide(program.c_str()), L"contract_win32",
                         L"--gtest_filter=*DISABLED_ASecondProgramIsRefused",
                         L"--gtest_also_run_disabled_tests", nullptr),
              0);
}

}  // namespace
}  // namespace bkfd
