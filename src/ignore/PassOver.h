#pragma once

#include "detection/Finding.h"
#include "ignore/IgnoreList.h"
#include "services/Logger.h"

namespace bkfd {

/// Something that was found and is on the ignore list.
struct PassedOver {
    enum class Kind { File, HelperObject };

    Kind kind = Kind::File;
    Text path;   // of the file; empty for a dead registration
    Text clsid;  // of a helper object; empty for a file
    RegistryView view = RegistryView::Native;
    IgnoreEntry entry;

    bool operator==(const PassedOver&) const = default;
};

/// The source in the log of what is told about the list, and so of a damaged one.
extern const Text kPassOverSource;

/// The step behind a detection that passes over what is on the ignore list, as the list was when
/// the object was made. Each thing gets a line in the log. A damaged list is logged as a failure,
/// and nothing is passed over.
class PassOver {
  public:
    /// A null logger is for who only asks, and logs nothing.
    explicit PassOver(LoggerRef logger);

    const IgnoreList& List() const { return list_; }
    /// Takes them from the detection's files and helper objects. By content goes each file with
    /// that content, and the helper objects whose file it is. By class goes that registration, and
    /// its file if nothing else found it and no class that isn't on the list has it; where
    /// something else found the file, the registration stays too.
    std::vector<PassedOver> TakeFrom(Detection& detection);
    /// The same with files that merely look wrong. `objects` are all helper objects that were seen.
    std::vector<PassedOver> TakeFrom(std::vector<Finding>& suspicious,
                                     const std::vector<HelperObject>& objects);

    /// The entries that hold for a registration, by its class or by its file's content, whatever
    /// else may be found of it.
    std::vector<IgnoreEntry> EntriesOf(const HelperObject& object);

  private:
    /// Null where nothing on the list is meant.
    const IgnoreEntry* ByContent(const Text& path);
    const IgnoreEntry* ByClass(const HelperObject& object) const;
    const IgnoreEntry* ByClasses(const Text& path, const std::vector<HelperObject>& objects) const;
    std::vector<PassedOver> TakeFiles(std::vector<Finding>& files,
                                      const std::vector<HelperObject>& objects, bool isSuspicion);
    void Log(const std::vector<PassedOver>& passedOver);

    LoggerRef logger_;
    IgnoreList list_;
    bool hasContents_ = false;
    KeyedList hashes_;  // by path; empty for a file that can't be read
};

/// "2 ignored", empty for none.
Text IgnoredText(std::size_t count);

}  // namespace bkfd
