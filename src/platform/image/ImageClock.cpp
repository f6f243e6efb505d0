#include "platform/image/ImageClock.h"

#include <time.h>

#include <algorithm>
#include <cmath>

#include "platform/files/HostFiles.h"

namespace bkfd {
namespace {

/// How long a use takes that changes something, for the time of the next one.
constexpr std::int64_t kSecondsAUse = 60;
constexpr double kSecondsADay = 86'400;
/// What an image of the host's clock has been up for beyond the host itself.
constexpr std::uint64_t kUpBeforeHost = 3'600'000;

/// For machine.json, which can't tell of a time behind the year 9999.
Date LaterToKeep(Date date, std::int64_t seconds) {
    static const Date last = ToDate({9999, 12, 31, 23, 59, 59, 0});
    return std::min(AddSeconds(date, seconds), last);
}

Date HostNow() {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    return ToLocalDate(now);
}

std::uint64_t HostUptime() {
    timespec up{};
    clock_gettime(CLOCK_BOOTTIME, &up);
    return static_cast<std::uint64_t>(up.tv_sec) * 1000 +
           static_cast<std::uint64_t>(up.tv_nsec) / 1'000'000;
}

}  // namespace

Date ImageClock::Now() {
    if (!time_.now) return HostNow();
    return AddSeconds(*time_.now, slept_ / 1000);
}

std::uint32_t ImageClock::TickCount() {
    if (time_.uptimeMs) return *time_.uptimeMs + slept_;
    if (time_.now) return static_cast<std::uint32_t>(kUpBeforeHost) + slept_;
    if (!time_.bootTime) return static_cast<std::uint32_t>(HostUptime() + kUpBeforeHost);
    const double milliseconds = (HostNow() - *time_.bootTime) * kSecondsADay * 1000;
    return static_cast<std::uint32_t>(static_cast<std::uint64_t>(std::fmax(milliseconds, 0)));
}

void ImageClock::Sleep(std::uint32_t milliseconds) {
    if (time_.now) {
        slept_ += milliseconds;
        return;
    }
    const timespec span{milliseconds / 1000, static_cast<long>(milliseconds % 1000) * 1'000'000};
    nanosleep(&span, nullptr);
}

ImageTime ImageClock::ForNextUse() {
    if (!time_.now) return time_;
    ImageTime next = time_;
    next.now = LaterToKeep(Now(), kSecondsAUse);
    // Given, so that Windows started when it did.
    next.uptimeMs = TickCount() + static_cast<std::uint32_t>(kSecondsAUse * 1000);
    return next;
}

Date ImageClock::BootTime() {
    return AddSeconds(Now(), -static_cast<std::int64_t>(TickCount() / 1000));
}

void ImageClock::Restart() {
    if (time_.now) {
        time_.now = LaterToKeep(Now(), kRestartSeconds);
        time_.uptimeMs = 0;
        slept_ = 0;
        return;
    }
    // Two restarts at once, which a real machine couldn't do, still give two boot times.
    const Date before = BootTime();
    const Date now = HostNow();
    const bool isApart = (now - before) * kSecondsADay >= kRestartSeconds;
    time_.bootTime = isApart ? now : AddSeconds(before, -kRestartSeconds);
    time_.uptimeMs.reset();
}

}  // namespace bkfd
