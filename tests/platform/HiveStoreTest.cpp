#include "platform/hive/HiveStore.h"

#include <gmock/gmock.h>
#include <unistd.h>

#include "common/HostFolder.h"
#include "formats/HiveLogSamples.h"
#include "formats/HiveSamples.h"
#include "platform/hive/RegistryCommit.h"

namespace bkfd {
namespace {

using samples::SmallRoot;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

std::string ToString(ByteView bytes) {
    return {bytes.begin(), bytes.end()};
}

class HiveStoreTest : public testing::Test {
  protected:
    void Write(const std::string& name, ByteView bytes) { folder_.Write(name, ToString(bytes)); }

    std::unique_ptr<HiveStore> Open(const std::string& name) {
        auto opened =
            HiveStore::Open(folder_.Path(name), {u"\\Registry\\Machine\\SOFTWARE", FileTimeNow});
        if (const auto* const error = std::get_if<RegistryFileError>(&opened)) {
            refusal_ = error->message;
            return nullptr;
        }
        return std::get<std::unique_ptr<HiveStore>>(std::move(opened));
    }

    HostFolder folder_;
    std::string refusal_;
};

HiveMakerValue Link(const Text& target) {
    return {u"SymbolicLinkValue", 6, ToUtf16Bytes(target)};
}

TEST_F(HiveStoreTest, FollowsLinksWithinTheHiveOnly) {
    const Text top = u"\\registry\\machine\\software";
    HiveMakerKey root{u"ROOT"};
    root.subkeys = {{u"Circle", {Link(top + u"\\Circle")}},
                    {u"Classes", {{u"value", 4, {1, 0, 0, 0}}}, {{u"CLSID"}}},
                    {u"Into", {Link(top + u"\\Classes")}},
                    {u"Out", {Link(u"\\Registry\\Machine\\SYSTEM\\Select")}},
                    {u"Softer", {Link(top + u"ware\\Classes")}},
                    {u"Top", {Link(top)}}};
    const HiveMaker made(root);
    Bytes file = made.File();
    for (const char16_t* const name : {u"\\Circle", u"\\Into", u"\\Out", u"\\Softer", u"\\Top"}) {
        file[hive::kBaseBlockSize + made.KeyAt(name) + 4 + 2] |= hive::kIsLink;
    }
    Write("hive", file);
    const auto store = Open("hive");
    ASSERT_NE(store, nullptr) << refusal_;
    const struct {
        const char16_t* key;
        std::uint32_t code;
    } rows[] = {
        {u"Into", SystemError::Success},
        {u"\\top\\\\INTO\\", SystemError::Success},
        {u"Top\\Top\\Into", SystemError::Success},
        {u"Into\\missing", SystemError::FileNotFound},
        {u"Out", SystemError::CantResolveFilename},
        {u"Out\\Current", SystemError::CantResolveFilename},
        {u"Softer", SystemError::CantResolveFilename},
        {u"Circle\\x", SystemError::CantResolveFilename},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(store->QueryValue(row.key, u"VALUE").code, row.code) << ToUtf8(row.key);
    }
    EXPECT_TRUE(store->SetValue(u"Into\\CLSID\\{1}\\x", u"", {RegistryType::String, {}}).IsOk());
    EXPECT_THAT(store->EnumKeys(u"Classes\\CLSID\\{1}").value, ElementsAre(u"x"));
    EXPECT_EQ(store->SetValue(u"Out\\New", u"", {}).code, SystemError::CantResolveFilename);
    EXPECT_TRUE(store->DeleteKey(u"Into").IsOk());
    EXPECT_TRUE(store->QueryValue(u"Classes", u"value").IsOk()) << "only the link is gone";
}

TEST_F(HiveStoreTest, TellsWhatCantBeReadByItsPlace) {
    const HiveMaker made(SmallRoot());
    Bytes file = made.File();
    const CellOffset abc = made.KeyAt(u"\\Fast\\abc");
    const CellOffset number = made.ValueAt(u"\\number");
    for (const CellOffset cell : {abc, number}) file[hive::kBaseBlockSize + cell + 4] = 'x';
    Write("hive", file);
    const auto store = Open("hive");
    ASSERT_NE(store, nullptr);
    const auto keys = store->EnumKeys(u"Fast").value;
    ASSERT_EQ(keys.size(), 3U);
    EXPECT_THAT(ToUtf8(keys[0]), HasSubstr("cell 0x"));
    EXPECT_EQ(keys[1], u"abcd");
    EXPECT_EQ(store->EnumKeys(u"Fast\\" + keys[0]).code, SystemError::RegistryCorrupt);
    EXPECT_TRUE(store->EnumKeys(u"Fast\\abcd").IsOk());
    const auto values = store->EnumValues({}).value;
    ASSERT_EQ(values.size(), 3U);
    EXPECT_EQ(store->QueryValue({}, values[1]).code, SystemError::RegistryCorrupt);
    EXPECT_TRUE(store->QueryValue({}, u"").IsOk());
    // It may be the one that can't be read.
    EXPECT_EQ(store->SetValue({}, u"number", {}).code, SystemError::RegistryCorrupt);
    EXPECT_FALSE(store->IsChanged());
}

TEST_F(HiveStoreTest, AForkKeepsItsChangesToItself) {
    Write("hive", HiveMaker(SmallRoot()).File());
    const auto store = Open("hive");
    EXPECT_TRUE(store->MakeKey(u"Fast\\first").IsOk());
    const auto fork = store->Fork();
    EXPECT_TRUE(fork->DeleteKey(u"Fast\\first").IsOk());
    EXPECT_TRUE(fork->MakeKey(u"Fast\\second").IsOk());
    EXPECT_TRUE(fork->SetValue({}, u"large", {RegistryType::Binary, Bytes(100'000)}).IsOk());
    EXPECT_THAT(store->EnumKeys(u"Fast").value, ElementsAre(u"abc", u"abcd", u"abcde", u"first"));
    EXPECT_THAT(fork->EnumKeys(u"Fast").value, ElementsAre(u"abc", u"abcd", u"abcde", u"second"));
    EXPECT_EQ(store->QueryValue({}, u"large").code, SystemError::FileNotFound);
}

TEST_F(HiveStoreTest, RefusesChangesWhereTheyWouldLoseSomething) {
    Write("hive", HiveMaker(SmallRoot()).File());
    Bytes dirty = samples::Version(0);
    samples::SetSequences(dirty, 8, 7);
    Write("dirty/hive", dirty);
    Write("logged/hive", dirty);
    Write("logged/HIVE.Log1", samples::NewLog(7, {1, 2}));
    folder_.Write("no hive", "regf");

    const auto clean = Open("hive");
    EXPECT_EQ(clean->DeleteKey(u"Fast").code, SystemError::AccessDenied);
    EXPECT_EQ(clean->DeleteKey(u"").code, SystemError::AccessDenied);
    EXPECT_EQ(clean->DeleteKey(u"Slow").code, SystemError::FileNotFound);
    EXPECT_EQ(clean->MakeKey(Text(256, u'k')).code, SystemError::InvalidParameter);
    Text deep;
    for (int level = 0; level < 600; ++level) deep += u"k\\";
    EXPECT_EQ(clean->MakeKey(deep).code, SystemError::InvalidParameter);
    EXPECT_FALSE(clean->IsChanged());

    const auto unrecovered = Open("dirty/hive");
    EXPECT_EQ(unrecovered->State(), HiveState::Unrecovered);
    EXPECT_EQ(unrecovered->QueryValue({}, u"version").value.data[0], 0);
    EXPECT_EQ(unrecovered->SetValue({}, u"version", {}).code, SystemError::WriteProtect);
    EXPECT_EQ(unrecovered->MakeKey(u"k").code, SystemError::WriteProtect);
    EXPECT_EQ(unrecovered->DeleteValue({}, u"version").code, SystemError::WriteProtect);

    const auto recovered = Open("logged/hive");
    EXPECT_EQ(recovered->QueryValue({}, u"version").value.data[0], 2);
    EXPECT_FALSE(recovered->IsChanged()) << "reading alone writes nothing";
    EXPECT_THAT(recovered->ReplayedLogs(), ElementsAre(folder_.Path("logged/HIVE.Log1")));

    EXPECT_EQ(Open("no hive"), nullptr);
    EXPECT_EQ(refusal_, "is no hive");
    EXPECT_EQ(Open("dirty"), nullptr);
    EXPECT_EQ(refusal_, "is no regular file, or lies behind a link");
    EXPECT_EQ(Open("none"), nullptr);
}

TEST_F(HiveStoreTest, KeysMayHaveNoNameOrTheLongestOne) {
    const Text longest(255, u'k');
    const HiveMakerValue value{u"v", 4, {1, 0, 0, 0}};
    Write("hive", HiveMaker({u"ROOT", {}, {{u"", {value}}, {longest, {value}}}}).File());
    const auto store = Open("hive");
    ASSERT_NE(store, nullptr);
    EXPECT_THAT(store->EnumKeys({}).value, ElementsAre(u"", longest));
    EXPECT_TRUE(store->QueryValue(longest, u"v").IsOk());
    EXPECT_TRUE(store->MakeKey(longest + u"\\" + longest).IsOk());
    EXPECT_EQ(store->MakeKey(longest + u"k").code, SystemError::InvalidParameter);
}

TEST_F(HiveStoreTest, AHiveThatIsShorterThanItSaysIsTold) {
    const Bytes whole = HiveMaker(SmallRoot()).File();
    Write("hive", ByteView(whole).first(whole.size() - 1));
    const auto store = Open("hive");
    ASSERT_NE(store, nullptr);
    EXPECT_TRUE(store->HasFailed());
    EXPECT_THAT(store->Notes(), ElementsAre("is shorter than it says"));
}

TEST_F(HiveStoreTest, ADiskErrorIsAnErrorAndNotTheEnd) {
    HiveMakerKey root = SmallRoot();
    root.values.push_back({u"large", 3, Bytes(100'000, 7)});
    Write("hive", HiveMaker(root, 3).File());
    const auto store = Open("hive");
    ASSERT_NE(store, nullptr);
    EXPECT_THAT(store->Notes(), IsEmpty());
    // What lies behind a file's end can't be read either.
    ASSERT_EQ(truncate(folder_.Path("hive").c_str(), 8192), 0);
    (void)store->QueryValue({}, u"large");
    EXPECT_TRUE(store->HasFailed());
    EXPECT_THAT(store->Notes(), ElementsAre("has a part that the disk doesn't give"));
}

}  // namespace
}  // namespace bkfd
