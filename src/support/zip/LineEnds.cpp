#include "support/zip/LineEnds.h"

#include <algorithm>

namespace bkfd {
namespace {

constexpr std::size_t kPiece = 4096;

/// Reads pieces of the content and holds what is converted and not yet taken.
class Converter {
  public:
    Converter(LineEnds conversion, ContentReader content)
        : conversion_(conversion), content_(std::move(content)) {}

    std::size_t operator()(std::span<std::uint8_t> buffer) {
        while (taken_ == ready_.size() && !isAtEnd_) Refill();
        const std::size_t count = std::min(buffer.size(), ready_.size() - taken_);
        std::copy_n(ready_.begin() + static_cast<std::ptrdiff_t>(taken_), count, buffer.begin());
        taken_ += count;
        return count;
    }

  private:
    void Refill() {
        Bytes piece(kPiece);
        piece.resize(content_(piece));
        ready_.clear();
        taken_ = 0;
        isAtEnd_ = piece.empty();
        if (isFirst_ && std::ranges::find(piece, 0) != piece.end()) conversion_ = LineEnds::Keep;
        isFirst_ = false;
        for (const std::uint8_t byte : piece) Put(byte);
        if (isAtEnd_ && isCrPending_) ready_.push_back('\r');
    }

    void Put(std::uint8_t byte) {
        if (conversion_ == LineEnds::Keep) {
            ready_.push_back(byte);
            return;
        }
        const bool isPair = isCrPending_ && byte == '\n';
        if (isCrPending_ && !(isPair && conversion_ == LineEnds::CrLfToLf)) ready_.push_back('\r');
        if (byte == '\n' && !isPair && conversion_ == LineEnds::LfToCrLf) ready_.push_back('\r');
        isCrPending_ = byte == '\r';
        if (!isCrPending_) ready_.push_back(byte);
    }

    LineEnds conversion_;
    ContentReader content_;
    Bytes ready_;
    std::size_t taken_ = 0;
    bool isFirst_ = true;
    bool isCrPending_ = false;
    bool isAtEnd_ = false;
};

}  // namespace

ContentReader ConvertLineEnds(LineEnds conversion, ContentReader content) {
    if (conversion == LineEnds::Keep) return content;
    return Converter(conversion, std::move(content));
}

}  // namespace bkfd
