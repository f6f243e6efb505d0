// WriteHiveSamples FOLDER: registry files for foreign_readers_test.py, in folders made before.

#include <fstream>
#include <string>

#include "formats/CregSample.h"
#include "formats/HiveLogSamples.h"
#include "formats/HiveModel.h"
#include "formats/HiveSamples.h"

namespace bkfd {
namespace {

void Write(const std::string& path, const Bytes& content) {
    std::ofstream(path, std::ios::binary)
        .write(reinterpret_cast<const char*>(content.data()),
               static_cast<std::streamsize>(content.size()));
}

/// 700 subkeys in leaves of 300 under one list, and data of every kind of length.
HiveMakerKey ManyThings(std::uint32_t minor) {
    HiveMakerKey root{u"ROOT", {}, {}, samples::ListOf(minor), 0, {}};
    root.entriesALeaf = 300;
    for (std::size_t i = 0; i < 700; ++i) {
        root.subkeys.push_back({FromAscii("key" + std::to_string(1000 + i))});
    }
    for (const std::size_t size : {0U, 1U, 2U, 3U, 4U, 5U, 1000U, 16'344U, 16'345U, 50'000U}) {
        Bytes data(size);
        for (std::size_t i = 0; i < size; ++i) data[i] = static_cast<std::uint8_t>(i / 256 + i);
        root.values.push_back({FromAscii("data" + std::to_string(size)), 3, std::move(data)});
    }
    for (std::uint32_t type = 0; type < 14; ++type) {
        const Text text = u"text of type " + ToText(type) + u"\u20AC\\/,%\n";
        root.values.push_back({u"type, " + ToText(type), type, ToUtf16Bytes(text + u'\0')});
    }
    return root;
}

/// After many changes at random, told to the editor in the same way each time.
Bytes Changed(const HiveMakerKey& root, std::uint32_t minor, bool hasOddNames) {
    HiveRoom room(HiveMaker(root, minor).File(), std::size_t{4} << 20);
    HiveEditor editor = room.Edit();
    RandomChanges changes(editor, minor, hasOddNames);
    changes.Learn();
    for (int step = 0; step < 2000; ++step) (void)changes.Step();
    return Sealed(editor.File());
}

/// So many subkeys, added one by one.
Bytes Grown(const char* list, int count) {
    HiveRoom room(HiveMaker({u"ROOT", {}, {{u"first"}}, list, 0, {}}).File(), std::size_t{4} << 20);
    HiveEditor editor = room.Edit();
    for (int i = 0; i < count; ++i) {
        const Text name = u"key" + ToText(i * 2741 % count);
        (void)editor.MakeKeys(editor.Cells().View().BaseBlock().root, {&name, 1});
    }
    return Sealed(editor.File());
}

void WriteAll(const std::string& folder) {
    Write(folder + "/changed_5", Changed(samples::SmallRoot(), 5, true));
    Write(folder + "/changed_3", Changed({u"ROOT", {}, {{u"a"}, {u"b"}}, "lf", 0, {}}, 3, false));
    Write(folder + "/grown_lh", Grown("lh", 5000));
    Write(folder + "/grown_li", Grown("li", 1500));

    for (const std::uint32_t minor : {3U, 4U, 5U}) {
        const std::string name = "/of_version_" + std::to_string(minor);
        Write(folder + name, HiveMaker(samples::SmallRoot(minor), minor).File());
        // Data in segments is known to two of the readers from version 1.5 on.
        if (minor != 4) Write(folder + name + "_large", HiveMaker(ManyThings(minor), minor).File());
    }
    Write(folder + "/USER.DAT", samples::CregFile());
    Bytes dirty = samples::Version(0);
    samples::SetSequences(dirty, 8, 7);
    Write(folder + "/new/Hive", dirty);
    Write(folder + "/new/HIVE.LOG1", samples::NewLog(9, {3}));
    Write(folder + "/new/hive.log2", samples::NewLog(7, {1, 2}));
    Write(folder + "/new/RecoveredHive", samples::Version(3));
    Write(folder + "/old/Hive", dirty);
    Write(folder + "/old/Hive.LOG", samples::OldLog(8, 4));
}

}  // namespace
}  // namespace bkfd

int main(int count, char** values) {
    if (count != 2) return 2;
    bkfd::WriteAll(values[1]);
    return 0;
}
