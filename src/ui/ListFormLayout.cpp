#include "ui/ListFormLayout.h"

#include "ui/Metrics.h"

namespace bkfd {

void LayOutListForm(const Form& form, const ListFormParts& parts) {
    using namespace Metrics;
    constexpr int kCloseWidth = 1200;
    const int width = form.Width() - 2 * kMargin;
    const int textLeft = kMargin + kPictureSize + kGap;
    const int promptTop = kMargin + kPictureSize + kGap;
    const int listTop = promptTop + kLabelHeight + kLabelGap;
    const int buttonTop = form.Height() - kMargin - kButtonHeight;
    const int closeLeft = form.Width() - kMargin - kCloseWidth;
    parts.picture.SetBounds({kMargin, kMargin, kPictureSize, kPictureSize});
    parts.text.SetBounds({textLeft, kMargin, form.Width() - kMargin - textLeft, kPictureSize});
    parts.prompt.SetBounds({kMargin, promptTop, width, kLabelHeight});
    parts.list.SetBounds({kMargin, listTop, width, buttonTop - kGap - listTop});
    parts.work.SetBounds(
        {closeLeft - kGap - parts.workWidth, buttonTop, parts.workWidth, kButtonHeight});
    parts.close.SetBounds({closeLeft, buttonTop, kCloseWidth, kButtonHeight});
}

}  // namespace bkfd
