// Every packetiser of both families over arbitrary samples, parameter sets, payload and buffer sizes: no byte
// beyond the buffer, results from the known set, and records that add up to what was returned.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "common/byte_order.h"
#include "fuzz/cost.h"
#include "fuzz/require.h"
#include "packets/frame_cuts.h"
#include "qlip/amr_isoff.h"
#include "qlip/isoff.h"
#include "qlip/native_stream.h"
#include "qlip/pkq_native.h"
#include "qlip/wld_native.h"

namespace {

using qlip_fuzz::require;

using Bytes = std::vector<unsigned char>;

// The choices at the front of the input, then the sample.
class Input {
  public:
    Input(const uint8_t* data, size_t size) : next_(data), left_(size) {}
    unsigned int take(size_t bytes) {
        unsigned int value = 0;
        for (; bytes > 0; --bytes)
            value = value << 8 | (left_ > 0 ? (--left_, *next_++) : 0u);
        return value;
    }
    Bytes bytes(size_t count) {
        count = std::min(count, left_);
        Bytes taken(next_, next_ + count);
        next_ += count;
        left_ -= count;
        return taken;
    }
    Bytes rest() { return bytes(left_); }

  private:
    const uint8_t* next_;
    size_t left_;
};

// Walks the records of a result; returns their number and appends their payloads.
unsigned int walk_records(const Bytes& out, int written, size_t header, Bytes* payloads) {
    unsigned int count = 0;
    for (auto left = out.begin(); written > 0; ++count) {
        require(static_cast<size_t>(written) >= header);
        const size_t payload = header == sizeof(wld_packet_record) ? qlip::load_le32(&*left) - header
                                                                   : qlip::load_be16(&*left + 2);
        require(payload <= static_cast<size_t>(written) - header);
        left += static_cast<ptrdiff_t>(header);
        if (payloads != nullptr)
            payloads->insert(payloads->end(), left, left + static_cast<ptrdiff_t>(payload));
        left += static_cast<ptrdiff_t>(payload);
        written -= static_cast<int>(header + payload);
    }
    return count;
}

iso_track track_from(Input& input, Bytes& sets) {
    static constexpr int kCodecs[] = {ISO_CODEC_MP4V, ISO_CODEC_S263, ISO_CODEC_SAMR, ISO_CODEC_AVC1,
                                      ISO_CODEC_SAWB};
    iso_track track{};
    track.codec = kCodecs[input.take(1) % std::size(kCodecs)];
    track.nal_length_size = input.take(1) % 6;
    sets = input.bytes(input.take(1));
    sets.shrink_to_fit();
    track.parameter_sets = sets.data();
    track.parameter_sets_size = static_cast<unsigned int>(sets.size());
    return track;
}

// The cuts of a frame, written later, are the records that the packetiser writes at once.
void compare_with_cuts(const Bytes& sample, const wld_native& begun, const Bytes& out, int written) {
    wld_native native = begun;
    const bool h264 = native.codec == ISO_CODEC_AVC1;
    std::vector<qlip::Cut> more(qlip::FrameCuts::most(out.size()));
    qlip::FrameCuts cuts(more.data());
    const int type = h264 ? WLD_TYPE_H264 : native.codec == ISO_CODEC_S263 ? WLD_TYPE_H263 : WLD_TYPE_MPEG4;
    cuts.begin(native, type, static_cast<ptrdiff_t>(out.size()));
    const int cut = (h264 ? qlip::cut_h264 : qlip::cut_video)(cuts, sample, 0.04, native);
    require(h264 ? cut == written || cut == WLD_FAILED : cut == written);
    Bytes gathered(out.size());
    const ptrdiff_t taken = cuts.put_records(gathered.data()) - gathered.data();
    require(taken <= std::ssize(gathered));
    require(std::equal(gathered.begin(), gathered.begin() + taken, out.begin()));
    require(cut < 0 || taken == cut);
}

void run_today(Input& input) {
    static constexpr int kModes[] = {WLD_RFC_NONE, WLD_RFC_2429, WLD_RFC_2190, WLD_RFC_2190_B};
    Bytes sets;
    iso_track track = track_from(input, sets);
    wld_native native{};
    const int mode = kModes[input.take(1) % std::size(kModes)];
    const int flags = static_cast<int>(input.take(1) & 3);
    require(wld_native_init(&native, 1, 1400, mode, &track, flags) == 0);
    native.max_payload = static_cast<int>(input.take(2) % 1500);
    const size_t room = input.take(2);
    Bytes sample = input.rest();
    sample.shrink_to_fit();
    // Beyond the room, for what H.264 does not charge: four bytes a fragment, and the sets with their
    // records.
    const bool h264 = track.codec == ISO_CODEC_AVC1;
    Bytes out(room + (h264 ? 4 * sample.size() + 21 * sets.size() + 64 : 0));
    const wld_native begun = native;
    const int written = wld_native_packet(out.data(), static_cast<int>(room), sample.data(),
                                          static_cast<int>(sample.size()), 0.04, &native);
    require(written >= WLD_BAD_PICTURE && written <= static_cast<int>(out.size()));
    out.resize(room);
    const bool video = h264 || track.codec == ISO_CODEC_MP4V || track.codec == ISO_CODEC_S263;
    const bool rfc2190 = track.codec == ISO_CODEC_S263 && (mode == WLD_RFC_2190 || mode == WLD_RFC_2190_B);
    if (video && !rfc2190) compare_with_cuts(sample, begun, out, written);
    if (written > static_cast<int>(room)) return;
    Bytes payloads;
    const unsigned int count = walk_records(out, written, sizeof(wld_packet_record), &payloads);
    const bool audio = track.codec == ISO_CODEC_SAMR || track.codec == ISO_CODEC_SAWB;
    if (written >= 0) require(native.packet_count == (audio ? 0 : count));
    if (written >= 0 && track.codec == ISO_CODEC_MP4V) require(payloads == sample);
}

void run_older(Input& input) {
    Bytes sets;
    iso_track track = track_from(input, sets);
    pkq_native native{};
    const int flags = static_cast<int>(input.take(1) & 3);
    require(pkq_native_init(&native, 1, static_cast<int>(input.take(2)), 0, &track, flags) == 0);
    Bytes out(input.take(2));
    Bytes sample = input.rest();
    const int written = pkq_native_packet(out.data(), static_cast<int>(out.size()), sample.data(),
                                          static_cast<int>(sample.size()), 0.04, &native);
    require(written >= WLD_FAILED && written <= static_cast<int>(out.size()));
    Bytes payloads;
    walk_records(out, written, sizeof(pkq_packet_record), &payloads);
    if (written >= 0 && track.codec == ISO_CODEC_S263) require(payloads == sample);
}

// What converts to the packed layout and back is a prefix of the input, but for its reserved and padding
// bits.
void run_amr_helpers(Input& input) {
    Bytes storage = input.rest();
    storage.shrink_to_fit();
    Bytes packed(storage.size());
    const int size = amr1_to_amr2(storage.data(), packed.data(), static_cast<int>(storage.size()));
    require(size >= 0 && size <= static_cast<int>(storage.size()));
    packed.resize(static_cast<size_t>(size));
    packed.shrink_to_fit();
    Bytes back(storage.size());
    const int returned = amr2_to_amr1(packed.data(), back.data(), size);
    require(returned >= size && returned <= static_cast<int>(storage.size()));
    Bytes again(packed.size());
    require(amr1_to_amr2(back.data(), again.data(), returned) == size);
    require(again == packed);
    Bytes odd = storage;
    odd.resize(storage.size() * 2 + 1);
    amr2_to_amr1(storage.data(), odd.data(), static_cast<int>(storage.size()));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const qlip_fuzz::Cost cost(size, 1);
    Input input(data, size);
    switch (input.take(1) % 4) {
        case 0:
            run_older(input);
            break;
        case 1:
            run_amr_helpers(input);
            break;
        default:
            run_today(input);
    }
    return 0;
}
