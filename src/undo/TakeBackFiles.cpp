#include "platform/undo/UndoFolder.h"
#include "undo/UndoPlace.h"
#include "undo/UndoText.h"

namespace bkfd {
namespace {

using Kind = UndoChange::Kind;
using State = UndoPlace::State;

constexpr std::uint32_t kSettable = FileAttribute::ReadOnly | FileAttribute::Hidden |
                                    FileAttribute::System | FileAttribute::Archive;

/// A file that can't be asked for is neither there nor gone.
Result<bool> IsThere(Files& files, const Text& path) {
    const auto attributes = files.GetFileAttributesW(path);
    if (!attributes.IsOk() && !attributes.IsNotThere()) return Status(attributes);
    return attributes.IsOk();
}

/// A file that got another name or was put beside the record: from `target` it goes back to `name`.
class MovedFilePlace final : public UndoPlace {
  public:
    using UndoPlace::UndoPlace;

    Status Look() override {
        Files& files = machine_.FileSystem();
        const auto back = IsThere(files, change_.name);
        if (!back.IsOk()) return back;
        const auto away = IsThere(files, change_.target);
        if (!away.IsOk()) return away;
        const bool isBack = back.value;
        const bool isAway = away.value;
        if (isBack) now_ = change_.name;
        if (isAway) now_ += (isBack ? u", " : u"") + change_.target;
        isTaken_ = isBack;
        canBeForced_ = isAway;
        const bool isSameBack = isBack && IsTheFile(change_.name);
        const bool isSameAway = isAway && IsTheFile(change_.target);
        if (isSameBack && !isSameAway) {
            state_ = State::AsBefore;
        } else if (isSameAway && !isBack) {
            state_ = State::AsAfter;
        } else {
            state_ = State::Other;
            conflict_ = !isAway  ? u"the file isn't there any more"
                        : isBack ? u"the name is taken by another file"
                                 : u"there is another file in its place";
        }
        return {};
    }

    Status PutBack() override {
        Files& files = machine_.FileSystem();
        if (isTaken_) {
            const Status aside = files.MoveFileW(change_.name, NameAside());
            if (!aside.IsOk()) return aside;
        }
        return files.MoveFileW(change_.target, change_.name);
    }

  private:
    /// One that couldn't be read is known by its name alone.
    bool IsTheFile(const Text& path) {
        return !change_.content || ContentOf(machine_.FileSystem(), path) == change_.content;
    }

    Text NameAside() {
        for (int number = 1;; ++number) {
            Text name = change_.name + u".taken" + ToText(number);
            if (!machine_.FileSystem().GetFileAttributesW(name).IsOk()) return name;
        }
    }

    bool isTaken_ = false;
};

class AttributesPlace final : public UndoPlace {
  public:
    using UndoPlace::UndoPlace;

    Status Look() override {
        const auto read = machine_.FileSystem().GetFileAttributesW(change_.name);
        canBeForced_ = read.IsOk();
        conflict_ = u"the file isn't there any more";
        if (!read.IsOk()) return read.IsNotThere() ? Status{} : Status(read);
        const std::uint32_t attributes = read.value & kSettable;
        now_ = DescribeAttributes(attributes);
        state_ = attributes == change_.attributesBefore  ? State::AsBefore
                 : attributes == change_.attributesAfter ? State::AsAfter
                                                         : State::Other;
        conflict_ = u"the file has other attributes now";
        return {};
    }

    Status PutBack() override {
        return machine_.FileSystem().SetFileAttributesW(
            change_.name,
            change_.attributesBefore == 0 ? FileAttribute::Normal : change_.attributesBefore);
    }
};

/// A file that was made, or written to after a copy of it was put beside the record.
class WrittenFilePlace final : public UndoPlace {
  public:
    using UndoPlace::UndoPlace;

    Status Look() override {
        Files& files = machine_.FileSystem();
        const auto found = IsThere(files, change_.name);
        if (!found.IsOk()) return found;
        isThere_ = found.value;
        if (isThere_) now_ = change_.name;
        const bool hadContent = !change_.target.empty();
        const auto kept = hadContent ? IsThere(files, change_.target) : Result<bool>(true);
        if (!kept.IsOk()) return kept;
        const bool isAsBefore = hadContent ? isThere_ && change_.content &&
                                                 ContentOf(files, change_.name) == change_.content
                                           : !isThere_;
        canBeForced_ = kept.value;
        conflict_ = u"the copy of the file isn't there any more";
        state_ = isAsBefore ? State::AsBefore : canBeForced_ ? State::AsAfter : State::Other;
        return {};
    }

    Status PutBack() override {
        Files& files = machine_.FileSystem();
        if (isThere_) {
            // A deleted file is kept, as all that is changed.
            const Status deleted = files.DeleteFileW(change_.name);
            if (!deleted.IsOk()) return deleted;
        }
        if (change_.target.empty()) return {};
        const Status moved = files.MoveFileW(change_.target, change_.name);
        if (!moved.IsOk()) return moved;
        return files.SetFileAttributesW(change_.name, change_.attributesBefore);
    }

  private:
    bool isThere_ = false;
};

}  // namespace

std::unique_ptr<UndoPlace> MakeFilePlace(const UndoChange& change) {
    if (change.kind == Kind::SetAttributes) return std::make_unique<AttributesPlace>(change);
    if (change.kind == Kind::WriteFile) return std::make_unique<WrittenFilePlace>(change);
    return std::make_unique<MovedFilePlace>(change);
}

}  // namespace bkfd
