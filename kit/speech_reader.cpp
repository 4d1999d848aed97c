#include "kit/speech_reader.h"

#include <array>

namespace qlip::kit {

// By frame type: bytes of speech behind the table of contents (3GPP TS 26.101, 26.201). The types in between
// are reserved, and nobody knows how long they are.
struct SpeechCodec {
    std::array<unsigned char, 16> bytes;
    unsigned int speech_types;  // those below are speech, this one describes silence
    unsigned int clock_rate;
};

namespace {

constexpr unsigned int kNoData = 15;
constexpr unsigned int kSpeechLost = 14;  // AMR-WB only; no data either
constexpr unsigned char kReserved = 0xFF;

constexpr SpeechCodec kNarrowband = {
    {12, 13, 15, 17, 19, 20, 26, 31, 5, kReserved, kReserved, kReserved, kReserved, kReserved, kReserved, 0},
    8,
    8000};
constexpr SpeechCodec kWideband = {
    {17, 23, 32, 36, 40, 46, 50, 58, 60, 5, kReserved, kReserved, kReserved, kReserved, 0, 0}, 9, 16000};

constexpr size_t kRequestSize = 1;  // codec mode request, in front of the table of contents
constexpr size_t kInFront = kHeaderSize + kRequestSize;
constexpr unsigned int kTocBits = 0x7C;  // frame type and quality; the bit for further frames is not set
constexpr int64_t kFramesPerSecond = 50;

const SpeechCodec& codec_of_speech(const iso_track* track) {
    return track->codec == ISO_CODEC_SAWB ? kWideband : kNarrowband;
}

bool holds_nothing(unsigned int type) {
    return type == kNoData || type == kSpeechLost;
}

}  // namespace

SpeechReader::SpeechReader(const SampleFeed& feed, const iso_track* track, unsigned int room,
                           bool keep_no_data)
    : codec_(codec_of_speech(track)),
      feed_(feed),
      to_frame_clock_(codec_.clock_rate, track->timescale),
      frame_clock_(codec_.clock_rate, codec_.clock_rate, shift_of(track)),
      room_(room),
      keep_no_data_(keep_no_data),
      memory_(new unsigned char[kInFront + room]) {}

int SpeechReader::next(Draft& draft) {
    while (true) {
        if (left_ == 0) {
            if (const int status = fetch(); status != QLIP_SUCCESS) return status;
        }
        const unsigned int type = *frame_ >> 3 & 15U;
        const unsigned int speech = codec_.bytes[type];
        const unsigned int bytes = 1 + speech;
        if (speech == kReserved || bytes > left_) {
            left_ = 0;
            return feed_.blame(sample_,
                               speech == kReserved ? "a frame of a reserved type" : "a frame is cut short");
        }
        unsigned char* frame = frame_;
        frame_ += bytes;
        left_ -= bytes;
        if (take_frame(draft, frame, type, bytes)) return QLIP_SUCCESS;
    }
}

int SpeechReader::fetch() {
    const int status = feed_.next(memory_.get() + kInFront, room_, sample_);
    if (status != QLIP_SUCCESS) return status;
    frame_ = memory_.get() + kInFront;
    left_ = sample_.size;
    take_time();
    return QLIP_SUCCESS;
}

// Frames of speech follow each other without a seam, so a sample's time counts only where it leaves a gap.
void SpeechReader::take_time() {
    const int64_t start = to_frame_clock_.of(sample_.decode);
    const int64_t half_frame = codec_.clock_rate / kFramesPerSecond / 2;
    if (!anchored_ || start > now_ + half_frame) now_ = start;
    anchored_ = true;
}

// False for a frame that is not sent; its time passes all the same.
bool SpeechReader::take_frame(Draft& draft, unsigned char* frame, unsigned int type, unsigned int bytes) {
    const bool speech = type < codec_.speech_types;
    const bool first_speech = speech && !talking_;
    const int64_t now = now_;
    now_ += codec_.clock_rate / kFramesPerSecond;
    talking_ = speech;
    if (holds_nothing(type) && !keep_no_data_) return false;
    if (speech) request_ = static_cast<unsigned char>(type << 4);
    frame[0] &= kTocBits;
    *(frame - kRequestSize) = request_;
    draft.packets.add(frame - kInFront, kInFront + bytes);
    draft.time = draft.presentation_time = frame_clock_.nanoseconds(now);
    draft.rtp_time = frame_clock_.rtp(now);
    draft.duration = 1000000000 / kFramesPerSecond;
    draft.is_sync = true;
    draft.marker = first_speech;
    return true;
}

int SpeechReader::move_to(int sample) {
    left_ = 0;
    anchored_ = talking_ = false;
    return feed_.move_to(sample);
}

}  // namespace qlip::kit
