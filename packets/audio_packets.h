// The loop behind the AMR packetisers of both families.
#pragma once

#include <cstdio>

#include "formats/amr.h"
#include "packets/record_family.h"
#include "qlip/amr_isoff.h"
#include "qlip/isoff.h"

namespace qlip {

// A frame that says "nothing was recorded", in format 1 or 2.
inline bool is_no_data_frame(ByteSpan frame) {
    return frame.size() == 1 && (frame[0] == amr_storage_entry(kAmrNoData) || frame[0] == kAmrNoData);
}

template <class Family>
int amr_input_format(const typename Family::native& native) {
    if (native.codec == ISO_CODEC_SAWB) return AMR_FORMAT_WB_STORAGE;
    return (Family::flags(native) & WLD_FLAG_AMR_STORAGE) != 0 ? AMR_FORMAT_STORAGE : AMR_FORMAT_PACKED;
}

// Whether a frame is left out, which is told on stderr when the host asks for that.
template <class Family>
bool drop_frame(typename Family::native& native, ByteSpan frame) {
    const uint32_t flags = Family::flags(native);
    if ((flags & WLD_FLAG_DROP_NO_DATA) == 0 || !is_no_data_frame(frame)) return false;
    if ((flags & WLD_FLAG_VERBOSE) != 0) {
        std::fprintf(stderr, "   removing \"no data\" amr frame, time=%u\n", Family::timestamp(native));
    }
    return true;
}

template <class Family>
int packetise_amr(void* out, int out_size, void* in, int in_size, typename Family::native& native) {
    if (int64_t{in_size} + 12 > out_size) return WLD_FAILED;
    const int step = native.clock_rate / kAmrFramesPerSecond;
    const int format = amr_input_format<Family>(native);
    RecordSink sink(out, out_size);
    auto* next = static_cast<unsigned char*>(in);
    for (int left = in_size; left > 0;) {
        const int size = std::min(amr_get_size(next, format), left);
        const ByteSpan frame(next, static_cast<size_t>(size));
        Family::set_payload_size(native, frame.size());
        stamp<Family>(native, step);
        if (!drop_frame<Family>(native, frame) &&
            !put_record<Family>(sink, native, WLD_TYPE_AMR, {}, frame)) {
            return WLD_FAILED;
        }
        next += size;
        left -= size;
    }
    return sink.written();
}

}  // namespace qlip
