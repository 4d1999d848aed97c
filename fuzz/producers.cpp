// Hint samples of arbitrary bytes in each producer. Frames must stay within their buffer and describe
// themselves.
//
// Input: the producer; the frame buffer's size above the smallest, 2 bytes; the media sample's size; the hint
// sample.
#include <cstdlib>
#include <cstring>
#include <memory>

#include "fuzz/cost.h"
#include "fuzz/require.h"
#include "qlip/SimpleException.h"
#include "qlip/native_stream.h"
#include "tests/second_reader/producers/reader_stub.h"

namespace {

using qlip_fuzz::require;

using qlip_test::Bytes;

constexpr unsigned int kBadContent = 22136;
constexpr size_t kKnobs = 4;

template <class Record>
Record record_at(const unsigned char* frame, size_t offset) {
    Record record;
    std::memcpy(&record, frame + offset, sizeof record);
    return record;
}

void check_audio(const unsigned char* frame, unsigned int length) {
    require(length >= 24 && length <= 1568);
    require(record_at<AUD_AudFrame_Native>(frame, 0).size == length);
}

void check_video(const unsigned char* frame, unsigned int length) {
    const auto head = record_at<wld_frame_record>(frame, 0);
    require(head.frame_size == length && length % 4 == 0 && head.frame_pad < 4);
    size_t at = 20;
    for (unsigned int i = 0; i < head.packet_count; ++i) {
        require(at + sizeof(wld_packet_record) <= length);
        at += record_at<wld_packet_record>(frame, at).size;
    }
    require(at + head.frame_pad == length);
}

template <class Check>
void run(qlip_test::ReaderStub& reader, PropFile& producer, const Bytes& hint, Check check) {
    for (const double seconds : {0.0, 1e9}) {
        const auto signal = reader.build(producer, hint, seconds);
        require(!signal || *signal == kBadContent);
        unsigned int length = 0;
        const unsigned char* frame = producer.GetBuffer(&length);
        if (!signal && length > 0) check(frame, length);
        producer.OffsetBytes(length);
    }
}

std::unique_ptr<PropFileVideo> make_video(unsigned char kind, C3gpInterface* reader) {
    if (kind == 1) return std::make_unique<PropFileVideoH263>(reader);
    if (kind == 2) return std::make_unique<PropFileVideoH263_1998>(reader);
    return std::make_unique<PropFileVideoMPEG4>(reader);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, size_t size) {
    if (size < kKnobs) return 0;
    sx_Debug = 0;
    const qlip_fuzz::Cost cost(size, 2);
    const Bytes hint(data + kKnobs, data + size);
    qlip_test::ReaderStub reader;
    reader.show_media(Bytes(data[3], 0x5A));
    if (data[0] % 4 == 0) {
        PropFileAudio producer(&reader);
        _TAG_AUDIO_OPEN_PARAMS params{1000, 50, 10, 8000, 12200};
        producer.Open(&params);
        run(reader, producer, hint, check_audio);
        return 0;
    }
    const auto producer = make_video(data[0] % 4, &reader);
    _TAG_VIDEO_OPEN_PARAMS params{};
    params.uMaxFrameBytes = 440U + data[1] + 256U * data[2];
    producer->Open(&params);
    run(reader, *producer, hint, check_video);
    return 0;
}
