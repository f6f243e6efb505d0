#pragma once

#include "platform/image/ImageSettings.h"
#include "platform/model/ModelSystem.h"

namespace bkfd {

/// The time of an image: the time that it names, which moves only by sleeping while the image is
/// used, or the host's.
class ImageClock final : public ModelClock {
  public:
    explicit ImageClock(ImageTime time) : time_(time) {}

    const ImageTime& Time() const { return time_; }
    void SetTime(const ImageTime& time) { time_ = time; }
    /// The time with which the image's next use begins if this one changes something now.
    ImageTime ForNextUse();

    Date Now() override;
    std::uint32_t TickCount() override;
    void Sleep(std::uint32_t milliseconds) override;
    void Restart() override;

  private:
    Date BootTime();

    ImageTime time_;
    std::uint32_t slept_ = 0;
};

}  // namespace bkfd
