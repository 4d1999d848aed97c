#include "stream/growth.h"

#include <thread>

namespace qlip_tool {

namespace {
constexpr std::chrono::milliseconds kLookAgain{40};
}

Growth::Growth(FileHost& host, bool follow, Seconds patience)
    : host_(host), follow_(follow), patience_(patience), seen_(host.size()) {}

bool Growth::wait() {
    if (!follow_) return false;
    const auto give_up = std::chrono::steady_clock::now() + patience_;
    while (host_.size() <= seen_) {
        if (std::chrono::steady_clock::now() >= give_up) return false;
        std::this_thread::sleep_for(kLookAgain);
    }
    seen_ = host_.size();
    return true;
}

}  // namespace qlip_tool
