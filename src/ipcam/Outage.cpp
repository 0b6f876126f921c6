#include "ipcam/Outage.h"

#include <fmt/format.h>

#include <algorithm>
#include <ctime>
#include <utility>

namespace ovelo {

namespace {

Bytes blackPicture() {
    Bytes rgba(picturefile::kSize, std::uint8_t{0});
    for (std::size_t alpha = 3; alpha < rgba.size(); alpha += 4) {
        rgba[alpha] = 0xff;
    }
    return rgba;
}

} // namespace

Outage::Outage(const IPCamTiming& timing, const Clock& clock)
    : timing_(timing)
    , clock_(clock)
    , lastPicture_(blackPicture())
    , lastSeen_(clock.timeOfDay().seconds)
    , pause_(timing.firstPause) {
}

void Outage::end(Bytes rgba) {
    lastPicture_ = std::move(rgba);
    lastSeen_ = clock_.timeOfDay().seconds;
    pause_ = timing_.firstPause;
    isOn_ = false;
}

std::chrono::milliseconds Outage::begin() {
    isOn_ = true;
    return std::exchange(pause_, std::min(pause_ * 2, timing_.longestPause));
}

std::string Outage::text() const {
    const std::time_t moment = lastSeen_;
    std::tm local{};
    ::localtime_r(&moment, &local);
    return fmt::format("NO SIGNAL since {:02}:{:02}", local.tm_hour, local.tm_min);
}

} // namespace ovelo
