#include "host/growth.h"

#include <arpa/inet.h>

#include <cstring>
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

bool Growth::wait_for_structure() {
    while (!structure_is_whole()) {
        if (!wait()) return false;
    }
    return true;
}

// Walks the top-level boxes (ISO/IEC 14496-12 4.2) up to moov.
bool Growth::structure_is_whole() {
    struct {
        uint32_t size;
        char type[4];
    } box = {};
    uint64_t at = 0;
    while (host_.read_at(at, &box, sizeof box) == sizeof box) {
        const uint32_t size = ntohl(box.size);
        if (std::memcmp(box.type, "moov", 4) == 0) return at + size <= host_.size();
        if (size < sizeof box) return false;
        at += size;
    }
    return false;
}

}  // namespace qlip_tool
