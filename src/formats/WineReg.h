#pragma once

#include <string>

#include "formats/RegistryVisitor.h"

/// The registry of a Wine prefix (system.reg, user.reg, userdef.reg): text that begins with "WINE
/// REGISTRY Version 2", as Wine's server reads and writes it.
namespace bkfd {

enum class WineRegKind {
    Other,  // the first line, a comment, an empty line, an option without a meaning here
    Arch,   // "#arch=win64", for the whole file
    Key,    // "[Software\\Wine] 1700000000"
    Time,   // "#time=1da0c2f8d3e4f00": FILETIME of the key above, more exact than the key's line
    Class,  // "#class=..."
    Link,   // "#link": the key above is a registry link
    Value,  // "\"name\"=...", "@=..."
    Malformed
};

/// A line, with those that continue its data.
struct WineRegItem {
    WineRegKind kind = WineRegKind::Other;
    std::size_t number = 0;  // of the line, from 1
    std::size_t begin = 0;   // its bytes in the file, line ends included
    std::size_t end = 0;
    Text name;  // a key's path without a leading backslash; a value's name; architecture; class
    std::uint64_t time = 0;  // Key: seconds since 1970, 0 if absent; Time: FILETIME
    std::uint32_t type = 0;
    Bytes data;           // as the registry stores it: texts are UTF-16LE with their NUL
    std::string problem;  // why the line is malformed, as a clause for people
};

/// Reads such a file line by line; memory is that of one line.
class WineRegReader {
  public:
    explicit WineRegReader(ByteView file) : file_(file) {}

    /// Whether the first line is the one that these files have.
    static bool IsWineReg(ByteView file);

    /// False at the end.
    bool Next(WineRegItem& item);

  private:
    std::string_view TakeLine();
    void ReadKey(std::string_view line, WineRegItem& item);
    void ReadOption(std::string_view line, WineRegItem& item);
    void ReadValue(std::string_view line, WineRegItem& item);
    void ReadData(std::string_view line, WineRegItem& item);
    void ReadHex(std::string_view line, WineRegItem& item);

    ByteView file_;
    std::size_t at_ = 0;
    std::size_t line_ = 0;
    bool hasKey_ = false;
};

/// Tells all keys and values as they stand; Wine takes the last of several values of one name.
/// Lines that are malformed are told by their number.
void WalkWineReg(ByteView file, RegistryVisitor& visitor);

}  // namespace bkfd
