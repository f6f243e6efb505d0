#include <unistd.h>

#include <filesystem>

#include "base/Utf16Bytes.h"
#include "fuzz/Fuzzer.h"
#include "platform/image/ImageJournal.h"
#include "platform/image/ImageRecords.h"

using namespace bkfd;

namespace {

constexpr std::string_view kHeader = "Brackenfold journal 1\n";

/// A folder of this process's own, which goes with it.
class ScratchFolder {
  public:
    ScratchFolder() : path_(std::filesystem::temp_directory_path() / std::to_string(getpid())) {
        path_ += "-bkfd-fuzz";
    }
    ~ScratchFolder() { std::filesystem::remove_all(path_); }
    std::string Path() const { return path_.string(); }

  private:
    std::filesystem::path path_;
};

class SilentJournal final : public DiskJournal {
    Status NoteWriting() override { return {}; }
    Status NoteMoves(const VolumeMoves&) override { return {}; }
    Status NoteRemoval(const Text&) override { return {}; }
    void NoteOutcome(bool) override {}
};

std::string DumpKey(const RegistryKey& key, const std::string& above) {
    std::string dump = above + ToWtf8(ToLower(key.name)) + "\n";
    std::vector<std::string> values;
    for (const auto& value : key.values) {
        values.push_back(ToWtf8(ToLower(value.name)) + " " +
                         std::to_string(static_cast<std::uint32_t>(value.value.type)) + " " +
                         std::string(value.value.data.begin(), value.value.data.end()));
    }
    std::ranges::sort(values);
    for (const std::string& value : values) dump += value + "\n";
    for (const auto& [folded, below] : key.subkeys) {
        dump += DumpKey(*below, above + ToWtf8(ToLower(key.name)) + "\\");
    }
    return dump;
}

std::string DumpTree(const RegistryTree& tree) {
    std::string dump;
    for (const RegistryRoot root : RegistryTree::kRoots) dump += DumpKey(tree.Root(root), "");
    return dump;
}

/// What an image's records change, without the files of its drives.
struct ImageState {
    bool Replay(const std::vector<ImageJson>& records) {
        ReplayTargets targets{tree, files, processes, rules, volume, clock, pending, written};
        written.clear();
        for (std::size_t i = 0; i < records.size(); ++i) {
            if (!ReplayRecord(records[i], i + 1 == records.size(), targets)) return false;
        }
        return true;
    }
    std::string Dump() const {
        std::string dump = DumpTree(tree) + ProcessesToJson(processes.All()).dump() + "\n";
        for (const auto& [path, rule] : rules.All()) {
            if (rule != FileRule()) dump += ToWtf8(path) + " " + RuleToJson(rule).dump() + "\n";
        }
        ImageJson record;
        AddWritten(record, written);
        dump += record.dump() + "\n";
        return dump;
    }
    /// The registry, written to its files and read again.
    std::string DumpSavedTree(const std::string& folder) {
        Require(files.Save().IsOk(), "the registry can be written");
        RegistryTree again;
        const auto error = RegistryFiles(folder, codePage).Load(again);
        Require(!error, "the registry can be read again");
        std::filesystem::remove_all(folder);
        return DumpTree(again);
    }

    explicit ImageState(const std::string& folder) : files(folder, codePage) {}

