// change_hive FILE SCRATCH: changes a copy of a hive as a cleanup does, writes it, takes the
// changes back and compares byte by byte. SCRATCH gets the copy and its logs; the changed hive
// stays there as "changed", for readers of others. Prints a line, "refused: why" for a hive that
// isn't changed; ends with 0 unless something is wrong.

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>

#include "formats/HiveChecker.h"
#include "formats/HiveModel.h"
#include "platform/hive/RegistryCommit.h"

namespace bkfd {
namespace {

namespace fs = std::filesystem;
using Findings = std::map<std::string, std::size_t>;  // how often each rule is broken

struct Changed {
    Text key;
    Text name;
    RegistryValue former;
    bool isKey = false;
};

std::string Content(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

Findings Check(ByteView file) {
    Findings told;
    for (const auto& finding : CheckHive(file, 100'000)) ++told[Describe(finding.fault.rule)];
    return told;
}

class HiveTrial {
  public:
    HiveTrial(const std::string& file, std::string scratch) : scratch_(std::move(scratch)) {
        path_ = scratch_ + "/hive";
        fs::copy_file(file, path_);
        for (const std::string& log : FindHiveLogs(file)) {
            fs::copy_file(log, path_ + log.substr(file.size()));
        }
        before_ = Content(path_);
    }

    int Run() {
        if (!Open()) return 0;
        if (store_->State() == HiveState::Unrecovered) return Refused("no log fits");
        const Findings findings = Check(Sealed(store_->Content()));
        const std::size_t keys = ListHive(store_->Content()).keys.size();
        Change();
        if (changes_.empty()) return Refused("nothing in it can be changed");
        if (!Commit("1") || !Open() || !HoldsChanges()) return 1;
        for (const auto& [rule, count] : Check(store_->Content())) {
            const auto former = findings.find(rule);
            if (former != findings.end() && former->second >= count) continue;
            std::printf("WRONG: after the changes a cell %s\n", rule.c_str());
            return 1;
        }
        fs::copy_file(path_, scratch_ + "/changed");
        ChangeBack();
        if (!Commit("2")) return 1;
        if (Content(path_) != before_) return Wrong("the undo gave other bytes");
        std::printf("%zu changes of %zu keys and back\n", changes_.size(), keys);
        return 0;
    }

  private:
    static int Refused(const char* why) {
        std::printf("refused: %s\n", why);
        return 0;
    }
    static int Wrong(const char* what) {
        std::printf("WRONG: %s\n", what);
        return 1;
    }

    bool Open() {
        auto opened = HiveStore::Open(path_, {});
        if (const auto* const error = std::get_if<RegistryFileError>(&opened)) {
            Refused(error->message.c_str());
            return false;
        }
        store_ = std::get<std::unique_ptr<HiveStore>>(std::move(opened));
        return true;
    }

    /// At keys all over the hive: a value set, one deleted, a key made, a value too large for a
    /// cell.
    void Change() {
        const RegistryListing all = ListHive(store_->Content());
        // Data in segments of version 1.4 is unknown to most readers of others.
        const std::size_t large = Read32(store_->Content(), 24) == 4 ? 16'000 : 20'000;
        const std::size_t step = std::max<std::size_t>(1, all.keys.size() / 100);
        for (std::size_t i = 0; i < all.keys.size(); i += step) {
            const auto& key = all.keys[i];
            if (i / step % 3 == 0) Set(key.path, u"of bkfd \u0416", Bytes(i % 5 * 10));
            if (i / step % 7 == 0) Set(key.path + u"\\New\u00E4", u"", Bytes(large, 7));
            if (i / step % 2 == 0 && !key.values.empty()) Delete(key.path, key.values[0].name);
        }
    }

    void Set(const Text& key, const Text& name, Bytes data) {
        const bool isNew = store_->EnumValues(key).IsNotThere();
        if (store_->SetValue(key, name, {RegistryType::Binary, std::move(data)}).IsOk()) {
            changes_.push_back({key, name, {}, isNew});
        }
    }

    void Delete(const Text& key, const Text& name) {
        const auto former = store_->QueryValue(key, name);
        if (former.IsOk() && store_->DeleteValue(key, name).IsOk()) {
            changes_.push_back({key, name, former.value, false});
            deleted_.insert(changes_.size() - 1);
        }
    }

    bool HoldsChanges() {
        for (std::size_t i = 0; i < changes_.size(); ++i) {
            const auto value = store_->QueryValue(changes_[i].key, changes_[i].name);
            const bool isRight = deleted_.contains(i) ? value.IsNotThere() : value.IsOk();
            if (!isRight) return Wrong("a change isn't there") == 0;
        }
        return true;
    }

    void ChangeBack() {
        for (std::size_t i = changes_.size(); i-- > 0;) {
            const Changed& change = changes_[i];
            if (deleted_.contains(i)) {
                (void)store_->SetValue(change.key, change.name, change.former);
            } else {
                (void)store_->DeleteValue(change.key, change.name);
            }
            if (change.isKey) (void)store_->DeleteKey(change.key);
        }
    }

    bool Commit(const std::string& name) {
        RegistryCommit commit(scratch_, scratch_ + '/' + name + ".pages");
        commit.Add(*store_);
        commit.SetKept({scratch_ + "/1.pages"});
        const auto error = commit.Run();
        if (error) std::printf("WRONG: %s %s\n", error->file.c_str(), error->message.c_str());
        return !error;
    }

    std::string scratch_;
    std::string path_;
    std::string before_;
    std::unique_ptr<HiveStore> store_;
    std::vector<Changed> changes_;
    std::set<std::size_t> deleted_;
};

}  // namespace
}  // namespace bkfd

int main(int count, char** values) {
    if (count != 3) return 2;
    return bkfd::HiveTrial(values[1], values[2]).Run();
}
