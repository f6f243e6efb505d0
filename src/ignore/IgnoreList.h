#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "base/Text.h"

/// What the owner of a machine knows and wants passed over.
namespace bkfd {

struct IgnoreEntry {
    Text sha256;  // of a file's content, in lower-case hexadecimal; empty for one by class
    Text clsid;   // of a helper object, with its braces; empty for one by content
    Text path;    // of the helper object's file, empty for a dead registration
    Text date;    // local, "2026-11-16 09:39:04"
    Text note;

    bool IsByContent() const { return !sha256.empty(); }
    /// Whether it is for the same, whatever its date and note.
    bool IsSameAs(const IgnoreEntry& other) const;
    bool operator==(const IgnoreEntry&) const = default;
};

/// What it is for, for people: the hash, or class and path.
Text TitleOf(const IgnoreEntry& entry);
/// The SHA-256 of 64 digits of either case in lower case; empty for what is none.
Text ParseSha256(TextView text);
/// Whether it looks like a class identifier: 38 characters in braces.
bool IsClassInBraces(TextView text);

/// The ignore list, a text file that people can edit: UTF-8, columns with tabs between.
///
///     Brackenfold ignore list 1
///     # a comment
///     SHA-256    DATE    NOTE
///     {CLASS}    PATH    DATE    NOTE
///
/// A date is "2026-11-16 09:39:04" or its day alone; a note may be missing. A control character, or
/// half of a pair of surrogates, stands as its number, "<0009>", and so does a "<" that else would
/// begin such a number.
class IgnoreList {
  public:
    /// As it is on the machine now; empty where there is no file.
    static IgnoreList Read();
    /// Of the content of such a file.
    static IgnoreList Parse(std::string_view content);
    std::string Content() const;

    /// What is wrong with the file, with the line: "line 3: ...". Empty for a good list. One that
    /// is damaged has no entries, and can't be changed or written: that is a RuntimeError.
    const Text& Damage() const { return damage_; }
    const std::vector<IgnoreEntry>& Entries() const { return entries_; }
    /// False for one that is there already.
    bool Add(IgnoreEntry entry);
    /// By its place among the entries. Comments stay.
    void Remove(std::size_t index);
    /// In one step: a crash leaves the old list or the new one. A failure is a RuntimeError, and
    /// the old one stays.
    void Write() const;

  private:
    void Fail(std::size_t line, TextView what);
    void ParseLines(TextView text);
    /// What is wrong with it; empty if it is right.
    TextView ParseLine(const Text& line);
    void CheckIsGood() const;

    Text damage_;
    std::vector<IgnoreEntry> entries_;
    std::vector<Text> lines_;  // behind the head
};

/// "ignore.txt" beside the program.
Text IgnoreListPath();

}  // namespace bkfd
