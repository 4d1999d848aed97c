#include "kit/stream.h"

#include <algorithm>

#include "kit/avc_configuration.h"
#include "kit/hinted_reader.h"
#include "kit/sender_report.h"
#include "kit/speech_reader.h"
#include "kit/video_reader.h"
#include "qlip/wld_native.h"

namespace qlip::kit {
namespace {

constexpr unsigned int kLargestChunkedSample = 64000;  // that a session takes

const char* name_of(qlip_medium medium) {
    return medium == QLIP_AUDIO ? "audio" : "video";
}

// How large a sample can get: as the track says, but no more than a complete file has, and than is taken at
// all.
unsigned int room_for(const iso_track* track, Source& source) {
    uint64_t room = std::min(largest_sample(track), kLargestSample);
    if (!source.growing()) room = std::min(room, source.size());
    return static_cast<unsigned int>(room);
}

bool chunks_rise(const iso_track* track) {
    const auto starts_before = [](const chunk_span& a, const chunk_span& b) { return a.start < b.start; };
    return std::is_sorted(track->chunks, track->chunks + track->chunk_count, starts_before);
}

uint32_t bit_rate_of(const iso_track* track) {
    if (track->duration == 0) return 0;
    const double rate = static_cast<double>(bytes_of(track)) * 8.0 * track->timescale / track->duration;
    return static_cast<uint32_t>(std::min(rate, 4294967295.0));
}

}  // namespace

Stream::Stream(qlip_source* source) : source_(source), movie_(*source_), floor_(source_->floors.add()) {}

Stream::~Stream() {
    source_->floors.remove(floor_);
}

int Stream::open(qlip_medium medium, const qlip_stream_options& options) {
    const Structure structure = look_at_structure(*source_);
    int status = movie_.open(structure, trouble_);
    if (status == QLIP_SUCCESS) status = choose_track(medium, options.track_id);
    if (status == QLIP_SUCCESS) status = make_reader(options.keep_no_data != 0);
    if (status != QLIP_SUCCESS) return status;
    bool rfc2190 = false;
    if (hinted_ && track_->codec == ISO_CODEC_S263) {
        unsigned int type = 0;
        status = static_cast<HintedReader*>(reader_.get())->look_at_payload_type(type);
        if (status != QLIP_SUCCESS) return status;
        rfc2190 = type == static_cast<unsigned int>(WLD_TYPE_H263);
    }
    fill_info(options, rfc2190);
    return options.chunks ? make_chunk_reader(structure) : QLIP_SUCCESS;
}

int Stream::choose_track(qlip_medium medium, uint32_t id) {
    track_ = id == 0 ? movie_.last_track(medium) : nullptr;
    const char* reason = nullptr;
    for (unsigned int index = 0; !track_ && movie_.media_track(index); ++index) {
        iso_track* track = movie_.media_track(index);
        if (medium_of(track) != medium || (id != 0 && track->track_id != id)) continue;
        if (is_deliverable(track, medium))
            track_ = track;
        else
            reason = describe(track).reason;
    }
    if (!track_ && reason)
        return trouble_.tell(QLIP_UNKNOWN_CODER, "the %s track: %s", name_of(medium), reason);
    if (!track_ && id != 0)
        return trouble_.tell(QLIP_NO_SUCH_TRACK, "the file has no %s track %u", name_of(medium), id);
    if (!track_) return trouble_.tell(QLIP_NO_SUCH_TRACK, "the file has no %s track", name_of(medium));
    const char* fault = fault_of_tables(track_);
    return fault ? trouble_.tell(QLIP_CORRUPT_FILE, "%s", fault) : QLIP_SUCCESS;
}

// A hint track whose own tables are damaged is left alone: the media can be sent without it.
int Stream::make_reader(bool keep_no_data) {
    const SampleFeed feed(track_, movie_.io(), *source_, trouble_);
    const unsigned int room = room_for(track_, *source_);
    iso_track* hint = arm_hint_track(track_);
    hinted_ = hint && !fault_of_tables(hint);
    rises_ = chunks_rise(track_) && (!hinted_ || chunks_rise(hint));
    if (medium_of(track_) == QLIP_AUDIO) {
        reader_ = std::make_unique<SpeechReader>(feed, track_, room, keep_no_data);
        draft_.packets = PacketList(0, 1);
    } else if (hinted_) {
        auto reader = std::make_unique<HintedReader>(hint, track_, movie_.io(), *source_, trouble_);
        draft_.packets = PacketList(reader->sets_in_front(), reader->most_packets());
        reader_ = std::move(reader);
    } else {
        auto reader = std::make_unique<VideoReader>(feed, track_, room);
        draft_.packets = PacketList(0, reader->most_packets());
        reader_ = std::move(reader);
    }
    draft_.memory = PacketMemory(reader_->frame_room());
    return QLIP_SUCCESS;
}

int Stream::make_chunk_reader(const Structure& structure) {
    const unsigned int largest = largest_sample(track_);
    if (largest > kLargestChunkedSample) {
        return trouble_.tell(QLIP_NOT_SUPPORTED,
                             "the track has samples of up to %u bytes; the native stream takes %u", largest,
                             kLargestChunkedSample);
    }
    const bool counted = info_.medium == QLIP_VIDEO && !hinted_;
    chunks_ = std::make_unique<ChunkReader>(*source_, trouble_);
    return chunks_->open(structure, info_.medium, counted ? info_.sample_count : 0, bytes_of(track_));
}

void Stream::fill_info(const qlip_stream_options& options, bool rfc2190) {
    format_ = payload_format(track_, rfc2190);
    parameters_ = format_parameters(format_);
    const ByteSpan configuration = configuration_of(track_);
    configuration_.assign(configuration.begin(), configuration.end());
    info_.record_size = sizeof info_;
    info_.medium = medium_of(track_);
    info_.codec = codec_of(track_);
    info_.track_id = track_->track_id;
    info_.hinted = hinted_ ? 1 : 0;
    info_.encoding_name = format_.encoding_name;
    info_.format_parameters = parameters_.c_str();
    info_.payload_type = options.payload_type != 0 ? options.payload_type : format_.payload_type;
    info_.clock_rate = format_.clock_rate;
    info_.channels = info_.medium == QLIP_AUDIO ? 1 : 0;
    info_.width = info_.medium == QLIP_VIDEO ? track_->width : 0;
    info_.height = info_.medium == QLIP_VIDEO ? track_->height : 0;
    info_.bit_rate = bit_rate_of(track_);
    info_.duration = static_cast<uint64_t>(nanosecond_scale(track_->timescale).of(track_->duration));
    info_.sample_count = static_cast<uint32_t>(track_->sample_count);
    info_.ssrc = options.ssrc;
    info_.first_timestamp = options.first_timestamp;
    info_.first_sequence = options.first_sequence;
    info_.config = configuration_.empty() ? nullptr : configuration_.data();
    info_.config_size = configuration_.size();
    payload_type_ = info_.payload_type;
    sequence_ = options.first_sequence;
}

int Stream::read(const qlip_frame** frame) {
    if (chunks_) return trouble_.tell(QLIP_NOT_OPEN, "the stream was opened for chunks");
    begin_call();
    draft_.packets.clear();
    const int status = reader_->next(draft_);
    if (status != QLIP_SUCCESS) return end_call(status);
    number_packets();
    if (source_->floors.wanted()) report_floor();
    *frame = &draft_.frame;
    return QLIP_SUCCESS;
}

void Stream::number_packets() {
    qlip_frame& frame = draft_.frame;
    frame.timestamp += info_.first_timestamp;
    frame.sequence = sequence_;
    frame.packet_count = static_cast<unsigned int>(draft_.packets.size());
    frame.packets = draft_.packets.begin();
    number(draft_.packets, frame);
}

int Stream::keep_packets(qlip_packets** packets) {
    if (chunks_ || draft_.packets.empty()) return trouble_.tell(QLIP_NOT_OPEN, "no frame was read last");
    *packets = draft_.memory.hold();
    return QLIP_SUCCESS;
}

// What the loop uses stands in variables of its own: headers are bytes, and for all the compiler knows they
// could be written over the stream.
void Stream::number(PacketList& packets, const qlip_frame& frame) {
    const uint32_t ssrc = info_.ssrc, type = payload_type_, timestamp = frame.timestamp;
    const uint32_t marker_at_end = frame.marker;
    uint16_t sequence = sequence_;
    size_t octets = 0;
    const iovec* last = packets.end() - 1;
    const auto number_one = [&](const iovec& packet, uint32_t marker) {
        write_rtp_header(static_cast<unsigned char*>(packet.iov_base), rtp_word(marker, type, sequence++),
                         timestamp, ssrc);
        octets += payload_size(packet);
    };
    for (const iovec* packet = packets.begin(); packet != last; ++packet)
        number_one(*packet, 0);
    number_one(*last, marker_at_end);
    sequence_ = sequence;
    packets_ += static_cast<uint32_t>(packets.size());
    octets_ += static_cast<uint32_t>(octets);
}

// Where chunks do not rise, a place behind may be asked for later.
void Stream::report_floor() {
    if (rises_) source_->floors.raise(floor_, reader_->floor());
}

void Stream::begin_call() {
    trouble_.forget();
    needed_ = 0;
}

int Stream::end_call(int status) {
    if (status != QLIP_NOT_AVAILABLE_YET) return status;
    const EngineIo& io = movie_.io();
    needed_ = io.refusal() != QLIP_SUCCESS || !chunks_ ? io.needed() : chunks_->needed();
    return status;
}

int Stream::read_chunk(const void** chunk, size_t* size) {
    if (!chunks_) return trouble_.tell(QLIP_NOT_OPEN, "the stream was opened for frames");
    begin_call();
    FrameReader* ahead = info_.medium == QLIP_VIDEO ? reader_.get() : nullptr;
    return end_call(chunks_->next(ahead, draft_, chunk, size));
}

int Stream::seek(int64_t time, int64_t* landed) {
    if (chunks_) return trouble_.tell(QLIP_NOT_OPEN, "the stream was opened for chunks");
    begin_call();
    draft_.packets.clear();
    if (track_->sample_count == 0) return trouble_.tell(QLIP_END_OF_FILE, "the track is empty");
    const int sample = sample_to_start_from(track_, time);
    const int status = reader_->move_to(sample);
    if (status == QLIP_SUCCESS && landed) *landed = presentation_of(track_, sample);
    return end_call(status);
}

uint32_t Stream::timestamp(int64_t time) const {
    const TickScale scale(info_.clock_rate, 1000000000);
    return info_.first_timestamp +
           static_cast<uint32_t>(scale.of(std::clamp(time, -kEndOfTime, kEndOfTime) - shift_of(track_)));
}

int Stream::sender_report(uint64_t ntp, int64_t time, const char* cname, void* packet, size_t* size) const {
    const SenderReport report = {info_.ssrc, ntp, timestamp(time), packets_, octets_};
    return write_sender_report(report, cname, static_cast<unsigned char*>(packet), size);
}

}  // namespace qlip::kit
