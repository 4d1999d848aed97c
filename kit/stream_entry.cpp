// The entry points of streams.
#include <algorithm>
#include <cstring>

#include "kit/guard.h"
#include "kit/stream.h"

namespace qlip::kit {
namespace {

constexpr unsigned int kHighestType = 127;
constexpr unsigned int kHighestPort = 65535;

bool make_sense(qlip_medium medium, const qlip_stream_options& options) {
    if (medium != QLIP_AUDIO && medium != QLIP_VIDEO) return false;
    return options.payload_type <= kHighestType && (options.chunks == 0 || options.track_id == 0);
}

int copy_text(const std::string& whole, char* text, size_t size) {
    if (size > 0) {
        const size_t count = std::min(whole.size(), size - 1);
        std::memcpy(text, whole.data(), count);
        text[count] = '\0';
    }
    return static_cast<int>(whole.size());
}

int open_stream(qlip_stream** stream, qlip_source* source, qlip_medium medium,
                const qlip_stream_options& options) {
    auto made = std::make_unique<qlip_stream>(source);
    const int status = made->open(medium, options);
    if (status == QLIP_SUCCESS) {
        *stream = made.release();
    } else if (options.error) {
        copy_text(made->error(), options.error, options.error_size);
    }
    return status;
}

// A line that ends early would add lines of its own to the description.
bool is_one_line(const char* text) {
    return !text || std::strpbrk(text, "\r\n") == nullptr;
}

template <class MakeText>
int give_text(const qlip_stream* stream, char* text, size_t size, MakeText make) {
    if (!stream) return -QLIP_BAD_HANDLE;
    if (!text && size != 0) return -QLIP_BAD_ARGUMENT;
    int length = 0;
    const int status = guarded([&] {
        length = copy_text(make(), text, size);
        return QLIP_SUCCESS;
    });
    return status == QLIP_SUCCESS ? length : -status;
}

}  // namespace
}  // namespace qlip::kit

using namespace qlip::kit;

int qlip_stream_open(qlip_stream** stream, qlip_source* source, qlip_medium medium,
                     const qlip_stream_options* options) {
    if (!stream) return QLIP_BAD_ARGUMENT;
    *stream = nullptr;
    if (!source) return QLIP_BAD_HANDLE;
    qlip_stream_options known = QLIP_STREAM_OPTIONS_INIT;
    if (options && !take_record(known, options)) return QLIP_BAD_ARGUMENT;
    if (!make_sense(medium, known)) return QLIP_BAD_ARGUMENT;
    return guarded([&] { return open_stream(stream, source, medium, known); });
}

const qlip_stream_info* qlip_stream_get_info(const qlip_stream* stream) {
    return stream ? &stream->info() : nullptr;
}

int qlip_stream_read(qlip_stream* stream, const qlip_frame** frame) {
    if (!stream) return QLIP_BAD_HANDLE;
    if (!frame) return QLIP_BAD_ARGUMENT;
    return guarded([&] { return stream->read(frame); });
}

int qlip_stream_keep_packets(qlip_stream* stream, qlip_packets** packets) {
    if (!stream) return QLIP_BAD_HANDLE;
    if (!packets) return QLIP_BAD_ARGUMENT;
    return stream->keep_packets(packets);
}

int qlip_packets_release(qlip_packets** packets) {
    if (!packets) return QLIP_BAD_ARGUMENT;
    if (*packets) let_go(*packets);
    *packets = nullptr;
    return QLIP_SUCCESS;
}

int qlip_stream_read_chunk(qlip_stream* stream, const void** chunk, size_t* size) {
    if (!stream) return QLIP_BAD_HANDLE;
    if (!chunk || !size) return QLIP_BAD_ARGUMENT;
    return guarded([&] { return stream->read_chunk(chunk, size); });
}

int qlip_stream_seek(qlip_stream* stream, int64_t time, int64_t* landed) {
    if (!stream) return QLIP_BAD_HANDLE;
    return guarded([&] { return stream->seek(time, landed); });
}

int qlip_stream_set_first_timestamp(qlip_stream* stream, uint32_t first_timestamp) {
    if (!stream) return QLIP_BAD_HANDLE;
    stream->set_first_timestamp(first_timestamp);
    return QLIP_SUCCESS;
}

const char* qlip_stream_error(const qlip_stream* stream) {
    return stream ? stream->error() : qlip_StatusString(QLIP_BAD_HANDLE);
}

uint64_t qlip_stream_needs(const qlip_stream* stream) {
    return stream ? stream->needed() : 0;
}

int qlip_stream_close(qlip_stream** stream) {
    if (!stream) return QLIP_BAD_ARGUMENT;
    delete *stream;
    *stream = nullptr;
    return QLIP_SUCCESS;
}

int qlip_stream_sdp(const qlip_stream* stream, unsigned int port, const char* control, char* text,
                    size_t size) {
    if (port > kHighestPort || !is_one_line(control)) return -QLIP_BAD_ARGUMENT;
    return give_text(stream, text, size, [&] { return stream->sdp(port, control); });
}

int qlip_stream_caps(const qlip_stream* stream, char* text, size_t size) {
    return give_text(stream, text, size, [&] { return stream->caps(); });
}

uint32_t qlip_stream_timestamp(const qlip_stream* stream, int64_t time) {
    return stream ? stream->timestamp(time) : 0;
}

int qlip_stream_sender_report(const qlip_stream* stream, uint64_t ntp, int64_t time, const char* cname,
                              void* packet, size_t* size) {
    if (!stream) return QLIP_BAD_HANDLE;
    if (!cname || !packet || !size) return QLIP_BAD_ARGUMENT;
    return stream->sender_report(ntp, time, cname, packet, size);
}
