// What stands between the entry points and everything behind them.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <new>

#include "qlip/qlip.h"

namespace qlip::kit {

// Runs `action`, which returns a status, and lets no exception out.
template <class Action>
int guarded(Action action) noexcept {
    try {
        return action();
    } catch (const std::bad_alloc&) {
        return QLIP_NO_MEMORY;
    } catch (...) {
        return QLIP_FAILURE;
    }
}

// Copies a caller's record, which begins with its size, over the defaults in `known`. False when the size
// cannot be meant: a record of another age is longer or shorter, but none is empty, or larger than any will
// ever be.
template <class Record>
bool take_record(Record& known, const Record* given) {
    constexpr size_t kLargest = 4096;
    size_t size = 0;
    std::memcpy(&size, given, sizeof size);
    if (size <= sizeof size || size > kLargest) return false;
    std::memcpy(&known, given, std::min(size, sizeof known));
    return true;
}

// The other way: as much of `facts` as the caller's record has room for, but not its size.
template <class Record>
bool give_record(Record* to, const Record& facts) {
    Record scratch;
    if (!take_record(scratch, to)) return false;
    size_t size = 0;
    std::memcpy(&size, to, sizeof size);
    auto* bytes = reinterpret_cast<unsigned char*>(to);
    std::memcpy(bytes + sizeof size, reinterpret_cast<const unsigned char*>(&facts) + sizeof size,
                std::min(size, sizeof facts) - sizeof size);
    return true;
}

}  // namespace qlip::kit
