#include "bench/second_reading.h"

#include <cstring>
#include <map>
#include <stdexcept>
#include <utility>

#include "common/byte_order.h"

namespace qlip_bench {

namespace {

constexpr size_t kPeriod = 20;  // frames
constexpr size_t kRecordedSamples = 1000;

// Keeps the compiler from leaving out what nobody reads.
void use(const void* memory) {
    asm volatile("" : : "r"(memory) : "memory");
}

std::vector<BenchHost::Call> record_period(HintedSession& session, unsigned int* frame_bytes) {
    std::vector<unsigned char> frame(kFrameRoom);
    std::vector<BenchHost::Call> calls;
    session.host.calls = &calls;
    for (size_t i = 0; i < kPeriod; ++i)
        *frame_bytes = session.read_frame(frame.data());
    return calls;
}

}  // namespace

const Bytes& hinted_movie(Content content, size_t samples) {
    static std::map<std::pair<Content, size_t>, Bytes> movies;
    auto& bytes = movies[{content, samples}];
    if (bytes.empty()) bytes = make_movie(content, samples);
    return bytes;
}

const char* mode_of(Content content) {
    return is_audio(content) ? "ra" : "rv";
}

HintedSession::HintedSession(const Bytes& movie, Content content, bool indexed)
    : host(movie), indexed_(indexed) {
    reader_.Open(host.record(), mode_of(content));
    unsigned char header[24];
    read(header, sizeof header);
    std::vector<unsigned char> rest(qlip::load_le32(header + 8) - sizeof header);
    read(rest.data(), static_cast<unsigned int>(rest.size()));
}

bool HintedSession::read(unsigned char* to, unsigned int size) {
    return reader_.ReadChunk(to, &size, indexed_) == QLIP_SUCCESS;
}

unsigned int HintedSession::read_frame(unsigned char* to) {
    if (!read(to, kSizeWord)) return 0;
    const unsigned int size = qlip::load_le32(to);
    return read(to + kSizeWord, size - kSizeWord) ? size : 0;
}

HintedRecording::HintedRecording(const Bytes& movie, Content content, bool indexed) {
    HintedSession session(movie, content, indexed);
    const std::vector<BenchHost::Call> now = record_period(session, &frame_bytes);
    const std::vector<BenchHost::Call> later = record_period(session, &frame_bytes);
    if (now.size() != later.size() || now.size() % kPeriod != 0)
        throw std::logic_error("the film has no steady stream");
    for (size_t i = 0; i < now.size(); ++i)
        calls.push_back({now[i], later[i].offset - now[i].offset});
    calls_a_frame = now.size() / kPeriod;
    periods = kRecordedSamples / kPeriod - 1;
}

Taken read_library(HintedSession& session) {
    std::vector<unsigned char> frame(kFrameRoom);
    Taken taken;
    while (const unsigned int size = session.read_frame(frame.data())) {
        ++taken.frames;
        taken.bytes += size;
    }
    return taken;
}

Taken read_floor(const HintedRecording& recording, BenchHost& host) {
    std::vector<unsigned char> sample(kFrameRoom), frame(kFrameRoom), caller(kFrameRoom);
    std::vector<HintedRecording::Call> calls = recording.calls;
    Taken taken;
    for (size_t period = 0; period < recording.periods; ++period) {
        for (HintedRecording::Call* call = calls.data(); call != calls.data() + calls.size();) {
            for (const HintedRecording::Call* end = call + recording.calls_a_frame; call != end; ++call) {
                host.play(call->first, sample.data());
                call->first.offset += call->advance;
            }
            std::memcpy(frame.data(), sample.data(), recording.frame_bytes);
            use(frame.data());
            std::memcpy(caller.data(), frame.data(), kSizeWord);
            use(caller.data());
            std::memcpy(caller.data() + kSizeWord, frame.data() + kSizeWord,
                        recording.frame_bytes - kSizeWord);
            use(caller.data());
            ++taken.frames;
            taken.bytes += recording.frame_bytes;
        }
    }
    return taken;
}

}  // namespace qlip_bench
