#include "ignore/MakeEntries.h"

#include "base/Date.h"
#include "base/RuntimeError.h"
#include "identity/FileSha256.h"

namespace bkfd {
namespace {

IgnoreEntry NewEntry(const Text& note) {
    IgnoreEntry entry;
    entry.date = FormatDate(TheMachine().System().GetLocalTime());
    entry.note = note;
    return entry;
}

}  // namespace

IgnoreEntry EntryOfContent(const Text& sha256, const Text& note) {
    IgnoreEntry entry = NewEntry(note);
    entry.sha256 = sha256;
    return entry;
}

IgnoreEntry EntryOfFile(const Text& path, const Text& note) {
    const auto sha256 = FileSha256(path);
    if (!sha256) {
        throw RuntimeError(ErrorNumber::PathFileAccess, path + u": the file can't be read");
    }
    return EntryOfContent(FromAscii(*sha256), note.empty() ? path : note);
}

IgnoreEntry EntryOfObject(const HelperObject& object, const Text& note) {
    if (!object.isRead) {
        throw RuntimeError(ErrorNumber::PathFileAccess,
                           object.clsid + u": the registration can't be read");
    }
    IgnoreEntry entry = NewEntry(note);
    entry.clsid = object.clsid;
    entry.path = object.file;
    return entry;
}

std::size_t AddToIgnoreList(std::vector<IgnoreEntry> entries, Logger& logger) {
    IgnoreList list = IgnoreList::Read();
    std::vector<Text> added;
    for (IgnoreEntry& entry : entries) {
        Text title = TitleOf(entry);
        if (list.Add(std::move(entry))) added.push_back(std::move(title));
    }
    if (added.empty()) return 0;
    list.Write();
    for (const Text& title : added) {
        logger.Trace(u"From now on ignored: " + title, u"IgnoreList.Add");
    }
    return added.size();
}

void RemoveFromIgnoreList(const std::vector<IgnoreEntry>& entries, Logger& logger) {
    IgnoreList list = IgnoreList::Read();
    std::vector<Text> removed;
    for (const IgnoreEntry& entry : entries) {
        for (std::size_t i = list.Entries().size(); i-- > 0;) {
            if (!list.Entries()[i].IsSameAs(entry)) continue;
            removed.push_back(TitleOf(entry));
            list.Remove(i);
        }
    }
    if (removed.empty() && list.Damage().empty()) return;
    list.Write();
    for (const Text& title : removed) {
        logger.Trace(u"No longer ignored: " + title, u"IgnoreList.Remove");
    }
}

}  // namespace bkfd
