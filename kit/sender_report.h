// RTCP for one stream (RFC 3550 6): a sender report, and the name of the source.
#pragma once

#include <cstddef>
#include <cstdint>

namespace qlip::kit {

struct SenderReport {
    uint32_t ssrc;
    uint64_t ntp;
    uint32_t timestamp;
    uint32_t packets, octets;
};

// *size is the room at `to`, and becomes the packet's size. 0, or 13 for a name or room that does not do.
int write_sender_report(const SenderReport& report, const char* cname, unsigned char* to, size_t* size);

}  // namespace qlip::kit
