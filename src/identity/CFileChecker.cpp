#include "identity/CFileChecker.h"

#include <algorithm>
#include <span>
#include <string>
#include <utility>

#include "platform/Machine.h"
#include "services/ApplicationState.h"
#include "services/SysUtil.h"

namespace bkfd {
namespace {

constexpr std::size_t kBufferSize = 4000;          // characters, blanks at first
constexpr std::uint32_t kStatedBufferSize = 2000;  // what the system is told of them

/// Whether the line runs a library by rundll32, known by these three spellings of it alone.
bool IsLauncherLine(const Text& line) {
    const Text lower = ToLower(line);
    return lower.starts_with(u"rundll32") || lower.starts_with(u"\"rundll32.exe\"") ||
           lower.starts_with(u"%systemroot%\\system32\\rundll32");
}

Text LibraryOfLauncherLine(const Text& line) {
    const auto blank = static_cast<std::ptrdiff_t>(Find(line, u" "));
    if (blank == 0) return u"rundll32.exe";
    const auto comma = static_cast<std::ptrdiff_t>(Find(line, u","));
    Text library =
        comma < blank ? Trim(Mid(line, blank)) : Trim(Mid(line, blank + 1, comma - blank - 1));
    if (Find(library, u".") == 0) library += u".dll";
    return library;
}

/// Drops every switch; a slash in a path cuts just the same, on purpose.
Text CutAtSlash(const Text& line) {
    const std::size_t slash = Find(line, u"/");
    return slash == 0 ? line : Trim(Left(line, static_cast<std::ptrdiff_t>(slash) - 1));
}

/// Of a line that begins with a quote and holds a blank.
Text QuotedProgram(const Text& line) {
    std::size_t end = Find(line, u"\"", 2);
    if (end == 0) end = Find(line, u" ");
    return Mid(line, 2, static_cast<std::ptrdiff_t>(end) - 2);
}

/// A path ends at the first blank behind its last backslash, so that blanks in folders survive; a
/// bare name ends at its last blank.
Text UnquotedProgram(const Text& line) {
    const Text bare = Replace(Replace(line, u"\"%1\"", u"", 3), u"%1", u"", 3);
    const std::size_t backslash = FindLast(bare, u"\\");
    const std::size_t blank = backslash != 0 ? Find(bare, u" ", backslash) : FindLast(bare, u" ");
    return blank == 0 ? bare : Left(bare, static_cast<std::ptrdiff_t>(blank) - 1);
}

Text ProgramOf(const Text& line) {
    if (Find(line, u" ") == 0) return line;
    return line.starts_with(u'"') ? QuotedProgram(line) : UnquotedProgram(line);
}

struct Found {
    std::size_t count = 0;  // of characters, 0 when nothing was found
    std::intptr_t filePart = 0;
};

Found SearchWide(const Text& name, Text& buffer) {
    const SearchPathResult result =
        TheMachine().FileSystem().SearchPathW(name, std::span(buffer).first(kStatedBufferSize));
    return {result.count, result.filePart};
}

/// The same through the code page, in which a character may take more than one byte.
Found SearchAnsi(const Text& name, Text& buffer) {
    SystemFacts& system = TheMachine().System();
    std::string bytes = system.WideCharToMultiByte(buffer);
    const SearchPathResult result = TheMachine().FileSystem().SearchPathA(
        system.WideCharToMultiByte(name), std::span(bytes).first(kStatedBufferSize));
    const std::string_view all = bytes;
    const std::size_t counted = std::min<std::size_t>(result.count, all.size());
    const Text found = system.MultiByteToWideChar(all.substr(0, counted));
    buffer = found + system.MultiByteToWideChar(all.substr(counted));
    return {found.size(), result.filePart};
}

Found Search(const Text& name, Text& buffer) {
    return gIsNT ? SearchWide(name, buffer) : SearchAnsi(name, buffer);
}

/// What tells success is the file part of the search before, on purpose: a name that the system
/// can't lengthen becomes the empty text, and one without a file part a whole buffer.
Text LongName(const Text& shortName, std::intptr_t filePart) {
    Text buffer(kBufferSize, u' ');
    const std::uint32_t count = TheMachine().FileSystem().GetLongPathNameW(
        shortName, std::span(buffer).first(kStatedBufferSize));
    return filePart > 0 ? Left(buffer, static_cast<std::ptrdiff_t>(count)) : buffer;
}

Text Resolve(const Text& name, bool hasLongNames) {
    Text buffer(kBufferSize, u' ');
    Found found = Search(SysUtil::ExpandEnvironment(name), buffer);
    if (found.count > 0) {
        // The count of a name that doesn't fit is the size that it needs: as many blanks stay.
        buffer = Left(buffer, static_cast<std::ptrdiff_t>(found.count));
    } else {
        // The buffer isn't shortened behind this second search, on purpose.
        found = Search(name, buffer);
        if (found.count == 0) return name;
    }
    return hasLongNames ? LongName(buffer, found.filePart) : buffer;
}

}  // namespace

CFileChecker::CFileChecker()
    : temporaryFolder_(GetFullFileNameFromShortFilename(SysUtil::GetTempPath())) {}

void CFileChecker::Init(LoggerRef logger) {
    logger_ = std::move(logger);
    hasLongNames_ = gIsNT && !gIsNT4;
}

Text CFileChecker::GetFileNameFromCommandLine(const Text& commandLine) {
    if (IsLauncherLine(commandLine)) return LibraryOfLauncherLine(commandLine);
    Text file = Trim(ProgramOf(CutAtSlash(commandLine)));
    if (file.starts_with(u'"') && file.ends_with(u'"')) {
        file = Mid(file, 2, static_cast<std::ptrdiff_t>(file.size()) - 2);
    }
    return file == u"explorer" ? u"explorer.exe" : file;
}

Text CFileChecker::GetFullFileNameFromShortFilename(const Text& fileName) {
    if (nameCache_.Exists(fileName)) return nameCache_.Item(fileName).AsText();
    Text fullName = Resolve(fileName, hasLongNames_);
    nameCache_.Add(fullName, fileName);
    return fullName;
}

}  // namespace bkfd
