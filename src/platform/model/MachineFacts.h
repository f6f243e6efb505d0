#pragma once

#include <cstdint>
#include <string_view>
#include <utility>
#include <vector>

#include "base/Date.h"
#include "base/Text.h"

namespace bkfd {

enum class WindowsFamily { NT, Windows9x };

/// What a modelled machine answers about itself. The defaults of a family are those of a plain
/// installation of Windows XP Service Pack 2 or of Windows 98 Second Edition.
struct MachineFacts {
    explicit MachineFacts(WindowsFamily windowsFamily);

    /// Null for a variable that isn't set; names ignore case.
    const Text* Environment(TextView name) const;
    void SetEnvironment(TextView name, Text value);
    /// Replaces each %name% whose variable is set.
    Text ExpandVariables(TextView text) const;

    /// "C:\WINDOWS", without a backslash at its end.
    Text WindowsFolder() const;
    /// The Windows folder with "\system32" or, on 9x, "\system".
    Text SystemFolder() const;
    /// The system folder of 32-bit programs, where there are two.
    Text SystemFolder32() const { return WindowsFolder() + u"\\SysWOW64"; }
    /// Where programs are looked for behind the system folder: the folders of Windows, and PATH.
    std::vector<Text> FoldersBehindSystem() const;
    /// Since Windows 2000 the classes are the user's as well as the machine's.
    bool HasUserClasses() const { return IsNT() && major >= 5; }
    bool IsNT() const { return family == WindowsFamily::NT; }

    WindowsFamily family;
    std::int32_t major;
    std::int32_t minor;
    std::int32_t build;
    Text servicePack;
    std::uint32_t codePage = 1252;
    std::vector<std::pair<Text, Text>> environment;
    Text programFolder = u"C:\\Program Files\\Brackenfold";
    Text programFile = u"Brackenfold.exe";
    Text currentFolder = u"C:\\";
    Text volumeLabel;
    /// A 64-bit Windows: the registry has two views, and there are two system folders.
    bool hasTwoViews = false;
    bool isWow64Process = false;  // the program is one of 32 bits there
    bool isAdministrator = true;
    bool isRestartDenied = false;
    std::vector<Text> missingComponents;
};

}  // namespace bkfd
