#include "formats/HiveWalk.h"

#include <algorithm>

namespace bkfd {

using namespace hive;

namespace {

class HiveWalker {
  public:
    HiveWalker(const Hive& hive, RegistryVisitor& visitor)
        : hive_(hive),
          visitor_(visitor),
          keysLeft_(hive.BinsSize() / kKeySize + 1),
          valuesLeft_(hive.BinsSize() / kValueSize + 1),
          dataLeft_(hive.BinsSize() + 4 * valuesLeft_) {}

    void Run() {
        const HiveBaseBlock& base = hive_.BaseBlock();
        if (base.binsSize == 0 || base.binsSize % kBinUnit != 0) {
            Tell({HiveRule::BinsSize, kNoCell});
        } else if (base.binsSize > hive_.BinsSize()) {
            visitor_.OnUnreadable({}, std::string("the hive ") + Describe(HiveRule::CutOff));
        }
        const auto root = hive_.Root();
        if (!root) return Tell(*root.fault);
        Visit(*root);
    }

  private:
    void Tell(const HiveFault& fault) { visitor_.OnUnreadable(path_, Describe(fault)); }

    void Visit(const HiveKey& key) {
        above_.push_back(key.Offset());
        visitor_.OnKey(path_);
        hive_.ForEachValue(key, [&](const HiveResult<HiveValue>& value) {
            if (valuesLeft_ == 0) {
                Tell({HiveRule::ValueTooMany, key.Offset()});
                return false;
            }
            --valuesLeft_;
            VisitValue(value);
            return true;
        });
        hive_.ForEachSubkey(key, [&](const HiveResult<HiveListEntry>& entry) {
            if (keysLeft_ == 0) {
                Tell({HiveRule::KeyTooMany, key.Offset()});
                return false;
            }
            --keysLeft_;
            VisitEntry(entry);
            return true;
        });
        above_.pop_back();
    }

    void VisitValue(const HiveResult<HiveValue>& value) {
        if (!value) return Tell(*value.fault);
        auto fault = hive_.Data(*value, pieces_);
        if (!fault && value->DataSize() > dataLeft_) {
            fault = HiveFault{HiveRule::DataTooMuch, value->Offset()};
        }
        if (fault) return Tell(*fault);
        dataLeft_ -= value->DataSize();
        name_.clear();
        value->Name().AppendTo(name_);
        visitor_.OnValue({name_, value->Type(), pieces_});
    }

    void VisitEntry(const HiveResult<HiveListEntry>& entry) {
        if (!entry) return Tell(*entry.fault);
        const auto key = hive_.Key(entry->key);
        if (!key) return Tell(*key.fault);
        if (std::ranges::find(above_, entry->key) != above_.end()) {
            return Tell({HiveRule::KeyCircle, entry->key});
        }
        if (above_.size() >= kDeepestKey) return Tell({HiveRule::KeyDepth, entry->key});
        const std::size_t length = path_.size();
        path_ += u'\\';
        key->Name().AppendTo(path_);
        Visit(*key);
        path_.resize(length);
    }

    const Hive& hive_;
    RegistryVisitor& visitor_;
    std::size_t keysLeft_;  // what a hive that lists no key twice can't use up
    std::size_t valuesLeft_;
    std::uint64_t dataLeft_;
    Text path_;
    Text name_;
    std::vector<CellOffset> above_;
    std::vector<ByteView> pieces_;
};

}  // namespace

void WalkHive(const Hive& hive, RegistryVisitor& visitor) {
    HiveWalker(hive, visitor).Run();
}

}  // namespace bkfd
