// Calls of the host's record that throw for a status which its ConvertStatus calls a failure. A ConvertStatus
// that stores nothing leaves the status as it is. Inline, for they are most of what reading a sample takes.
#pragma once

#include <algorithm>

#include "host/host_calls.h"
#include "qlip/vorn3gp/stream.h"

namespace qlip {

[[noreturn, gnu::cold]] void refuse_call(Vorn3gp::Stream record, unsigned int status, const char* slot);

inline void check_call(Vorn3gp::Stream record, unsigned int status, const char* slot) {
    unsigned int meaning = status;
    record->ConvertStatus(&meaning, status);
    if (meaning != 0) refuse_call(record, status, slot);
}

inline void seek_to(Vorn3gp::Stream record, unsigned int offset) {
    check_call(record, record->Seek(record->pUserContext, offset), "Seek");
}

// Reads at the current position, and returns how many bytes arrived.
inline unsigned int read_some(Vorn3gp::Stream record, unsigned char* data, unsigned int count) {
    unsigned int arrived = count;
    check_call(record, record->SeekNRead(record->pUserContext, data, &arrived, kCurrentPosition),
               "SeekNRead");
    return std::min(arrived, count);
}

}  // namespace qlip
