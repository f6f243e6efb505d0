#pragma once

#include "win32/WindowHandles.h"

namespace bkfd::native {

/// The windows' font and its variations. The plain one belongs to the toolkit.
class TextFonts {
  public:
    explicit TextFonts(HFONT plain)
        : plain_(plain), bold_(Variation(FW_BOLD, FALSE)), link_(Variation(0, TRUE)) {}

    HFONT Plain() const { return plain_; }
    HFONT Bold() const { return bold_.Get(); }
    HFONT Link() const { return link_.Get(); }

  private:
    /// `weight` is 0 for the plain font's.
    OwnedFont Variation(LONG weight, BYTE underline) const {
        LOGFONTA description = {};
        ::GetObjectA(plain_, sizeof description, &description);
        if (weight != 0) description.lfWeight = weight;
        description.lfUnderline = underline;
        return OwnedFont(::CreateFontIndirectA(&description));
    }

    HFONT plain_;
    OwnedFont bold_;
    OwnedFont link_;
};

}  // namespace bkfd::native
