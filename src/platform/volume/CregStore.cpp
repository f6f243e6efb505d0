#include "platform/volume/CregStore.h"

#include "base/Utf16Bytes.h"
#include "formats/Creg.h"

namespace bkfd {
namespace {

class TreeMaker final : public RegistryVisitor {
  public:
    TreeMaker(RegistryKey& root, const DecodeAnsi& decode, std::vector<std::string>& problems)
        : root_(root), key_(&root), decode_(decode), problems_(problems) {}

    void OnKey(TextView path) override { key_ = &root_.Make(path); }

    void OnValue(const RegistryValueView& value) override {
        Bytes data;
        for (const ByteView piece : value.data) data.insert(data.end(), piece.begin(), piece.end());
        const auto type = RegistryType{value.type};
        if (IsText(type)) data = TextData(data);
        key_->values.Set(value.name, {type, std::move(data)});
    }

    void OnUnreadable(TextView path, const std::string& what) override {
        problems_.push_back(path.empty() ? what : ToUtf8(path) + ": " + what);
    }

    void OnDeletion(TextView, const Text*) override {}

  private:
    static bool IsText(RegistryType type) {
        return type == RegistryType::String || type == RegistryType::ExpandString ||
               type == RegistryType::MultiString;
    }

    /// As programs get it from Windows: UTF-16 with a NUL.
    Bytes TextData(const Bytes& stored) const {
        Text text = decode_({reinterpret_cast<const char*>(stored.data()), stored.size()});
        if (text.empty() || text.back() != u'\0') text += u'\0';
        return ToUtf16Bytes(text);
    }

    RegistryKey& root_;
    RegistryKey* key_;
    const DecodeAnsi& decode_;
    std::vector<std::string>& problems_;
};

}  // namespace

std::unique_ptr<TreeStore> LoadCregStore(ByteView file, const DecodeAnsi& decode,
                                         std::vector<std::string>& problems) {
    auto root = std::make_unique<RegistryKey>(Text());
    TreeMaker maker(*root, decode, problems);
    const std::string error = WalkCreg(file, decode, maker);
    if (!error.empty()) problems.push_back(error);
    return std::make_unique<TreeStore>(std::move(root));
}

}  // namespace bkfd
