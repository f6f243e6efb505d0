#pragma once

#include <functional>
#include <list>
#include <map>
#include <string>
#include <unordered_map>

#include "platform/model/RegistryStore.h"
#include "platform/model/RegistryTree.h"

namespace bkfd {

/// A registry file of a Wine prefix. Lines that no change touches stay as they are; what is changed
/// is written in the server's own form, with the key's time. Data is decoded when it is asked for.
class WineStore final : public RegistryStore {
  public:
    /// FILETIME of a change.
    using Clock = std::function<std::uint64_t()>;

    /// `content` is the file's; `linkRoot` is what the targets of its links begin with, such as
    /// "\Registry\Machine".
    WineStore(std::string content, Text linkRoot, Clock clock);
    ~WineStore() override;

    /// Lines that could not be understood, with their numbers; they stay in the file.
    const std::vector<std::string>& Problems() const { return problems_; }
    bool IsChanged() const { return isChanged_; }
    /// The file as it is to be written.
    std::string Content() const;

    Status FindKey(TextView key) override;
    Result<std::uint64_t> LastWritten(TextView key) override;
    Result<RegistryValue> QueryValue(TextView key, TextView name) override;
    Result<std::vector<Text>> EnumKeys(TextView key) override;
    Result<std::vector<Text>> EnumValues(TextView key) override;
    Status MakeKey(TextView key) override;
    Status SetValue(TextView key, TextView name, const RegistryValue& value) override;
    Status DeleteValue(TextView key, TextView name) override;
    Status DeleteKey(TextView key) override;
    std::unique_ptr<RegistryStore> Fork() const override;

  private:
    /// One line, with those that continue it.
    struct Line {
        std::string_view old;  // of `content_`, if it wasn't changed
        std::string text;      // else
        Text name;             // of a value
        bool isValue = false;
    };
    /// A key's line and what follows it up to the next key. Before the first key there is one
    /// without a key.
    struct Section {
        Text path;
        std::list<Line> lines;
        std::size_t headLines = 0;  // the first ones, which say the key's name and time
        bool isLink = false;
        std::uint64_t time = 0;  // FILETIME; 0 if the file doesn't say
    };
    using Sections = std::list<Section>;
    /// A key; those above keys of the file may have no section of their own.
    struct Key {
        explicit Key(Text keyName = {}, Key* parent = nullptr)
            : name(std::move(keyName)), above(parent) {}

        Text name;
        Key* above;
        std::map<Text, std::unique_ptr<Key>, TextLess> keys;  // by lower-cased name
        std::vector<Sections::iterator> sections;             // several if the file repeats it
        std::unordered_map<Text, Line*> values;  // by lower-cased name; the last one counts
    };

    void Parse();
    Key& MakeNode(TextView path);
    /// The key's own node without following a link that it is itself.
    Key* FindNode(TextView path, bool followsLast, int depth = 0);
    Text LinkTarget(const Key& key) const;
    static Text PathOf(const Key& key);
    static std::string_view TextOf(const Line& line) {
        return line.text.empty() ? line.old : line.text;
    }
    static RegistryValue ValueOf(const Line& line);
    /// Null if there is none.
    static Line* FindValue(const Key& key, TextView name);
    /// Where a new section of the key stands: keys are sorted as far as the file's are.
    Sections::iterator PlaceFor(const Key& key);
    void AddSection(Key& key);
    void Touch(Section& section);

    std::string content_;
    Text linkRoot_;
    Clock clock_;
    Sections sections_;
    Key root_;
    std::vector<std::string> problems_;
    bool isChanged_ = false;
};

}  // namespace bkfd
