#include "cli/PlanBatch.h"

#include <algorithm>

#include "platform/model/WindowsPath.h"
#include "processes/ParasiteFileName.h"
#include "services/ApplicationState.h"
#include "services/RegistryAccess.h"

namespace bkfd {
namespace {

constexpr TextView kLineEnd = u"\r\n";
constexpr char16_t kUnwritable[] = u"Its name can't be written in a batch file.";
/// COMMAND.COM cuts longer lines.
constexpr std::size_t kLongestDosLine = 126;

constexpr char16_t kHeadNT[] =
    uR"(@echo off
rem Made by Brackenfold. Run it as an administrator, with fix.reg beside it:
rem     fix.bat         takes the parasites of this machine out of action
rem     fix.bat undo    takes that back
set bkfd=
if /i "%~1"=="undo" goto undo
if not exist "%~dp0fix.reg" echo fix.reg is missing: nothing was done.
if not exist "%~dp0fix.reg" exit /b 1
regedit /s "%~dp0fix.reg"
)";
constexpr char16_t kUndoNT[] =
    uR"(if defined bkfd echo Not all files have got their new names: run this again after a restart.
if defined bkfd exit /b 1
echo Done. Restart Windows now.
exit /b 0
:undo
if not exist "%~dp0undo.reg" echo undo.reg is missing: nothing was done.
if not exist "%~dp0undo.reg" exit /b 1
)";
constexpr char16_t kEndNT[] =
    uR"(regedit /s "%~dp0undo.reg"
echo It is as before.
exit /b 0
)";

// No line may be longer than COMMAND.COM reads.
constexpr char16_t kHead9x[] =
    uR"(@echo off
rem Made by Brackenfold. Go to its folder, with fix.reg in it, and type
rem     FIX         in a window: takes the parasites out of action
rem     FIX DOS     at the DOS prompt: files in use too; then FIX in a window
rem     FIX UNDO    in a window: takes that back
set bkfd=
if "%1"=="undo" goto undo
if "%1"=="UNDO" goto undo
if not exist fix.reg echo fix.reg is missing here: nothing was done.
if not exist fix.reg goto end
if "%1"=="dos" goto dos
if "%1"=="DOS" goto dos
start /w regedit /s fix.reg
)";
constexpr char16_t kDos9x[] =
    uR"(if "%bkfd%"=="1" echo Some files are in use: restart at the DOS prompt and type FIX DOS.
if not "%bkfd%"=="1" echo Done. Restart Windows now.
goto end
:dos
regedit fix.reg
)";
constexpr char16_t kUndo9x[] =
    uR"(echo Start Windows now, and type FIX in a window.
goto end
:undo
if not exist undo.reg echo undo.reg is missing here: nothing was done.
if not exist undo.reg goto end
)";
constexpr char16_t kEnd9x[] =
    uR"(start /w regedit /s undo.reg
echo It is as before.
:end
)";

bool IsAscii(TextView text) {
    return std::ranges::all_of(text, [](char16_t unit) { return unit < 0x80; });
}

/// A text between quotes of a batch file.
Text Quoted(TextView text) {
    return u'"' + Replace(Text(text), u"%", u"%%") + u'"';
}

Text WithLineEnds(TextView text) {
    return Replace(Text(text), u"\n", kLineEnd);
}

/// The line that gives a file back what attributes it had, empty if it had none.
Text AttributeLine(std::uint32_t attributes, const Text& file) {
    constexpr struct {
        std::uint32_t bit;
        TextView text;
    } kSwitches[] = {{FileAttribute::ReadOnly, u" +r"},
                     {FileAttribute::System, u" +s"},
                     {FileAttribute::Hidden, u" +h"}};
    Text switches;
    for (const auto& one : kSwitches) {
        if ((attributes & one.bit) != 0) switches += one.text;
    }
    return switches.empty() ? switches : u"attrib" + switches + u' ' + file + u"\n";
}

/// The path with "?" for what a batch file of ASCII lacks, if in its folder the size means this
/// file alone: Windows takes a "?" for no character, too, and looks at short names.
std::optional<Text> PatternOf(const Text& path, std::uint64_t size) {
    const TextView folder = WindowsPath::Parent(path);
    if (!IsAscii(folder)) return std::nullopt;
    Files& disk = TheMachine().FileSystem();
    FindData data;
    const Handle search = disk.FindFirstFileW(WindowsPath::Join(folder, u"*"), data);
    if (search == kInvalidHandle) return std::nullopt;
    int found = 0;
    do {
        const std::uint64_t other = std::uint64_t{data.sizeHigh} << 32 | data.sizeLow;
        if (other == size && (data.attributes & FileAttribute::Directory) == 0) ++found;
    } while (disk.FindNextFileW(search, data).IsOk());
    (void)disk.FindClose(search);
    if (found != 1) return std::nullopt;
    Text pattern = path;
    std::ranges::replace_if(
        pattern, [](char16_t unit) { return unit >= 0x80; }, u'?');
    return pattern;
}

/// The code page of the command line, as the registry tells it.
std::optional<CodePage> CommandCodePage() {
    Text number;
    (void)RegistryAccess().ReadString(RegistryRoot::LocalMachine,
                                      u"System\\CurrentControlSet\\Control\\Nls\\CodePage",
                                      u"OEMCP", number);
    std::uint32_t page = 0;
    for (const char16_t digit : number.substr(0, 5)) {
        if (digit < u'0' || digit > u'9') return std::nullopt;
        page = page * 10 + static_cast<std::uint32_t>(digit - u'0');
    }
    return page != 0 && CodePage::IsKnown(page) ? std::optional<CodePage>(page) : std::nullopt;
}

}  // namespace

