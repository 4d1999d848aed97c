#include "tests/kit/kit_player.h"

#include "common/byte_order.h"
#include "tests/session/player.h"

namespace qlip_test {
KitPlayer::KitPlayer(Bytes file) : file_(std::move(file)) {
    EXPECT_EQ(qlip_source_memory(&source, file_.data(), file_.size()), 0);
}

KitPlayer::KitPlayer(Bytes file, size_t arrived) : file_(std::move(file)) {
    EXPECT_EQ(qlip_source_memory(&source, file_.data(), arrived), 0);
    EXPECT_EQ(qlip_source_set_growing(source, 1), 0);
}

KitPlayer::~KitPlayer() {
    qlip_stream_close(&stream);
    qlip_source_close(&source);
}

int KitPlayer::open(qlip_medium medium, qlip_stream_options options) {
    char error[200] = "";
    options.error = error;
    options.error_size = sizeof error;
    const int status = qlip_stream_open(&stream, source, medium, &options);
    open_error = error;
    next_sequence_ = options.first_sequence;
    EXPECT_EQ(status == 0, stream != nullptr);
    EXPECT_EQ(status == 0, open_error.empty());
    return status;
}

const std::vector<SentFrame>& KitPlayer::play(qlip_medium medium, qlip_stream_options options) {
    EXPECT_EQ(open(medium, options), 0) << open_error;
    return stream ? rest() : frames;
}

int KitPlayer::read() {
    const qlip_frame* frame = nullptr;
    const int status = qlip_stream_read(stream, &frame);
    EXPECT_EQ(frame != nullptr, status == 0);
    EXPECT_EQ(qlip_stream_needs(stream) != 0, status == QLIP_NOT_AVAILABLE_YET);
    EXPECT_EQ(std::string(qlip_stream_error(stream)).empty(), status == 0 || status == QLIP_END_OF_FILE);
    if (!frame) return status;
    check_headers(*frame, *qlip_stream_get_info(stream));
    SentFrame sent = {*frame, {}};
    for (unsigned int i = 0; i < frame->packet_count; ++i) {
        const auto* bytes = static_cast<const unsigned char*>(frame->packets[i].iov_base);
        sent.payloads.emplace_back(bytes + QLIP_RTP_HEADER_SIZE, bytes + frame->packets[i].iov_len);
        EXPECT_FALSE(sent.payloads.back().empty());
    }
    frames.push_back(sent);
    return status;
}

// RFC 3550 5.1, by the field.
void KitPlayer::check_headers(const qlip_frame& frame, const qlip_stream_info& info) {
    EXPECT_GE(frame.packet_count, 1U);
    EXPECT_EQ(frame.sequence, next_sequence_);
    if (!frames.empty() && !frame.is_sync) {
        EXPECT_GE(frame.time, frames.back().facts.time);
    }
    for (unsigned int i = 0; i < frame.packet_count; ++i) {
        const auto* header = static_cast<const unsigned char*>(frame.packets[i].iov_base);
        const bool last = i + 1 == frame.packet_count;
        EXPECT_EQ(header[0], 0x80);
        EXPECT_EQ(header[1] & 0x7F, static_cast<int>(info.payload_type));
        EXPECT_EQ((header[1] & 0x80) != 0, last && frame.marker);
        EXPECT_EQ(qlip::load_be16(header + 2), next_sequence_++);
        EXPECT_EQ(qlip::load_be32(header + 4), frame.timestamp);
        EXPECT_EQ(qlip::load_be32(header + 8), info.ssrc);
    }
}

const std::vector<SentFrame>& KitPlayer::rest() {
    while ((end = read()) == QLIP_SUCCESS) {
    }
    return frames;
}

std::vector<Bytes> KitPlayer::rest_in_chunks() {
    std::vector<Bytes> chunks;
    const void* chunk = nullptr;
    size_t size = 0;
    while ((end = qlip_stream_read_chunk(stream, &chunk, &size)) == QLIP_SUCCESS) {
        const auto* bytes = static_cast<const unsigned char*>(chunk);
        chunks.emplace_back(bytes, bytes + size);
    }
    return chunks;
}

std::vector<Bytes> payloads_of(const std::vector<SentFrame>& frames) {
    std::vector<Bytes> out;
    for (const SentFrame& frame : frames)
        out.insert(out.end(), frame.payloads.begin(), frame.payloads.end());
    return out;
}

std::vector<SentFrame> native_frames(const Bytes& file, const char* mode) {
    MemoryHost host(file);
    Player player(host, mode, true);
    const std::vector<Bytes> chunks = player.rest();
    const bool speech = mode[1] == 'a';
    std::vector<SentFrame> frames;
    for (size_t i = speech ? 5 : 2; i < chunks.size(); i += 2) {
        SentFrame& frame = frames.emplace_back();
        for (const Packet& packet : speech ? std::vector<Packet>{{word_at(chunks[i - 1], 8), 0, chunks[i]}}
                                           : packets_of(chunks[i])) {
            frame.facts.timestamp = packet.timestamp;
            frame.payloads.push_back(packet.payload);
        }
    }
    return frames;
}

}  // namespace qlip_test
