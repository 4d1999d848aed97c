#include "tests/second_reader/reader_support.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "common/byte_order.h"

namespace qlip_test {

Bytes whole_sample_hint(unsigned int number, unsigned int length, unsigned int sequence, bool marker) {
    return hint_sample(
        {{.sequence = sequence, .marker = marker, .constructors = {hint_sample_data(length, number, 0)}}});
}

MoviePlan video_plan(unsigned int frames) {
    TrackPlan media{.handler = "vide", .id = 1, .timescale = 1000, .delta = 100, .width = 176, .height = 144};
    media.sample_entry = visual_entry("s263", 176, 144, d263(20, 3));
    TrackPlan hint{.handler = "hint", .id = 2, .timescale = 90000, .delta = 9000, .hint_reference = 1};
    hint.sample_entry = rtp_entry(1400, 90000);
    for (unsigned int n = 1; n <= frames; ++n) {
        media.samples.emplace_back(40 + n, static_cast<unsigned char>(n));
        hint.samples.push_back(whole_sample_hint(n, 40 + n, n));
    }
    return {.tracks = {media, hint}};
}

MoviePlan audio_plan(unsigned int frames, const std::vector<unsigned int>& types) {
    TrackPlan media{.handler = "soun", .id = 1, .timescale = 8000, .delta = 160};
    media.sample_entry = samr_entry(damr(1, 0x80));
    TrackPlan hint{.handler = "hint", .id = 2, .timescale = 8000, .delta = 160, .hint_reference = 1};
    hint.sample_entry = rtp_entry(1400, 8000);
    for (unsigned int n = 1; n <= frames; ++n) {
        Bytes frame(13, static_cast<unsigned char>(n));
        frame[0] = static_cast<unsigned char>(types[(n - 1) % types.size()] << 3 | 4);
        media.samples.push_back(frame);
        hint.samples.push_back(hint_sample(
            {{.sequence = n, .constructors = {hint_immediate({0xF0}), hint_sample_data(13, n, 0)}}}));
    }
    return {.tracks = {media, hint}};
}

OpenReader::OpenReader(Bytes file, const char* mode, unsigned int status, unsigned int frame_bytes)
    : host(std::make_unique<MemoryHost>(std::move(file))),
      reader(std::make_unique<C3gpInterface>(frame_bytes)) {
    EXPECT_EQ(reader->Open(host->record(), mode), status);
}

Delivery read_chunk(C3gpInterface& reader, unsigned int size, bool indexed) {
    static Bytes buffer(1 << 20);
    unsigned int delivered = size;
    Delivery out;
    out.status = reader.ReadChunk(buffer.data(), &delivered, indexed);
    EXPECT_LE(delivered, size);
    out.bytes.assign(buffer.begin(), buffer.begin() + delivered);
    return out;
}

Delivery& Delivery::operator+=(const Delivery& next) {
    bytes.insert(bytes.end(), next.bytes.begin(), next.bytes.end());
    status = next.status;
    return *this;
}

Delivery read_all(C3gpInterface& reader, unsigned int size, bool indexed) {
    Delivery all;
    do {
        all += read_chunk(reader, size, indexed);
    } while (all.status == 0);
    return all;
}

Delivery read_frame(C3gpInterface& reader, bool indexed) {
    Delivery frame = read_chunk(reader, 4, indexed);
    if (frame.status == 0) frame += read_chunk(reader, word_at(frame.bytes, 0) - 4, indexed);
    return frame;
}

Landing seek(C3gpInterface& reader, unsigned int time, unsigned int flags) {
    _TAG_QLIP_SEEK_PARAMS params{77, time, 88, 99, flags};
    const unsigned int status = reader.SeekTo(&params);
    EXPECT_EQ(params.uReserved, 77U);
    EXPECT_EQ(params.fFlags, flags);
    if (status == 0) return {status, params.nTime, params.uFrameNum, params.uFileOffset};
    EXPECT_EQ(params.nTime, time);
    EXPECT_EQ(params.uFrameNum, 88U);
    EXPECT_EQ(params.uFileOffset, 99U);
    return {.status = status};
}

Bytes whole_stream(const Bytes& file, const char* mode, bool indexed) {
    OpenReader open(file, mode);
    return read_all(*open.reader, 1U << 20, indexed).bytes;
}

std::vector<Bytes> frames_of(const Bytes& stream) {
    std::vector<Bytes> out;
    size_t at = word_at(stream, 8);
    while (at + 4 <= stream.size()) {
        const size_t end = at + word_at(stream, at);
        EXPECT_LE(end, stream.size());
        out.emplace_back(stream.begin() + static_cast<long>(at), stream.begin() + static_cast<long>(end));
        at = end;
    }
    return out;
}

unsigned int word_at(const Bytes& bytes, size_t offset) {
    return offset + 4 <= bytes.size() ? qlip::load_le32(bytes.data() + offset) : 0;
}

std::vector<unsigned int> chunk_offsets(const Bytes& file, unsigned int n) {
    const size_t stco = find_box(file, "stco", n);
    std::vector<unsigned int> out(qlip::load_be32(file.data() + stco + 8));
    qlip::load_be32_run(out.data(), file.data() + stco + 12, out.size());
    return out;
}

std::vector<unsigned int> read_offsets(const MemoryHost& host, unsigned int size) {
    std::vector<unsigned int> out;
    for (const auto& call : host.log)
        if ((call.slot == Slot::IndexRead || call.slot == Slot::SeekNRead) && call.count == size)
            out.push_back(call.offset);
    return out;
}

std::vector<unsigned int> offsets_of(const MemoryHost& host, Slot slot) {
    std::vector<unsigned int> out;
    for (const auto& call : host.log)
        if (call.slot == slot) out.push_back(call.offset);
    return out;
}

}  // namespace qlip_test
