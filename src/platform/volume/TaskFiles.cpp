#include "platform/volume/TaskFiles.h"

#include <expat.h>

#include <climits>
#include <memory>
#include <string>

namespace bkfd {
namespace {

// ---------------------------------------------------------------- .job

constexpr std::size_t kFixedSize = 68;
constexpr std::size_t kNameOffsetAt = 20;
constexpr std::size_t kTriggerOffsetAt = 22;
constexpr std::size_t kFlagsAt = 48;
constexpr std::size_t kTriggerSize = 48;
constexpr std::size_t kTriggerFlagsAt = 28;
constexpr std::size_t kTriggerTypeAt = 32;
constexpr std::uint32_t kDisabled = 4;  // of a task and of a trigger
constexpr std::uint32_t kAtStart = 6;
constexpr std::uint32_t kAtLogon = 7;

/// A text with its length in characters, the NUL counted, before it.
bool TakeText(ByteView bytes, std::size_t& at, Text& text) {
    if (at + 2 > bytes.size()) return false;
    const std::size_t count = Read16(bytes, at);
    at += 2;
    if (at + count * 2 > bytes.size()) return false;
    for (std::size_t i = 0; i < count; ++i) {
        text += static_cast<char16_t>(Read16(bytes, at + i * 2));
    }
    text.resize(UpToNul(text).size());
    at += count * 2;
    return true;
}

/// Whether one of the triggers is of the start or a logon; nothing if the list ends early.
std::optional<bool> HasTrigger(ByteView bytes, std::size_t at) {
    if (at + 2 > bytes.size()) return std::nullopt;
    const std::size_t count = Read16(bytes, at);
    at += 2;
    if (at + count * kTriggerSize > bytes.size()) return std::nullopt;
    for (std::size_t i = 0; i < count; ++i, at += kTriggerSize) {
        const std::uint32_t type = Read32(bytes, at + kTriggerTypeAt);
        const bool isDisabled = (Read32(bytes, at + kTriggerFlagsAt) & kDisabled) != 0;
        if (!isDisabled && (type == kAtStart || type == kAtLogon)) return true;
    }
    return false;
}

// ---------------------------------------------------------------- XML

/// What the scheduler's elements mean, by their names and the ones that they stand in.
class TaskElements {
  public:
    explicit TaskElements(ScheduledTask& task) : task_(task) {}

    void Start(const char* name) {
        if (++depth_ == 3) {
            isEnabled_ = true;
            line_.clear();
            arguments_.clear();
        }
        if (depth_ <= kDeepest) path_[depth_ - 1] = name;
        text_.clear();
    }

    void AddText(std::string_view text) { text_ += text; }

    void End() {
        const std::string_view name = NameAt(depth_);
        const bool isSetting = depth_ == 3 && NameAt(2) == "Settings";
        if (name == "Enabled" && text_ == "false") {
            if (isSetting) isDisabled_ = true;
            if (depth_ == 4) isEnabled_ = false;
        }
        if (depth_ == 4 && NameAt(2) == "Actions") KeepAction(name);
        if (depth_ == 3) EndPart(name);
        --depth_;
        text_.clear();
        task_.isStartedWithWindows = hasTrigger_ && !isDisabled_;
    }

  private:
    static constexpr std::size_t kDeepest = 4;

    std::string_view NameAt(std::size_t depth) const {
        return depth >= 1 && depth <= kDeepest ? std::string_view(path_[depth - 1])
                                               : std::string_view();
    }

    void KeepAction(std::string_view name) {
        if (name == "Command") line_ = FromUtf8(text_);
        if (name == "Arguments") arguments_ = FromUtf8(text_);
        if (name == "ClassId") task_.classes.push_back(FromUtf8(text_));
    }

    void EndPart(std::string_view name) {
        if (NameAt(2) == "Triggers" && isEnabled_) {
            hasTrigger_ = hasTrigger_ || name == "BootTrigger" || name == "LogonTrigger";
        }
        if (NameAt(2) == "Actions" && name == "Exec" && !line_.empty()) {
            const bool isQuoted = line_.front() == u'"';
            Text line = isQuoted ? line_ : u'"' + line_ + u'"';
            task_.commandLines.push_back(std::move(line) + u' ' + arguments_);
        }
    }

    ScheduledTask& task_;
    std::size_t depth_ = 0;
    std::string path_[kDeepest];
    std::string text_;
    Text line_;
    Text arguments_;
    bool isEnabled_ = true;  // the trigger that is being read
    bool hasTrigger_ = false;
    bool isDisabled_ = false;
};

TaskElements& ElementsOf(void* parser) {
    return *static_cast<TaskElements*>(XML_GetUserData(static_cast<XML_Parser>(parser)));
}

}  // namespace

std::optional<ScheduledTask> ReadJobFile(ByteView bytes) {
    if (bytes.size() < kFixedSize) return std::nullopt;
    std::size_t at = Read16(bytes, kNameOffsetAt);
    Text program;
    Text arguments;
    if (at < kFixedSize || !TakeText(bytes, at, program) || !TakeText(bytes, at, arguments)) {
        return std::nullopt;
    }
    const std::size_t triggersAt = Read16(bytes, kTriggerOffsetAt);
    const auto hasTrigger = HasTrigger(bytes, triggersAt);
    if (triggersAt < at || !hasTrigger) return std::nullopt;
    ScheduledTask task;
    task.isStartedWithWindows = *hasTrigger && (Read32(bytes, kFlagsAt) & kDisabled) == 0;
    if (!program.empty()) task.commandLines.push_back(u'"' + program + u"\" " + arguments);
    return task;
}

std::optional<ScheduledTask> ReadTaskXml(ByteView bytes) {
    ScheduledTask task;
    TaskElements elements(task);
    const std::unique_ptr<XML_ParserStruct, void (*)(XML_Parser)> parser(XML_ParserCreate(nullptr),
                                                                         XML_ParserFree);
    if (parser == nullptr || bytes.size() > INT_MAX) return std::nullopt;
    XML_SetUserData(parser.get(), &elements);
    XML_UseParserAsHandlerArg(parser.get());
    XML_SetElementHandler(
        parser.get(),
        [](void* self, const char* name, const char**) { ElementsOf(self).Start(name); },
        [](void* self, const char*) { ElementsOf(self).End(); });
    XML_SetCharacterDataHandler(parser.get(), [](void* self, const char* text, int length) {
        ElementsOf(self).AddText({text, static_cast<std::size_t>(length)});
    });
    // No task has one, and its entities could grow without end.
    XML_SetStartDoctypeDeclHandler(parser.get(),
                                   [](void* self, const char*, const char*, const char*, int) {
                                       XML_StopParser(static_cast<XML_Parser>(self), XML_FALSE);
                                   });
    const auto parsed = XML_Parse(parser.get(), reinterpret_cast<const char*>(bytes.data()),
                                  static_cast<int>(bytes.size()), 1);
    if (parsed != XML_STATUS_OK) return std::nullopt;
    return task;
}

}  // namespace bkfd
