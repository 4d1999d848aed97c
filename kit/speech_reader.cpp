#include "kit/speech_reader.h"

#include <algorithm>
#include <cstring>

#include "formats/amr.h"

namespace qlip::kit {

struct SpeechCodec {
    AmrSpeechBytes bytes;                        // by frame type, behind the table of contents
    unsigned int silence;                        // the type that describes it; those below are speech
    unsigned int first_reserved, last_reserved;  // nobody knows how long these are
    unsigned int clock_rate;

    bool reserves(unsigned int type) const { return type >= first_reserved && type <= last_reserved; }
    bool is_speech(unsigned int type) const { return type < silence; }
    bool holds_nothing(unsigned int type) const { return type > last_reserved; }
};

namespace {

// 3GPP TS 26.101 table 1a, 26.201 table 1a. AMR-WB has a type for lost speech, which holds nothing either.
constexpr SpeechCodec kNarrowband = {narrowband_speech_bytes(), kAmrFirstWithoutSpeech - 1, 9, 14,
                                     kNarrowbandClock};
constexpr SpeechCodec kWideband = {wideband_speech_bytes(), kAmrWidebandSilence, 10, 13, kWidebandClock};

constexpr size_t kRequestSize = 1;  // codec mode request, in front of the table of contents
constexpr size_t kInFront = kHeaderSize + kRequestSize;
constexpr unsigned int kTocBits = 0x7C;  // frame type and quality; the bit for further frames is not set

const SpeechCodec& codec_of_speech(const iso_track* track) {
    return track->codec == ISO_CODEC_SAWB ? kWideband : kNarrowband;
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
      memory_(new unsigned char[room]) {}

size_t SpeechReader::frame_room() const {
    return kInFront + 1 + *std::max_element(codec_.bytes.begin(), codec_.bytes.end());
}

int SpeechReader::next(Draft& draft) {
    unsigned char* packet = draft.memory.renew();
    while (true) {
        if (left_ == 0) {
            if (const int status = fetch(); status != QLIP_SUCCESS) return status;
        }
        const unsigned int type = amr_storage_type(*frame_);
        const unsigned int bytes = 1U + codec_.bytes[type];
        if (codec_.reserves(type) || bytes > left_) {
            left_ = 0;
            return feed_.blame(sample_,
                               codec_.reserves(type) ? "a frame of a reserved type" : "a frame is cut short");
        }
        const unsigned char* frame = frame_;
        frame_ += bytes;
        left_ -= bytes;
        if (take_frame(draft, packet, frame, type, bytes)) return QLIP_SUCCESS;
    }
}

int SpeechReader::fetch() {
    const int status = feed_.next(memory_.get(), room_, sample_);
    if (status != QLIP_SUCCESS) return status;
    frame_ = memory_.get();
    left_ = sample_.size;
    take_time();
    return QLIP_SUCCESS;
}

// Frames of speech follow each other without a seam, so a sample's time counts only where it leaves a gap.
void SpeechReader::take_time() {
    const int64_t start = to_frame_clock_.of(sample_.decode);
    const int64_t half_frame = codec_.clock_rate / kAmrFramesPerSecond / 2;
    if (!anchored_ || start > now_ + half_frame) now_ = start;
    anchored_ = true;
}

// False for a frame that is not sent; its time passes all the same.
bool SpeechReader::take_frame(Draft& draft, unsigned char* packet, const unsigned char* frame,
                              unsigned int type, unsigned int bytes) {
    const bool speech = codec_.is_speech(type);
    const bool first_speech = speech && !talking_;
    const int64_t now = now_;
    now_ += codec_.clock_rate / kAmrFramesPerSecond;
    talking_ = speech;
    if (codec_.holds_nothing(type) && !keep_no_data_) return false;
    if (speech) request_ = amr_mode_request(*frame);
    packet[kHeaderSize] = request_;
    packet[kInFront] = frame[0] & kTocBits;
    std::memcpy(packet + kInFront + 1, frame + 1, bytes - 1);
    draft.packets.add(packet, kInFront + bytes);
    draft.frame.time = draft.frame.presentation_time = frame_clock_.nanoseconds(now);
    draft.frame.timestamp = frame_clock_.rtp(now);
    draft.frame.duration = 1000000000 / kAmrFramesPerSecond;
    draft.frame.is_sync = 1;
    draft.frame.marker = first_speech ? 1 : 0;
    return true;
}

int SpeechReader::move_to(int sample) {
    left_ = 0;
    anchored_ = talking_ = false;
    return feed_.move_to(sample);
}

}  // namespace qlip::kit
