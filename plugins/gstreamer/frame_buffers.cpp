#include "plugins/gstreamer/frame_buffers.h"

namespace qlip::gst {
namespace {

void release(gpointer held) {
    auto* packets = static_cast<qlip_packets*>(held);
    qlip_packets_release(&packets);
}

}  // namespace

void add_buffers(GstBufferList* list, Track& track, const qlip_frame& frame, GstClockTime time) {
    for (unsigned int i = 0; i < frame.packet_count; ++i) {
        const iovec& packet = frame.packets[i];
        GstBuffer* buffer = gst_buffer_new_wrapped_full(GstMemoryFlags(0), packet.iov_base, packet.iov_len, 0,
                                                        packet.iov_len, track.keep_packets(), release);
        GST_BUFFER_PTS(buffer) = time;
        GST_BUFFER_DURATION(buffer) = frame.duration;
        if (!frame.is_sync) GST_BUFFER_FLAG_SET(buffer, GST_BUFFER_FLAG_DELTA_UNIT);
        if (frame.marker && i + 1 == frame.packet_count) GST_BUFFER_FLAG_SET(buffer, GST_BUFFER_FLAG_MARKER);
        gst_buffer_list_add(list, buffer);
    }
}

}  // namespace qlip::gst