PlanBatch::PlanBatch(std::vector<FailedChange>& failed) : failed_(failed) {
    codePage_ = CommandCodePage();
}

bool PlanBatch::Fits(const Text& text) {
    return IsAscii(text) || (codePage_ && codePage_->Decode(codePage_->Encode(text)) == text);
}

bool PlanBatch::Refuse(const Text& path, const char16_t* why) {
    failed_.push_back({"file", path, why});
    return false;
}

bool PlanBatch::Disable(const Text& path, std::uint32_t attributes, std::uint64_t size) {
    const bool isOdd = std::ranges::any_of(
        path, [](char16_t unit) { return unit < u' ' || unit == u'"' || unit == u'?'; });
    if (isOdd) return Refuse(path, kUnwritable);
    return gIsNT ? DisableNT(path, attributes, size) : Disable9x(path, attributes);
}

bool PlanBatch::DisableNT(const Text& path, std::uint32_t attributes, std::uint64_t size) {
    const Text disabled = GetParasiteFileName(path);
    if (!Fits(path)) {
        const auto pattern = PatternOf(path, size);
        if (!pattern) return Refuse(path, kUnwritable);
        AddByPattern(*pattern, size);
        return true;
    }
    const Text file = Quoted(path);
    fix_ += u"attrib -r -s -h " + file + u" >nul\nif exist " + file + u" ren " + file + u' ' +
            Quoted(WindowsPath::Name(disabled)) + u"\nif exist " + file + u" set bkfd=1\n";
    undo_ += u"if exist " + Quoted(disabled) + u" ren " + Quoted(disabled) + u' ' +
             Quoted(WindowsPath::Name(path)) + u"\n" + AttributeLine(attributes, file);
    return true;
}

void PlanBatch::AddByPattern(const Text& pattern, std::uint64_t size) {
    const Text file = Quoted(pattern);
    const Text each =
        u"for %%f in (" + file + u") do if %%~zf==" + FromAscii(std::to_string(size)) + u' ';
    fix_ += u"attrib -r -s -h " + file + u" >nul\n" + each +
            u"ren \"%%f\" \"parasite_%%~nxf.parasite\"\n" + each + u"set bkfd=1\n";
    // Without its suffix and the nine characters of its prefix the name is the former one.
    undo_ += u"setlocal enabledelayedexpansion\n" +
             Replace(each, file, Quoted(GetParasiteFileName(pattern))) +
             u"(set bkfd=%%~nf& ren \"%%f\" \"!bkfd:~9!\")\nendlocal\n";
}

bool PlanBatch::Disable9x(const Text& path, std::uint32_t attributes) {
    const Text disabled = GetParasiteFileName(path);
    if (!Fits(disabled)) return Refuse(path, kUnwritable);
    const Text file = Quoted(path);
    const Text rename = u"ren " + file + u' ' + Quoted(WindowsPath::Name(disabled));
    const Text back = u"ren " + Quoted(disabled) + u' ' + Quoted(WindowsPath::Name(path));
    if (std::max(rename.size(), back.size()) > kLongestDosLine) {
        return Refuse(path, u"Its name is too long for the DOS prompt.");
    }
    ++number_;
    AddDos(path);
    fix_ += u"attrib -r -s -h " + file + u"\n" + rename + u"\nif exist " + file + u" set bkfd=1\n";
    undo_ += back + u"\n";
    undo_ += AttributeLine(attributes, file);
    return true;
}

/// At the DOS prompt the file gets a short name, which becomes the long one in a window.
void PlanBatch::AddDos(const Text& path) {
    TextView rest = TextView(path).substr(3);
    while (!rest.empty()) {
        const std::size_t end = std::min(rest.find(u'\\'), rest.size());
        if (!WindowsPath::IsShortName(rest.substr(0, end))) return;
        rest.remove_prefix(std::min(end + 1, rest.size()));
    }
    const Text digits = ToText(number_);
    const Text aside =
        u"BKFD" + Text(4 - std::min<std::size_t>(4, digits.size()), u'0') + digits + u".PAR";
    const Text asidePath = WindowsPath::Join(WindowsPath::Parent(path), aside);
    dos_ += u"attrib -r -s -h " + Replace(path, u"%", u"%%") + u"\nren " +
            Replace(path, u"%", u"%%") + u' ' + aside + u"\n";
    const Text disabled = Quoted(WindowsPath::Name(GetParasiteFileName(path)));
    fix_ += u"if exist " + asidePath + u" ren " + asidePath + u' ' + disabled + u"\n";
    undo_ += u"if exist " + asidePath + u" ren " + asidePath + u' ' +
             Quoted(WindowsPath::Name(path)) + u"\n";
}

Bytes PlanBatch::Take() {
    const Text text = gIsNT ? kHeadNT + fix_ + kUndoNT + undo_ + kEndNT
                            : kHead9x + fix_ + kDos9x + dos_ + kUndo9x + undo_ + kEnd9x;
    const Text lines = WithLineEnds(text);
    const std::string bytes = codePage_ ? codePage_->Encode(lines) : ToUtf8(lines);
    return {bytes.begin(), bytes.end()};
}

}  // namespace bkfd