    MachineFacts facts{WindowsFamily::NT};
    CodePage codePage{1252};
    SilentJournal journal;
    RegistryTree tree;
    RegistryFiles files;
    ModelProcesses processes{facts, nullptr};
    FileRules rules;
    DiskVolume volume{"/nonexistent", journal};
    ImageClock clock{ImageTime{}};
    PendingNames pending;
    std::vector<WrittenBytes> written;
};

/// The input as a journal, or as the records of one, a line each, whose checksums it can't guess.
std::string JournalOf(std::string_view input) {
    if (!input.starts_with('{')) return std::string(input);
    std::string journal(kHeader);
    while (!input.empty()) {
        const std::string_view line = input.substr(0, input.find('\n'));
        input.remove_prefix(std::min(input.size(), line.size() + 1));
        const ImageJson record = ImageJson::parse(line, nullptr, false);
        if (record.is_object()) journal += JournalLine(record);
    }
    return journal;
}

void CheckReading(std::string_view input) {
    static const ScratchFolder scratch;
    const std::string content = JournalOf(input);
    const auto parsed = ParseJournal("journal", content);
    if (const auto* error = std::get_if<ImageError>(&parsed)) {
        const auto ends = std::ranges::count(content, '\n');
        Require(error->line <= static_cast<std::size_t>(ends) + 1, "an error is in the file");
        return;
    }
    const auto& [records, size] = std::get<JournalContent>(parsed);
    Require(size <= content.size(), "what is whole is in the file");
    std::string again(size == 0 ? "" : kHeader);
    for (const ImageJson& record : records) again += JournalLine(record);
    const auto reread = ParseJournal("journal", again);
    Require(std::holds_alternative<JournalContent>(reread) &&
                std::get<JournalContent>(reread).records == records,
            "what is written is read back");

    ImageState state(scratch.Path());
    if (!state.Replay(records)) return;
    const std::string once = state.Dump();
    Require(state.Replay(records) && state.Dump() == once, "records carried out twice do no harm");
    Require(state.DumpSavedTree(scratch.Path()) == DumpTree(state.tree),
            "the registry's files hold what its keys hold");
}

/// A change with texts of any units becomes a record and that change again.
void CheckChange(const Bytes& input) {
    const Text text = FromUtf16Bytes(input);
    Require(FromImageJson(ToImageJson(text)) == text, "JSON carries any text");
    MachineChange change;
    change.key = text.substr(0, text.size() / 2);
    change.name = text.substr(text.size() / 2);
    change.value = {static_cast<RegistryType>(input.size() % 12), input};
    TextView components = change.key;
    if (NextKeyComponent(components).empty() || IsTooDeepKey(change.key)) return;
    ImageState state("/nonexistent");
    Require(state.Replay({ImageJson::parse(ChangeRecord(change).dump())}),
            "a change is understood");
    const RegistryKey* key = state.tree.Root(change.root).Find(change.key);
    const RegistryValue* value = key == nullptr ? nullptr : key->values.Find(change.name);
    Require(value != nullptr && *value == change.value, "a value arrives as it was set");
}

}  // namespace

std::vector<Bytes> FuzzCorpus() {
    const std::string records =
        R"({"change":"set value","key":"A\\b","root":2147483650,"name":"n","type":1,"data":"41000000"}
{"change":"set value","key":"A\\C","root":2147483649,"name":"","type":3,"data":"0102"}
{"change":"delete value","key":"A\\b","root":2147483650,"name":"N"}
{"change":"delete key","key":"a","root":2147483649,"name":"","written":[["C:\\a.exe",7,"0aff"]]}
{"change":"set attributes","key":"C:\\a.exe","number":6}
{"change":"move","moves":[["C:\\a.exe","C:\\b.exe"]],"rules":{"C:\\b.exe":{"attributes":6}}}
{"change":"outcome","done":true}
{"change":"end process","number":4}
{"change":"restart","now":"2026-11-16T09:39:04","processes":[{"id":4,"path":"C:\\a.exe"}]}
{"change":"remove","path":"C:\\b.exe"}
)";
    const std::string journal =
        JournalOf(records.substr(0, records.find("\n{\"change\":\"delete")));
    const Bytes text =
        ToUtf16Bytes(Text{u'A', u'\\', 0xD800, u'[', 0xDBFE, 0xDC01, u'\n', 0, u'"'});
    return {Bytes(records.begin(), records.end()), Bytes(journal.begin(), journal.end()), text};
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    CheckReading({reinterpret_cast<const char*>(data), size});
    CheckChange({data, data + size});
    return 0;
}
