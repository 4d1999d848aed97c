// Arbitrary bytes as a file for the host kit: read whole, while it grows, and sought in. Whatever the file,
// statuses are known, packets are whole and numbered, growing gives what the whole file gives, and the cost
// is in proportion.
#include <algorithm>
#include <cstdint>
#include <cstring>
#include <vector>

#include "fuzz/chunk_reader.h"
#include "fuzz/cost.h"
#include "qlip/host.h"

using qlip_fuzz::require;

namespace {

struct File {
    const uint8_t* data;
    size_t size;
    uint64_t arrived;
    uint64_t bytes_read = 0;
    uint64_t reads = 0;

    static int64_t read_at(void* user, void* to, size_t size, uint64_t offset) {
        auto& file = *static_cast<File*>(user);
        const size_t count = offset < file.arrived ? std::min<uint64_t>(size, file.arrived - offset) : 0;
        if (count > 0) std::memcpy(to, file.data + offset, count);
        file.bytes_read += count;
        ++file.reads;
        return static_cast<int64_t>(count);
    }
    static uint64_t size_now(void* user) { return static_cast<File*>(user)->arrived; }
};

constexpr int kMostSetbacks = 12;

// A digest of what was delivered (FNV-1a), and how much that was.
struct Delivered {
    uint64_t digest = 14695981039346656037U;
    uint64_t frames = 0, bytes = 0;
    int end = 0;

    void add(const uint8_t* bytes_at, size_t count) {
        for (size_t i = 0; i < count; ++i)
            digest = (digest ^ bytes_at[i]) * 1099511628211U;
        bytes += count;
    }
};

class Reader {
  public:
    Reader(File& file, qlip_medium medium, bool growing) : file_(file) {
        const qlip_source_functions functions = {sizeof functions, File::read_at, File::size_now, nullptr};
        require(qlip_source_custom(&source_, &functions, &file) == 0);
        require(qlip_source_set_growing(source_, growing) == 0);
        options_.keep_no_data = 1;
        options_.first_sequence = next_;
        const int opened = qlip_stream_open(&stream_, source_, medium, &options_);
        require((stream_ != nullptr) == (opened == 0));
        require(opened == 0 || opened == 4 || opened == 6 || opened == 10 || opened == 14 || opened == 15 ||
                opened == 17);
    }
    ~Reader() {
        qlip_stream_close(&stream_);
        qlip_source_close(&source_);
        let_go();
    }
    Reader(const Reader&) = delete;
    Reader& operator=(const Reader&) = delete;

    bool is_open() const { return stream_ != nullptr; }

    Delivered read() {
        Delivered out;
        for (int setbacks = 0; setbacks < kMostSetbacks;) {
            const qlip_frame* frame = nullptr;
            out.end = qlip_stream_read(stream_, &frame);
            if (out.end == 0) {
                take(*frame, out);
            } else if (out.end == 17) {
                wait();
            } else {
                require(out.end == 1 || out.end == 4 || out.end == 10);
                if (out.end == 1) break;
                require(*qlip_stream_error(stream_) != '\0');
                ++setbacks;
            }
        }
        return out;
    }

    void seek(int64_t time) {
        int64_t landed = 0;
        const int status = qlip_stream_seek(stream_, time, &landed);
        require(status == 0 || status == 1 || status == 4);
    }

  private:
    void take(const qlip_frame& frame, Delivered& out) {
        require(frame.packet_count >= 1 && frame.sequence == next_);
        for (unsigned int i = 0; i < frame.packet_count; ++i, ++next_) {
            const auto* packet = static_cast<const uint8_t*>(frame.packets[i].iov_base);
            require(frame.packets[i].iov_len > QLIP_RTP_HEADER_SIZE);
            require(packet[0] == 0x80 && (packet[2] << 8 | packet[3]) == next_);
            require((packet[1] >> 7) == (i + 1 == frame.packet_count ? frame.marker : 0));
            out.add(packet + 4, frame.packets[i].iov_len - 4);
        }
        ++out.frames;
        if (out.frames % 3 == 0) hold(frame);
    }

    // Until the next one is held, other frames are read, and the stream is sought in or closed.
    void hold(const qlip_frame& frame) {
        let_go();
        require(qlip_stream_keep_packets(stream_, &held_) == 0);
        last_ = frame.packets[frame.packet_count - 1];
        digest_ = digest_of(last_);
    }

    void let_go() {
        require(!held_ || digest_of(last_) == digest_);
        require(qlip_packets_release(&held_) == 0);
    }

    static uint64_t digest_of(const iovec& packet) {
        Delivered whole;
        whole.add(static_cast<const uint8_t*>(packet.iov_base), packet.iov_len);
        return whole.digest;
    }

    void wait() {
        const uint64_t needed = qlip_stream_needs(stream_);
        require(needed > file_.arrived);
        file_.arrived = std::min<uint64_t>(needed, file_.size);
        if (needed > file_.size) qlip_source_set_growing(source_, 0);
    }

    File& file_;
    qlip_source* source_ = nullptr;
    qlip_stream* stream_ = nullptr;
    qlip_stream_options options_ = QLIP_STREAM_OPTIONS_INIT;
    qlip_packets* held_ = nullptr;
    iovec last_ = {};  // of the packets that are held
    uint64_t digest_ = 0;
    uint16_t next_ = 65000;
};

void check_costs(const File& file) {
    require(file.bytes_read <= 64 * file.size + 1000000);
    require(file.reads <= 16 * file.size + 10000);
}

void play(const uint8_t* data, size_t size, qlip_medium medium) {
    File whole_file = {data, size, size};
    Reader whole(whole_file, medium, false);
    if (!whole.is_open()) return check_costs(whole_file);
    const Delivered all = whole.read();
    require(all.bytes <= 64 * size + 1000000);
    check_costs(whole_file);

    qlip_source* source = nullptr;
    qlip_source_info state = QLIP_SOURCE_INFO_INIT;
    require(qlip_source_memory(&source, data, size) == 0 && qlip_source_state(source, &state) == 0);
    require(state.structure == QLIP_STRUCTURE_WHOLE);
    qlip_source_close(&source);
    File growing_file = {data, size, state.structure_offset + state.structure_size};
    Reader growing(growing_file, medium, true);
    if (growing.is_open()) {
        const Delivered grown = growing.read();
        require(grown.digest == all.digest && grown.frames == all.frames && grown.end == all.end);
    }

    const int64_t time = size >= 8 ? static_cast<int64_t>(data[size - 1]) * 20000000 : 0;
    for (const int64_t to : {time, int64_t{0}, INT64_MAX, INT64_MIN}) {
        whole.seek(to);
        whole.read();
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const qlip_fuzz::Cost cost(size, 12);
    play(data, size, size > 0 && data[size - 1] & 1 ? QLIP_AUDIO : QLIP_VIDEO);
    qlip_source* source = nullptr;
    qlip_track_info track = QLIP_TRACK_INFO_INIT;
    require(qlip_source_memory(&source, data, size) == 0);
    for (unsigned int index = 0; qlip_source_track(source, index, &track) == 0 && index < 4; ++index)
        require(track.reason != nullptr && (track.status == 0) == (*track.reason == '\0'));
    qlip_source_close(&source);
    return 0;
}
