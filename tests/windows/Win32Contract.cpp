// The contract of the seam on Windows itself, inside a scratch key and a scratch folder.
#include <windows.h>

#include <filesystem>

#include "platform/win32/Win32Machine.h"
#include "tests/contract/MachineContract.h"
#include "win32/NativeText.h"

namespace bkfd::contract {
namespace {

class Windows : public MachineUnderTest {
  public:
    Windows()
        : name_(machine_.ComponentObjects().CoCreateGuid()),
          folder_(machine_.System().GetTempPathW() + name_) {
        EXPECT_EQ(machine_.FileSystem().CreateDirectoryW(folder_).code, 0u);
    }
    ~Windows() override {
        DeleteTree(ScratchKey());
        std::error_code ignored;
        std::filesystem::remove_all(std::filesystem::path(folder_), ignored);
    }

    Machine& Get() override { return machine_; }
    Text ScratchKey() override { return u"Software\\Brackenfold contract " + name_; }
    Text ScratchFolder() override { return folder_; }
    Text GiveShortName(const Text& path) override {
        Text name(MAX_PATH, u'\0');
        const DWORD length = ::GetShortPathNameW(Wide(path), Wide(name.data()), MAX_PATH);
        name.resize(length);
        name.erase(0, name.rfind(u'\\') + 1);
        return name.find(u'~') == Text::npos ? Text() : name;
    }
    /// Wine leaves it to the host.
    bool RefusesToWriteReadOnly() override {
        return ::GetProcAddress(::GetModuleHandleA("ntdll.dll"), "wine_get_version") == nullptr;
    }

  private:
    void DeleteTree(const Text& key) {
        Registry& registry = machine_.RegistryKeys();
        for (const Text& below : registry.RegEnumKeyExW(RegistryRoot::CurrentUser, key).value) {
            DeleteTree(key + u"\\" + below);
        }
        (void)registry.RegDeleteKeyW(RegistryRoot::CurrentUser, key);
    }

    Win32Machine machine_;
    Text name_;
    Text folder_;
};

INSTANTIATE_TEST_SUITE_P(Win32, MachineContract,
                         testing::Values(Adapter{"Windows",
                                                 [] { return std::make_unique<Windows>(); }}),
                         AdapterName);

}  // namespace
}  // namespace bkfd::contract
