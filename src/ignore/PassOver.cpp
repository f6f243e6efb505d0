#include "ignore/PassOver.h"

#include <algorithm>
#include <iterator>

#include "identity/FileSha256.h"
#include "platform/RegistryViews.h"

namespace bkfd {

const Text kPassOverSource = u"PassOver";

namespace {

/// Whether the file is only there because it is a helper object's. A suspicious one that is loaded,
/// too, names no company for the same reason.
bool IsHelperObjectOnly(const Finding& file, bool isSuspicion) {
    const auto& reasons = file.reasons;
    return std::ranges::find(reasons, Reason::HelperObject) != reasons.end() &&
           std::ranges::all_of(reasons, [&](Reason reason) {
               return reason == Reason::HelperObject || (isSuspicion && reason == Reason::Module);
           });
}

}  // namespace

PassOver::PassOver(LoggerRef logger) : logger_(std::move(logger)), list_(IgnoreList::Read()) {
    hasContents_ = std::ranges::any_of(list_.Entries(), &IgnoreEntry::IsByContent);
    if (list_.Damage().empty() || logger_ == nullptr) return;
    logger_->Write(0, u"nothing is ignored: " + list_.Damage(), LogLevel::WindowFailure,
                   kPassOverSource);
}

const IgnoreEntry* PassOver::ByContent(const Text& path) {
    if (!hasContents_ || path.empty()) return nullptr;
    if (!hashes_.Exists(path)) hashes_.Add(FromAscii(FileSha256(path).value_or("")), path);
    const Text hash = hashes_.Item(path).AsText();
    if (hash.empty()) return nullptr;
    const auto entry = std::ranges::find(list_.Entries(), hash, &IgnoreEntry::sha256);
    return entry == list_.Entries().end() ? nullptr : &*entry;
}

const IgnoreEntry* PassOver::ByClass(const HelperObject& object) const {
    if (!object.isRead) return nullptr;
    const auto entry = std::ranges::find_if(list_.Entries(), [&](const IgnoreEntry& it) {
        return !it.IsByContent() && EqualsIgnoreCase(it.clsid, object.clsid) &&
               EqualsIgnoreCase(it.path, object.file);
    });
    return entry == list_.Entries().end() ? nullptr : &*entry;
}

const IgnoreEntry* PassOver::ByClasses(const Text& path,
                                       const std::vector<HelperObject>& objects) const {
    const IgnoreEntry* entry = nullptr;
    for (const HelperObject& object : objects) {
        if (!EqualsIgnoreCase(object.file, path)) continue;
        entry = ByClass(object);
        if (entry == nullptr) return nullptr;
    }
    return entry;
}

std::vector<PassedOver> PassOver::TakeFiles(std::vector<Finding>& files,
                                            const std::vector<HelperObject>& objects,
                                            bool isSuspicion) {
    std::vector<PassedOver> taken;
    std::erase_if(files, [&](const Finding& file) {
        const IgnoreEntry* entry = ByContent(file.path);
        if (entry == nullptr && IsHelperObjectOnly(file, isSuspicion)) {
            entry = ByClasses(file.path, objects);
        }
        if (entry != nullptr) taken.push_back({PassedOver::Kind::File, file.path, {}, {}, *entry});
        return entry != nullptr;
    });
    return taken;
}

std::vector<PassedOver> PassOver::TakeFrom(Detection& detection) {
    if (list_.Entries().empty()) return {};
    std::vector<PassedOver> taken = TakeFiles(detection.files, detection.helperObjects, false);
    const auto isFoundOtherwise = [&](const Text& path) {
        return std::ranges::any_of(detection.files, [&](const Finding& file) {
            return EqualsIgnoreCase(file.path, path) && !IsHelperObjectOnly(file, false);
        });
    };
    std::erase_if(detection.bhos, [&](const HelperObject& object) {
        const IgnoreEntry* entry = ByContent(object.file);
        if (entry == nullptr && !isFoundOtherwise(object.file)) entry = ByClass(object);
        if (entry == nullptr) return false;
        taken.push_back(
            {PassedOver::Kind::HelperObject, object.file, object.clsid, object.view, *entry});
        return true;
    });
    Log(taken);
    return taken;
}

std::vector<PassedOver> PassOver::TakeFrom(std::vector<Finding>& suspicious,
                                           const std::vector<HelperObject>& objects) {
    if (list_.Entries().empty()) return {};
    std::vector<PassedOver> taken = TakeFiles(suspicious, objects, true);
    Log(taken);
    return taken;
}

std::vector<IgnoreEntry> PassOver::EntriesOf(const HelperObject& object) {
    std::vector<IgnoreEntry> entries;
    for (const IgnoreEntry* entry : {ByClass(object), ByContent(object.file)}) {
        if (entry != nullptr) entries.push_back(*entry);
    }
    return entries;
}

void PassOver::Log(const std::vector<PassedOver>& passedOver) {
    for (const PassedOver& it : passedOver) {
        const Text what = it.kind == PassedOver::Kind::File
                              ? it.path
                              : it.clsid + Text(ViewSuffix(it.view)) + u' ' + it.path;
        logger_->Trace(
            u"Ignored: " + what + (it.entry.note.empty() ? u"" : u" (" + it.entry.note + u')'),
            kPassOverSource);
    }
}

Text IgnoredText(std::size_t count) {
    return count == 0 ? Text() : ToText(static_cast<std::int64_t>(count)) + u" ignored";
}

}  // namespace bkfd
