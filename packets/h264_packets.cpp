// H.264: NAL units as single NAL unit packets and FU-A fragments, and the stored parameter sets as packets.
#include <array>
#include <limits>

#include "formats/nal.h"
#include "formats/native_header.h"
#include "packets/frame_cuts.h"
#include "packets/record_family.h"
#include "qlip/isoff.h"
#include "qlip/wld_native.h"

using namespace qlip;

namespace {

constexpr int kUnlimited = std::numeric_limits<int>::max();

template <class Sink>
[[gnu::always_inline]] inline bool put_h264_record(Sink& sink, wld_native& native, ByteSpan head,
                                                   ByteSpan data, RecordCredit credit = {}) {
    if (!put_record<WldFamily>(sink, native, WLD_TYPE_H264, head, data, credit)) return false;
    ++native.packet_count;
    return true;
}

// The two FU bytes are neither asked for nor charged, and two more are credited: kept for callers, which know
// the slack [uncharged-room].
constexpr RecordCredit kFragmentCredit = {kFuBytes, 2 * kFuBytes};

// The last fragment carries the marker wherever in the sample its NAL unit stands: kept for receivers
// [marker-on-last-fragment].
template <class Sink>
bool put_fragments(Sink& sink, wld_native& native, ByteSpan nal) {
    const ptrdiff_t room = native.max_payload - kFuBytes;
    if (room < 1) return false;
    const auto indicator = static_cast<unsigned char>((nal[0] & kNalNriMask) | kNalFuA);
    unsigned int flags = kFuStart;
    for (ByteSpan left = nal.subspan(1); !left.empty(); flags = 0) {
        const bool last = std::ssize(left) <= room;
        if (last) flags |= kFuEnd;
        const ByteSpan fragment = last ? left : left.first(static_cast<size_t>(room));
        native.rtp.marker = last ? 1 : 0;
        const std::array head{indicator, static_cast<unsigned char>(flags | nal_type(nal))};
        if (!put_h264_record(sink, native, head, fragment, kFragmentCredit)) return false;
        left = left.subspan(fragment.size());
    }
    return true;
}

template <class Sink>
bool put_nal(Sink& sink, wld_native& native, ByteSpan nal, bool last) {
    if (std::ssize(nal) > native.max_payload) return put_fragments(sink, native, nal);
    native.rtp.marker = last ? 1 : 0;
    return put_h264_record(sink, native, {}, nal);
}

bool is_run_of_sets(ByteSpan stored, unsigned int prefix_size) {
    while (!stored.empty()) {
        if (!next_nal(stored, prefix_size)) return false;
    }
    return true;
}

// The width of the lengths in front of stored sets: that of the stream's. But an avcC box has two bytes for
// them, and so they are stored where the stream's have one or three.
unsigned int stored_prefix_size(const wld_native& native, ByteSpan stored) {
    const unsigned int size = native.nal_length_size;
    return (size == 1 || size == 3) && is_run_of_sets(stored, 2) ? 2 : size;
}

// The state for sets that go in front of the hint track's next packet. Once playback runs, the last packet
// built is the picture that needs them, so they take its number and time.
wld_native hinted_state(const iso_track* hint, const iso_track* media, int payload_type) {
    const bool running = hint->seq_state == 2;
    wld_native native{};
    native.rtp.sequence = running ? hint->last_seq : hint->snro;
    native.rtp.timestamp = running ? hint->last_timestamp : hint->tsro;
    native.rtp.payload_type = static_cast<unsigned int>(payload_type);
    native.rtp.magic = kPacketMagic;
    native.clock_rate = kVideoClock;
    native.nal_length_size = media->nal_length_size;
    native.dsi = media->parameter_sets;
    native.dsi_size = media->parameter_sets_size;
    return native;
}

// Writes a record for each of the first `limit` stored sets. Stops at a set whose length points outside.
// They are not charged to the output, kept for callers that leave room for them [uncharged-room]; false when
// one passes the room all the same.
template <class Sink>
bool put_parameter_sets(Sink& sink, wld_native& native, int64_t limit = kUnlimited) {
    const ByteSpan stored = !native.dsi ? ByteSpan{} : ByteSpan(native.dsi, native.dsi_size);
    const unsigned int prefix_size = stored_prefix_size(native, stored);
    for (ByteSpan left = stored; !left.empty() && limit > 0; --limit) {
        const auto set = next_nal(left, prefix_size);
        if (!set) break;
        const auto size = static_cast<ptrdiff_t>(WldFamily::kHeaderSize + set->size());
        if (!put_h264_record(sink, native, {}, *set, {size, size})) return false;
    }
    return true;
}

template <class Sink>
int packetise(Sink& sink, ByteSpan left, double seconds, wld_native* native) {
    bool sets_done = false;
    stamp<WldFamily>(*native, native->clock_rate * seconds);
    while (!left.empty()) {
        const auto nal = next_nal(left, native->nal_length_size);
        if (!nal) break;
        const unsigned int type = nal_type(*nal);
        if (type == kNalSequenceSet || type == kNalPictureSet) sets_done = true;
        if (type == kNalIdrSlice && !sets_done) {
            native->rtp.marker = 0;
            if (!put_parameter_sets(sink, *native)) return WLD_FAILED;
            sets_done = true;
        }
        if (!put_nal(sink, *native, *nal, left.empty())) return WLD_FAILED;
    }
    return sink.written();
}

}  // namespace

int wld_rfc3984_packet(void* out, int out_size, void* in, int in_size, double seconds, wld_native* native) {
    RecordSink sink(out, out_size, kRoomOfTheCaller);
    return packetise(sink, input_of(in, in_size), seconds, native);
}

int qlip::cut_h264(FrameCuts& cuts, ByteSpan sample, double seconds, wld_native& native) {
    return packetise(cuts, sample, seconds, &native);
}

int wld_h264_packetise_dsi(unsigned char* out, wld_native* native) {
    RecordSink sink(out, kUnlimited);
    static_cast<void>(put_parameter_sets(sink, *native));
    return sink.written();
}

// No more records than the numbers that are moved up, so that a caller knows the room from the counts.
int isoFFgetAvccDsi(iso_track* hint, iso_track* media, int payload_type, unsigned char* out, int* length) {
    wld_native native = hinted_state(hint, media, payload_type);
    const int64_t sets = int64_t{media->sps_count} + media->pps_count;
    RecordSink sink(out, kUnlimited);
    static_cast<void>(put_parameter_sets(sink, native, sets));
    *length = sink.written();
    hint->snro += static_cast<unsigned int>(sets);
    if (hint->seq_state == 0) hint->seq_state = 1;
    return 0;
}

unsigned int h264_get_nal_size(unsigned char* data, int prefix_size) {
    return read_nal_size(data, prefix_size);
}
