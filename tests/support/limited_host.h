// Limits whose lines are kept, and a record with them in front of a host's.
#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "qlip/limits.h"

namespace qlip_test {

// The limits of one object; `kept` holds level and text.
struct KeptLines : qlip_limits {
    KeptLines() : qlip_limits(QLIP_LIMITS_INIT) {
        line = take;
        user = &kept;
    }
    KeptLines(const KeptLines&) = delete;
    KeptLines& operator=(const KeptLines&) = delete;

    using Lines = std::vector<std::pair<int, std::string>>;
    static void take(int level, const char* text, void* lines) {
        static_cast<Lines*>(lines)->emplace_back(level, text);
    }
    Lines kept;
};

using LimitedRecord =
    std::unique_ptr<_TAG_QLIP_IOSTREAM_CALLBACK_INTERFACE, decltype(&qlip_FreeLimitedCallbacks)>;

inline LimitedRecord limited(_TAG_QLIP_IOSTREAM_CALLBACK_INTERFACE* record, const qlip_limits& limits) {
    return {qlip_LimitCallbacks(record, &limits), qlip_FreeLimitedCallbacks};
}

// The lowest limit with which an action on a film works, and one below which it is refused, with one line.
template <class Works>
uint64_t lowest(uint64_t qlip_limits::*limit, Works works) {
    uint64_t refused = 0, worked = 1 << 20;
    while (worked - refused > 1) {
        KeptLines limits;
        const uint64_t tried = limits.*limit = (worked + refused) / 2;
        (works(limits) ? worked : refused) = tried;
    }
    return worked;
}

}  // namespace qlip_test
