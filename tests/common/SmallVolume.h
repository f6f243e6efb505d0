#pragma once

#include <stdexcept>

#include "common/ExampleMachine.h"
#include "formats/WineRegWriter.h"
#include "platform/RegistryValues.h"
#include "platform/RootNames.h"
#include "platform/model/RegistryTree.h"
#include "platform/volume/VolumeMachine.h"
#include "testing/HiveMaker.h"

namespace bkfd {

/// A Windows that is as small as it can be, hijacked or not: on a volume with hives or in a Wine
/// prefix.
class SmallVolume : public HostFolder {
  public:
    enum class Form { Hives, Wine };

    explicit SmallVolume(Form form, bool isHijacked = true) {
        const RegistryTree tree = Registry(isHijacked);
        const RegistryKey& machine = tree.Root(RegistryRoot::LocalMachine);
        const RegistryKey& user = tree.Root(RegistryRoot::CurrentUser);
        const std::string drive = form == Form::Wine ? "drive_c/" : "";
        for (const char* file : {"bad.exe", "bho.dll", "explorer.exe"}) {
            Write(drive + "WINDOWS/" + file, std::string("MZ") + file);
        }
        if (form == Form::Wine) {
            Write("system.reg", TextOf(machine));
            Write("user.reg", TextOf(user));
            Write("userdef.reg", TextOf(RegistryKey({})));
        } else {
            WriteHive("WINDOWS/system32/config/SOFTWARE", *machine.Find(u"Software"));
            WriteHive("WINDOWS/system32/config/SYSTEM", *machine.Find(u"System"));
            WriteHive("Kit/NTUSER.DAT", user);
        }
    }
    explicit SmallVolume(const ImageFolder& from) {
        std::filesystem::copy(from.path, Path(), std::filesystem::copy_options::recursive);
    }

    std::unique_ptr<VolumeMachine> Load(bool mayChange = true) const {
        const auto found = FindWindows(Path(), "");
        if (const auto* error = std::get_if<VolumeError>(&found)) {
            throw std::runtime_error(error->message);
        }
        VolumeOptions options;
        options.mayChange = mayChange;
        auto loaded = LoadVolume(std::get<FoundWindows>(found), options);
        if (const auto* error = std::get_if<VolumeError>(&loaded)) {
            throw std::runtime_error(error->message);
        }
        return std::move(std::get<std::unique_ptr<VolumeMachine>>(loaded));
    }

    /// All files but those in the program's own folder.
    std::map<std::string, std::string> Others() const {
        auto files = Snapshot();
        std::erase_if(files, [](const auto& file) {
            return file.first.find("Program Files/Brackenfold/") != std::string::npos;
        });
        return files;
    }

  private:
    static RegistryTree Registry(bool isHijacked) {
        constexpr struct {
            RegistryRoot root;
            TextView key;
            TextView name;
            TextView text;
            bool isHijack = false;
        } kRows[] = {
            {HKLM, u"Software\\Microsoft\\Windows NT\\CurrentVersion", u"SystemRoot",
             u"C:\\WINDOWS"},
            {HKLM,
             u"Software\\Microsoft\\Windows NT\\CurrentVersion\\ProfileList\\"
             u"S-1-5-21-1-2-3-1001",
             u"ProfileImagePath", u"C:\\Kit"},
            {HKLM, u"Software\\Microsoft\\Windows\\CurrentVersion\\Run", u"bad",
             u"C:\\WINDOWS\\bad.exe", true},
            {HKLM,
             u"Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\Browser Helper Objects\\"
             u"{00000000-0000-0000-0000-00000000BAD0}",
             u"", u"bad", true},
            {HKLM,
             u"Software\\Classes\\CLSID\\{00000000-0000-0000-0000-00000000BAD0}\\InprocServer32",
             u"", u"C:\\WINDOWS\\bho.dll", true},
            {HKLM, u"System\\ControlSet001\\Control\\Nls\\CodePage", u"ACP", u"1252"},
            {HKCU, u"Software\\Microsoft\\Internet Explorer\\Main", u"Start Page",
             u"http://hijacked/"},
        };
        RegistryTree tree;
        for (const auto& row : kRows) {
            if (row.isHijack && !isHijacked) continue;
            tree.Root(row.root).Make(row.key).values.Set(row.name, MakeStringValue(row.text));
        }
        tree.Root(RegistryRoot::LocalMachine)
            .Make(u"System\\Select")
            .values.Set(u"Current", MakeDwordValue(1));
        return tree;
    }

    static HiveMakerKey ToMake(const RegistryKey& key) {
        HiveMakerKey made{key.name.empty() ? Text(u"ROOT") : key.name};
        for (const auto& [name, value] : key.values) {
            made.values.push_back({name, static_cast<std::uint32_t>(value.type), value.data});
        }
        for (const auto& [folded, below] : key.subkeys) made.subkeys.push_back(ToMake(*below));
        return made;
    }

    void WriteHive(const std::string& name, const RegistryKey& key) const {
        const Bytes file = HiveMaker(ToMake(key)).File();
        Write(name, {file.begin(), file.end()});
    }

    static void AddText(const RegistryKey& key, const Text& path, std::string& text) {
        constexpr std::uint64_t kTime = 132'000'000'000'000'000;  // in 2019
        if (!path.empty()) text += '\n' + FormatWineKey(path, kTime);
        for (const auto& [name, value] : key.values) {
            text += FormatWineValue(name, static_cast<std::uint32_t>(value.type), value.data);
        }
        for (const auto& [folded, below] : key.subkeys) {
            AddText(*below, path.empty() ? below->name : path + u'\\' + below->name, text);
        }
    }

    static std::string TextOf(const RegistryKey& root) {
        std::string text = "WINE REGISTRY Version 2\n;; All keys relative to here\n";
        AddText(root, {}, text);
        return text;
    }
};

}  // namespace bkfd
