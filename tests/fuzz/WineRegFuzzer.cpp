#include "formats/WineReg.h"
#include "fuzz/Fuzzer.h"

using namespace bkfd;

std::vector<Bytes> FuzzCorpus() {
    const std::string_view text =
        "WINE REGISTRY Version 2\n;; All keys relative to \\\\Machine\n\n#arch=win64\n\n"
        "[Software\\\\Wine] "
        "1700000000\n#time=1da165bc18c9a80\n#class=\"a\"\n@=\"a\\x20ac\\1\\\"\"\n"
        "\"b\"=hex:01,\\\n  02\n\"c\"=str(7):\"a\\0\"\n\"d\"=dword:1f\n\"e\"=hex(6):5c\n#link\n";
    return {Bytes(text.begin(), text.end())};
}

/// The lines follow each other without a gap, and no data is larger than its line says.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    WineRegReader reader({data, size});
    WineRegItem item;
    std::size_t end = 0;
    while (reader.Next(item)) {
        Require(item.begin == end && item.end > item.begin, "no gap between lines");
        end = item.end;
        const std::size_t length = item.end - item.begin;
        Require(item.data.size() <= 2 * length + 4, "the line bounds its data");
        Require(item.name.size() <= length, "and its name");
        Require((item.kind == WineRegKind::Malformed) != item.problem.empty(), "a problem is told");
    }
    Require(end == size, "the lines are the file");
    return 0;
}
