#include "formats/ShellLink.h"

#include <algorithm>

namespace bkfd {
namespace {

constexpr std::size_t kHeaderSize = 0x4C;
constexpr std::string_view kClass{"\x01\x14\x02\0\0\0\0\0\xC0\0\0\0\0\0\0\x46",
                                  16};  // 00021401-0000-0000-C000-000000000046
constexpr std::uint32_t kEnvironmentBlock = 0xA0000001;
constexpr std::size_t kEnvironmentAnsiSize = 260;
constexpr std::size_t kEnvironmentWideSize = 520;

namespace LinkFlag {
constexpr std::uint32_t HasTargetIdList = 0x1;
constexpr std::uint32_t HasLinkInfo = 0x2;
constexpr std::uint32_t HasName = 0x4;
constexpr std::uint32_t HasRelativePath = 0x8;
constexpr std::uint32_t HasWorkingFolder = 0x10;
constexpr std::uint32_t HasArguments = 0x20;
constexpr std::uint32_t HasIconLocation = 0x40;
constexpr std::uint32_t IsUnicode = 0x80;
}  // namespace LinkFlag

Text WideUpToNul(ByteView bytes) {
    Text text;
    for (std::size_t at = 0; at + 1 < bytes.size() && Read16(bytes, at) != 0; at += 2) {
        text += static_cast<char16_t>(Read16(bytes, at));
    }
    return text;
}

std::string_view BytesUpToNul(ByteView bytes) {
    const auto end = std::find(bytes.begin(), bytes.end(), std::uint8_t{0});
    return {reinterpret_cast<const char*>(bytes.data()),
            static_cast<std::size_t>(end - bytes.begin())};
}

class Reader {
  public:
    Reader(ByteView bytes, const std::function<Text(std::string_view)>& decodeAnsi)
        : rest_(bytes), decode_(decodeAnsi) {}

    bool Read(ShellLink& link) {
        flags_ = Read32(rest_, 0x14);
        rest_ = rest_.subspan(kHeaderSize);
        return SkipIdList() && ReadLinkInfo(link) && ReadStrings(link) && ReadBlocks(link);
    }

  private:
    bool Has(std::uint32_t flag) const { return (flags_ & flag) != 0; }

    bool Take(std::size_t size, ByteView& part) {
        if (size > rest_.size()) return false;
        part = rest_.first(size);
        rest_ = rest_.subspan(size);
        return true;
    }

    bool SkipIdList() {
        if (!Has(LinkFlag::HasTargetIdList)) return true;
        ByteView skipped;
        return rest_.size() >= 2 && Take(std::size_t{2} + Read16(rest_, 0), skipped);
    }

    bool ReadLinkInfo(ShellLink& link) {
        if (!Has(LinkFlag::HasLinkInfo)) return true;
        ByteView info;
        if (rest_.size() < 4 || !Take(Read32(rest_, 0), info) || info.size() < 0x1C) return false;
        const std::uint32_t headerSize = Read32(info, 4);
        const bool isLocal = (Read32(info, 8) & 1) != 0;
        if (!isLocal) return true;
        if (headerSize >= 0x24 && info.size() >= 0x24) {
            link.localPath = WideUpToNul(Part(info, Read32(info, 0x1C))) +
                             WideUpToNul(Part(info, Read32(info, 0x20)));
        }
        if (!link.localPath.empty()) return true;
        link.localPath = decode_(BytesUpToNul(Part(info, Read32(info, 0x10)))) +
                         decode_(BytesUpToNul(Part(info, Read32(info, 0x18))));
        return true;
    }

    static ByteView Part(ByteView info, std::size_t offset) {
        return offset == 0 || offset >= info.size() ? ByteView() : info.subspan(offset);
    }

    bool ReadString(Text& text) {
        if (rest_.size() < 2) return false;
        const std::size_t count = Read16(rest_, 0);
        rest_ = rest_.subspan(2);
        ByteView part;
        if (!Take(Has(LinkFlag::IsUnicode) ? count * 2 : count, part)) return false;
        text = Has(LinkFlag::IsUnicode) ? WideUpToNul(part) : decode_(BytesUpToNul(part));
        return true;
    }

    bool ReadStrings(ShellLink& link) {
        Text ignored;
        const struct {
            std::uint32_t flag;
            Text& text;
        } strings[] = {{LinkFlag::HasName, ignored},
                       {LinkFlag::HasRelativePath, link.relativePath},
                       {LinkFlag::HasWorkingFolder, ignored},
                       {LinkFlag::HasArguments, link.arguments},
                       {LinkFlag::HasIconLocation, ignored}};
        return std::ranges::all_of(strings, [this](const auto& string) {
            return !Has(string.flag) || ReadString(string.text);
        });
    }

    /// Links of old systems may lack the mark of the end.
    bool ReadBlocks(ShellLink& link) {
        while (rest_.size() >= 8) {
            const std::uint32_t size = Read32(rest_, 0);
            const std::uint32_t kind = Read32(rest_, 4);
            ByteView block;
            if (size < 8) return true;
            if (!Take(size, block)) return false;
            if (kind != kEnvironmentBlock) continue;
            if (size < 8 + kEnvironmentAnsiSize + kEnvironmentWideSize) return false;
            link.environmentPath = WideUpToNul(block.subspan(8 + kEnvironmentAnsiSize));
            if (!link.environmentPath.empty()) continue;
            link.environmentPath = decode_(BytesUpToNul(block.subspan(8, kEnvironmentAnsiSize)));
        }
        return true;
    }

    ByteView rest_;
    const std::function<Text(std::string_view)>& decode_;
    std::uint32_t flags_ = 0;
};

}  // namespace

std::optional<ShellLink> ReadShellLink(ByteView bytes,
                                       const std::function<Text(std::string_view)>& decodeAnsi) {
    if (bytes.size() < kHeaderSize || Read32(bytes, 0) != kHeaderSize) return std::nullopt;
    if (!HasText(bytes, 4, kClass)) return std::nullopt;
    ShellLink link;
    if (!Reader(bytes, decodeAnsi).Read(link)) return std::nullopt;
    return link;
}

}  // namespace bkfd
