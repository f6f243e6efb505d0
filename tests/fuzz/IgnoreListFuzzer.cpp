#include "fuzz/Fuzzer.h"
#include "ignore/IgnoreList.h"

using namespace bkfd;

namespace {

std::string_view AsText(const Bytes& bytes) {
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

/// Units of any kind as a path and a note.
void CheckNames(const Bytes& input) {
    Text name;
    for (std::size_t i = 0; i + 1 < input.size(); i += 2) {
        name += static_cast<char16_t>(input[i] | input[i + 1] << 8);
    }
    IgnoreList list = IgnoreList::Parse("Brackenfold ignore list 1\n");
    const IgnoreEntry entry = {
        {}, u"{" + Text(36, u'x') + u"}", name, u"2026-11-16 09:39:04", name};
    Require(list.Add(entry) && !list.Add(entry), "an entry is added once");
    const IgnoreList again = IgnoreList::Parse(list.Content());
    Require(again.Entries() == list.Entries(), "every name comes back");
}

}  // namespace

std::vector<Bytes> FuzzCorpus() {
    const std::string hash(64, 'a');
    const std::string list = "Brackenfold ignore list 1\r\n# \xC3\xA4\r\n\r\n" + hash +
                             "\t2026-11-16\r\n{12345678-1234-1234-1234-123456789ABC}\tC:\\<D800>"
                             "\t2026-11-16 09:39:04\tn";
    return {Bytes(list.begin(), list.end())};
}

/// A list is damaged and has no entries, or is written as it was read.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const Bytes input(data, data + size);
    CheckNames(input);
    IgnoreList list = IgnoreList::Parse(AsText(input));
    if (!list.Damage().empty()) {
        Require(list.Entries().empty(), "a damaged list has no entries");
        return 0;
    }
    const IgnoreList again = IgnoreList::Parse(list.Content());
    Require(again.Damage().empty() && again.Entries() == list.Entries(), "it is written as read");
    for (std::size_t left = list.Entries().size(); left > 0; --left) list.Remove(0);
    Require(IgnoreList::Parse(list.Content()).Damage().empty() && list.Entries().empty(),
            "comments stay when entries go");
    return 0;
}
