#include "kit/hinted_reader.h"

#include <algorithm>
#include <cstring>

#include "formats/rtp_hint_sample.h"
#include "kit/avc_configuration.h"
#include "kit/sample_feed.h"

namespace qlip::kit {
namespace {

constexpr size_t kSlack = 64 * 1024;
constexpr uint64_t kMostCopies = 4;  // of the file's bytes, that its hints may make

// A picture with its headers, twice over, if the file can hold it.
size_t capacity_for(const iso_track* media, Source& source) {
    uint64_t largest = std::min(largest_sample(media), kLargestSample);
    if (!source.growing()) largest = std::min(largest, source.size());
    return 2 * largest + kSlack;
}

}  // namespace

ParameterSets::ParameterSets(const iso_track* media) {
    if (media->codec != ISO_CODEC_AVC1) return;
    for (const auto set : parameter_sets_of(configuration_of(media))) {
        packets_.resize(packets_.size() + kHeaderSize);
        packets_.insert(packets_.end(), set.begin(), set.end());
        sizes_.push_back(kHeaderSize + set.size());
    }
}

void ParameterSets::put_in_front(PacketList& packets, unsigned char* memory) const {
    std::copy(packets_.begin(), packets_.end(), memory);
    unsigned char* end = memory + packets_.size();
    for (auto size = sizes_.rbegin(); size != sizes_.rend(); ++size) {
        end -= *size;
        packets.add_in_front(end, *size);
    }
}

HintedReader::HintedReader(iso_track* hint, iso_track* media, EngineIo& io, Source& source, Trouble& trouble)
    : hint_(hint),
      media_(media),
      io_(io),
      source_(source),
      trouble_(trouble),
      clock_(hint->timescale, kVideoClock, shift_of(media)),
      offset_rtp_(kVideoClock, media->timescale),
      offset_nanoseconds_(nanosecond_scale(media->timescale)),
      times_(hint),
      configuration_(media),
      sets_(media),
      capacity_(capacity_for(media, source)) {}

size_t HintedReader::frame_room() const {
    return capacity_ + configuration_.room() + ISOFF_PACKET_CAPACITY + sets_.size();
}

// A frame is a run of packets up to one with the marker, or up to where the time changes.
int HintedReader::next(Draft& draft) {
    while (draft.packets.empty()) {
        if (used_ == 0) memory_ = draft.memory.renew();
        if (const int status = gather(); status != QLIP_SUCCESS) return status;
        finish(draft);
    }
    return QLIP_SUCCESS;
}

// What was gathered of a frame stays when data is not there yet.
int HintedReader::gather() {
    for (bool ends = false; !ends;) {
        if (const int status = take_packet(ends); status != QLIP_SUCCESS) return status;
    }
    return QLIP_SUCCESS;
}

int HintedReader::take_packet(bool& ends) {
    if (used_ > capacity_) return pass_over(QLIP_NOT_SUPPORTED, "its frame is larger than what is taken");
    if (const int status = check_claim(); status != QLIP_SUCCESS) return status;
    io_.forget_refusal();
    unsigned char* packet = memory_ + used_;
    const int size = isoFFrtpPacket(hint_, packet);
    if (size == ISOFF_NOT_YET) return refusal_of(io_, "hint sample", hint_->hint->sample, trouble_);
    if (size < 0) return pass_over(QLIP_CORRUPT_FILE, "it asks for data that is not there");
    if (size == 0) {
        ends = true;
        return used_ != 0 ? QLIP_SUCCESS : end_of_track(hint_, trouble_);
    }
    times_.move_to(sample_of_last_packet());
    const bool marker = rtp_marker(packet) != 0;
    const bool sample_ends = hint_->hint->packets_left == 0;
    const bool time_changes =
        sample_ends && (times_.duration() != 0 || hint_->hint->sample >= hint_->sample_count);
    keep_packet(packet, size);
    ends = marker || time_changes;
    return QLIP_SUCCESS;
}

// A small hint can ask for the same large sample again and again.
int HintedReader::check_claim() {
    if (delivered_ <= believed_) return QLIP_SUCCESS;
    believed_ = kMostCopies * source_.size() + kSlack;
    if (delivered_ <= believed_) return QLIP_SUCCESS;
    return trouble_.tell(QLIP_CORRUPT_FILE, "the hints ask for every byte of the file more than %d times",
                         static_cast<int>(kMostCopies));
}

int HintedReader::pass_over(int status, const char* what) {
    const int sample = hint_->hint->sample;
    if (sample + 1 < hint_->sample_count) {
        play_from(sample + 1);
    } else {
        hint_->hint->sample = hint_->sample_count;
        hint_->hint->packets_left = 0;
    }
    used_ = 0;
    return trouble_.tell(status, "hint sample %d cannot be sent: %s", sample + 1, what);
}

int HintedReader::sample_of_last_packet() const {
    return hint_->hint->packets_left != 0 ? hint_->hint->sample : hint_->hint->sample - 1;
}

// Until the frame is whole, the size of each packet stands where its header will be. One without payload is
// dropped.
void HintedReader::keep_packet(unsigned char* packet, int size) {
    auto bytes = static_cast<size_t>(size);
    delivered_ += bytes;
    if (bytes <= kHeaderSize) return;
    unsigned char* payload = packet + kHeaderSize;
    if (media_->codec == ISO_CODEC_MP4V && used_ == 0) {
        const auto configuration = configuration_.in_front_of({payload, bytes - kHeaderSize});
        if (!configuration.empty()) {
            std::memmove(payload + configuration.size(), payload, bytes - kHeaderSize);
            std::memcpy(payload, configuration.data(), configuration.size());
            bytes += configuration.size();
        }
    }
    store_be32(packet, static_cast<uint32_t>(bytes));
    used_ += bytes;
}

// The media's cursor stands at the sample that the last packet was made of.
void HintedReader::finish(Draft& draft) {
    const PictureStart start = list(draft);
    if ((first_ || start.has_idr()) && !start.brings_sets() && !draft.packets.empty())
        sets_.put_in_front(draft.packets, memory_ + used_);
    used_ = 0;
    first_ = first_ && draft.packets.empty();
    const int offset = media_->ctts_index < media_->ctts_count ? media_->ctts[media_->ctts_index][1] : 0;
    draft.frame.time = clock_.nanoseconds(times_.decode());
    draft.frame.presentation_time = draft.frame.time + offset_nanoseconds_.of(offset);
    draft.frame.timestamp = clock_.rtp(times_.decode()) + static_cast<uint32_t>(offset_rtp_.of(offset));
    draft.frame.duration = clock_.length(times_.duration());
    draft.frame.is_sync = is_sync_sample(media_, media_->sample) ? 1 : 0;
    draft.frame.marker = 1;
}

PictureStart HintedReader::list(Draft& draft) {
    PictureStart start;
    for (size_t at = 0; at < used_;) {
        unsigned char* packet = memory_ + at;
        const size_t size = load_be32(packet);
        const bool wanted = media_->codec != ISO_CODEC_AVC1 ||
                            start.admits(kind_of_payload({packet + kHeaderSize, size - kHeaderSize}));
        if (wanted) draft.packets.add(packet, size);
        at += size;
    }
    return start;
}

void HintedReader::play_from(int hint_sample) {
    isoFFrtpHinter(media_, kPacketBytes);
    isoFFsetPosition(hint_, hint_sample);
}

// Both tracks count the same time, but not in the same units.
int HintedReader::move_to(int sample) {
    TimeCursor media_times(media_);
    media_times.move_to(sample);
    const TickScale to_hint(hint_->timescale, media_->timescale);
    const int64_t rounding = hint_->timescale / 1000;
    TimeCursor found(hint_);
    found.move_to(sample_decoded_before(hint_, to_hint.of(media_times.decode()) + rounding));
    int first = sample_decoded_before(hint_, found.decode() - 1);
    TimeCursor before(hint_);
    before.move_to(first);
    if (before.decode() < found.decode()) ++first;
    play_from(first);
    times_ = TimeCursor(hint_);
    used_ = 0;
    delivered_ = 0;
    first_ = true;
    return QLIP_SUCCESS;
}

int HintedReader::look_at_payload_type(unsigned int& type) {
    constexpr size_t kTypeAt = kHintSampleHeaderBytes + kHintRtpHeaderAt + 1;
    type = 0;
    int status = QLIP_SUCCESS;
    for (int sample = 0; sample < hint_->sample_count; ++sample) {
        unsigned char head[kTypeAt + 1] = {};
        io_.forget_refusal();
        const int got = isoFFreadAt(hint_, sample, 0, head, sizeof head, nullptr, nullptr);
        if (got == ISOFF_NOT_YET) status = refusal_of(io_, "hint sample", sample, trouble_);
        if (got < static_cast<int>(sizeof head)) break;
        if (load_be16(head) == 0) continue;
        type = head[kTypeAt] & kRtpTypeMask;
        break;
    }
    play_from(0);
    return status;
}

}  // namespace qlip::kit
