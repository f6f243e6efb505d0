#include "formats/HiveChecker.h"
#include "formats/HiveModel.h"
#include "formats/HiveSamples.h"
#include "fuzz/Fuzzer.h"

using namespace bkfd;

std::vector<Bytes> FuzzCorpus() {
    HiveMakerKey large{u"ROOT", {{u"data", 3, Bytes(20'000)}}, {{u"a"}, {u"b"}}, "lh", 1, {}};
    return {HiveMaker(samples::SmallRoot()).File(), HiveMaker(large, 4).File()};
}

/// Whatever a hive is like: the pages that changes have noted are enough to take them back, and a
/// hive that is right stays right.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const ByteView file(data, size);
    if (!std::holds_alternative<Hive>(Hive::Open(file))) return 0;
    const bool isRight = CheckHive(file, 1).empty();
    HiveRoom room(file, std::size_t{1} << 18);
    HiveEditor editor = room.Edit();
    RandomChanges changes(editor, static_cast<unsigned>(size));
    changes.Learn();
    for (int step = 0; step < 8; ++step) (void)changes.Step();
    const Bytes former = PutPagesBack(editor, file);
    Require(std::ranges::equal(former, file), "changes can be taken back by their pages");
    Require(!isRight || CheckHive(Sealed(editor.File()), 1).empty(), "what is right stays right");
    return 0;
}
