// The five judgments of one file, and the file size that they go by.

#include <gtest/gtest.h>

#include <optional>

#include "common/DetectionFixture.h"
#include "detection/CPaDetector.h"
#include "detection/MFileEnum.h"

namespace bkfd {
namespace {

// Sizes and hashes of the lists; 4096 is a size of both kinds.
constexpr std::size_t kBothSize = 4096;
constexpr std::size_t kParasiteSize = 2560;
constexpr std::size_t kGoodSize = 3584;
constexpr std::size_t kUnlistedSize = 4000;
constexpr std::int32_t kParasiteHash = 13084053;
constexpr std::int32_t kGoodHash = 5485141;
constexpr std::int32_t kUnlistedHash = 5485142;

Bytes Anonymous(std::size_t size, std::int32_t hash) {
    return Steered({}, size, hash);
}
Bytes Named(std::size_t size, std::int32_t hash) {
    return Steered(FileWithVersion({{u"CompanyName", u"Maker"}}), size, hash);
}

struct Detector : CPaDetector {
    Detector() = default;
    explicit Detector(const DetectionFixture& fixture) { Init(fixture.log, nullptr); }

    /// The judgments that say yes: Good, Suspicious, Parasite, and B with s and p for helper
    /// objects.
    std::string Verdict(const Text& file) {
        std::string verdict;
        if (IsGoodRunningModule(file)) verdict += "G";
        if (IsSuspiciousRunningModule(file)) verdict += "S";
        if (IsParasiteRunningModule(file)) verdict += "P";
        verdict += '|';
        if (IsSuspiciousBHO(file)) verdict += "S";
        if (IsParasiteBHO(file)) verdict += "P";
        return verdict;
    }
};

TEST(Judgments, OfEachKindOfFile) {
    const std::optional<Bytes> none;
    const Bytes good = Anonymous(kGoodSize, kGoodHash);
    const Bytes parasite = Anonymous(kParasiteSize, kParasiteHash);
    const Bytes plain = Anonymous(kUnlistedSize, kUnlistedHash);
    const Bytes makers = Named(kUnlistedSize, kUnlistedHash);
    const Bytes parasitesSize = Anonymous(kParasiteSize, kUnlistedHash);
    const struct {
        const char* label;
        std::optional<Bytes> content;
        const char* verdict;
        Text path = u"C:\\a\\x.dll";
    } rows[] = {
        {"good", good, "G|SP"},
        {"good size alone", Anonymous(kGoodSize, kUnlistedHash), "S|SP"},
        {"good hash alone", Anonymous(kUnlistedSize, kGoodHash), "S|SP"},
        {"parasite's hash, good size", Anonymous(kGoodSize, kParasiteHash), "S|SP"},
        {"good but for a company", Named(kGoodSize, kGoodHash), "|"},
        {"greatest hash", Bytes(kBothSize, 0xFF), "G|SP"},
        {"parasite", parasite, "SP|SP"},
        {"parasite's size alone", parasitesSize, "S|SP"},
        {"parasite's hash alone", Anonymous(kUnlistedSize, kParasiteHash), "S|SP"},
        {"parasite with a company", Named(kParasiteSize, kParasiteHash), "P|"},
        {"size of both, parasite's hash", Anonymous(kBothSize, kParasiteHash), "SP|SP"},
        {"size of both, good hash", Anonymous(kBothSize, kGoodHash), "G|SP"},
        {"plain", plain, "S|SP"},
        {"plain with a company", makers, "|"},
        // Names of running modules.
        {"32.exe", plain, "SP|SP", u"C:\\a\\abc32.exe"},
        {"32.EXE", plain, "SP|SP", u"C:\\a\\ABC32.EXE"},
        {"32.exe, parasite's size alone", parasitesSize, "SP|SP", u"C:\\a\\abc32.exe"},
        {"32.exe with a company", makers, "|", u"C:\\a\\rundll32.exe"},
        {"32.exe, good", good, "GP|SP", u"C:\\a\\abc32.exe"},
        {"32.exe, empty", Bytes(), "S|SP", u"C:\\a\\abc32.exe"},
        {"32.dll", plain, "S|SP", u"C:\\a\\abc32.dll"},
        {"se.dll", plain, "SP|SP", u"C:\\a\\SE.dll"},
        {"ends in se.dll", plain, "S|SP", u"C:\\a\\mouse.dll"},
        {"tmp with a company", makers, "P|", u"C:\\a\\setup.tmp.exe"},
        {"tmp in a longer ending", makers, "P|", u"C:\\a\\x.TMPL"},
        {"tmp in a folder", makers, "|", u"C:\\x.tmp\\setup.exe"},
        // Helper objects that are spared.
        {"reader", plain, "S|", u"C:\\x\\AcroIEHelper.ocx"},
        {"reader, another ending", plain, "S|SP", u"C:\\x\\AcroIEHelper.dll"},
        {"reader, longer name", plain, "S|SP", u"C:\\x\\xAcroIEHelper.ocx"},
        {"help", plain, "S|", u"C:\\x\\PCSHARED\\nmiehelp.dll"},
        {"help, another folder", plain, "S|SP", u"C:\\x\\nmiehelp.dll"},
        {"suspicious yet spared", plain, "S|S", u"C:\\x\\AcroIEFavClient.DLL"},
        // Files that aren't there.
        {"the session manager", none, "G|SP", u"\\SystemRoot\\System32\\smss.exe"},
        {"another one", none, "S|SP", u"\\SystemRoot\\System32\\csrss.exe"},
        {"32.exe", none, "S|SP", u"C:\\Windows\\abc32.exe"},
        {"tmp", none, "SP|SP", u"C:\\a.tmp"},
        {"a stream", none, "SP|SP", u"C:\\Windows\\calc.exe:hidden.dll"},
        {"no stream", none, "S|SP", u"C:\\Windows\\calc.exe"},
        {"a drive and a name", none, "SP|SP", u"c:name"},
        {"no path at all", none, "S|SP", u""},
        {"shorter than the endings", none, "S|SP", u"l"},
        {"the ending alone", none, "S|", u"\\acroiehelper.ocx"},
        {"a folder", none, "S|SP", u"C:\\WINDOWS"},
        {"a lone surrogate", none, "S|SP", Text(u"C:\\") + char16_t{0xD800} + u"32.exe"},
        {"an embedded NUL", none, "SP|SP", Text(u"C:\\\0.tmp", 8)},
        {"a long name", none, "S|SP", u"C:\\" + Text(32764, u'x')},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.label);
        DetectionFixture fixture;
        if (row.content) fixture.machine.AddFile(row.path, *row.content);
        EXPECT_EQ(Detector(fixture).Verdict(row.path), row.verdict);
        EXPECT_EQ(fixture.log->text, "");
        EXPECT_EQ(fixture.spy.OpenSearches(), 0);
    }
    // The session manager isn't touched.
    DetectionFixture fixture;
    EXPECT_TRUE(Detector(fixture).IsGoodRunningModule(u"\\SYSTEMROOT\\System32\\SMSS.EXE"));
    EXPECT_EQ(fixture.Calls("CreateFileW") + fixture.Calls("FindFirstFileA"), 0);
}

TEST(Judgments, HashOnlyBehindAListedSize) {
    DetectionFixture fixture;
    fixture.machine.AddFile(u"C:\\good", Anonymous(kGoodSize, kUnlistedHash));
    fixture.machine.AddFile(u"C:\\parasite", Anonymous(kParasiteSize, kUnlistedHash));
    fixture.machine.AddFile(u"C:\\unlisted", Anonymous(kUnlistedSize, kUnlistedHash));
    Detector detector(fixture);
    // A good size isn't a parasite's.
    detector.IsParasiteRunningModule(u"C:\\good");
    detector.IsParasiteRunningModule(u"C:\\unlisted");
    EXPECT_EQ(fixture.Calls("CreateFileW"), 0);
    detector.IsParasiteRunningModule(u"C:\\parasite");
    EXPECT_EQ(fixture.Calls("CreateFileW"), 1);
    // One opening for the version record, and a second one for the hash, once each.
    detector.IsSuspiciousRunningModule(u"C:\\unlisted");
    EXPECT_EQ(fixture.Calls("CreateFileW"), 1 + 1);
    detector.IsSuspiciousRunningModule(u"C:\\good");
    detector.IsSuspiciousRunningModule(u"C:\\good");
    EXPECT_EQ(fixture.Calls("CreateFileW"), 1 + 1 + 2);
}

TEST(Judgments, LogAFailureAndSayNo) {
    DetectionFixture fixture;
    fixture.machine.AddFile(u"C:\\a\\abc32.exe", Anonymous(kParasiteSize, kParasiteHash));
    Detector detector;
    // A manager that is given isn't taken, which leaves the detector without one.
    detector.Init(fixture.log, std::make_shared<CFileInfoManager>());
    gHashier.reset();
    EXPECT_EQ(detector.Verdict(u"C:\\a\\abc32.exe"), "|");
    std::string expected;
    for (const char* operation :
         {"IsGoodRunningModule", "IsGoodRunningModule", "IsSuspiciousRunningModule",
          "IsParasiteRunningModule", "IsSuspiciousBHO", "IsParasiteBHO"}) {
        expected += "91 0 CPaDetector." + std::string(operation) + ": Object variable not set\n";
    }
    EXPECT_EQ(fixture.log->text, expected);
}

TEST(GetFileSizeLow, TellsTheSizeOfAFile) {
    DetectionFixture fixture;
    fixture.machine.AddFile(u"C:\\a\\one.dll", Bytes(77));
    EXPECT_EQ(GetFileSizeLow(u"C:\\a\\one.dll"), 77);
    EXPECT_EQ(GetFileSizeLow(u"C:\\a\\o?e.*"), 77);
    EXPECT_EQ(GetFileSizeLow(u"C:\\a\\two.dll"), 0);
    EXPECT_EQ(GetFileSizeLow(u""), 0);
    EXPECT_EQ(fixture.spy.OpenSearches(), 0);
}

}  // namespace
}  // namespace bkfd
