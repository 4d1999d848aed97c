// Decoder information in the forms that a session needs, and between the avcC and the start-code form.
#include <array>
#include <cstring>
#include <span>

#include "common/byte_order.h"
#include "formats/nal.h"
#include "iso/model/arena.h"

namespace {

// Calls take(set, length) for each parameter set of an avcC payload. False when the payload ends early.
template <typename Take>
bool walk_parameter_sets(std::span<const unsigned char> avcc, Take take) {
    size_t at = qlip::kAvccSetsAt;
    const auto next_set = [&] {
        if (at + 2 > avcc.size()) return false;
        const size_t length = qlip::load_be16(&avcc[at]);
        if (at + 2 + length > avcc.size()) return false;
        take(avcc.subspan(at + 2, length));
        at += 2 + length;
        return true;
    };
    if (at >= avcc.size()) return false;
    for (int sps = static_cast<int>(avcc[at] & qlip::kAvccSetCountMask); sps > 0; --sps) {
        // Right for the first set alone; with more the walk is a byte off: kept for its callers
        // [dsi-with-two-sets].
        ++at;
        if (!next_set()) return false;
    }
    if (at >= avcc.size()) return false;
    for (int pps = avcc[at++]; pps > 0; --pps) {
        if (!next_set()) return false;
    }
    return true;
}

// Parameter sets found in a stream with start codes.
struct FoundSets {
    using Set = std::span<const unsigned char>;
    std::array<Set, 32> sps;
    std::array<Set, 128> pps;
    size_t sps_count = 0, pps_count = 0;

    // False when there is no slot left.
    bool add(Set unit) {
        const unsigned int type = qlip::nal_type(unit);
        if (type == qlip::kNalSequenceSet) {
            if (sps_count == sps.size()) return false;
            sps[sps_count++] = unit;
        } else if (type == qlip::kNalPictureSet) {
            if (pps_count == pps.size()) return false;
            pps[pps_count++] = unit;
        }
        return true;
    }
};

// A start code is taken to be four bytes long, whatever stands ahead of its last three: kept for callers that
// give four [short-start-codes].
bool find_sets(std::span<const unsigned char> in, FoundSets* sets) {
    unsigned int window = 0xFFFFFF;
    size_t start = 0;
    for (size_t i = 0; i < in.size(); ++i) {
        window = (window << 8 | in[i]) & 0xFFFFFF;
        const bool ended = i + 1 == in.size();
        if (window != 0x000001 && !ended) continue;
        const size_t scanned = i + 1 - start;
        const size_t cut = ended ? 0 : qlip::kNalStartCode.size();
        if (scanned > cut && !sets->add(in.subspan(start, scanned - cut))) return false;
        start = i + 1;
        window = 0xFFFFFF;
    }
    return true;
}

// The result of the conversion, which never grows.
class AvccWriter {
  public:
    static constexpr int kCapacity = 256;

    explicit AvccWriter(unsigned char* out) : out_(out) {}

    void u8(unsigned int value) {
        if (take(1)) out_[length_ - 1] = static_cast<unsigned char>(value);
    }

    void set(FoundSets::Set set) {
        if (set.size() > kCapacity || !take(2 + static_cast<int>(set.size()))) {
            fits_ = false;
            return;
        }
        unsigned char* to = out_ + length_ - set.size() - 2;
        qlip::store_be16(to, static_cast<uint16_t>(set.size()));
        std::memcpy(to + 2, set.data(), set.size());
    }

    bool fits() const { return fits_; }
    int length() const { return length_; }

  private:
    bool take(int n) {
        fits_ = fits_ && length_ + n <= kCapacity;
        if (fits_) length_ += n;
        return fits_;
    }

    unsigned char* out_;
    int length_ = 0;
    bool fits_ = true;
};

void write_avcc(const FoundSets& sets, AvccWriter* out) {
    out->u8(qlip::kAvccVersion);
    for (int i = 1; i <= 3; ++i)
        out->u8(sets.sps[0][static_cast<size_t>(i)]);  // profile, compatibility, level
    out->u8(qlip::kAvccLengthSizeReserved | (2 - 1));  // NAL lengths of two bytes
    out->u8(static_cast<unsigned int>(qlip::kAvccSetCountReserved | sets.sps_count));
    for (size_t i = 0; i < sets.sps_count; ++i)
        out->set(sets.sps[i]);
    out->u8(static_cast<unsigned int>(sets.pps_count));
    for (size_t i = 0; i < sets.pps_count; ++i)
        out->set(sets.pps[i]);
}

}  // namespace

void* isoFFgetDecoderSpecificInfo(iso_track* track, int* size, int prepend) {
    if (!track) return nullptr;
    if (prepend) {
        track->flags |= ISO_TRACK_PREPEND_DSI;
    } else {
        track->flags &= ~ISO_TRACK_PREPEND_DSI;
    }
    if (size) *size = track->dsi_size;
    return track->dsi;
}

int isoFFsetDecoderSpecificInfo(iso_track* track, void* data, int size) {
    if (!track) return -1;
    auto* dsi = static_cast<unsigned char*>(isoFFmalloc(track->file, size));
    if (!dsi) return -1;
    if (size > 0 && data) std::memcpy(dsi, data, static_cast<size_t>(size));
    if (track->dsi) isoFFfree(track->dsi);
    track->dsi = dsi;
    track->dsi_size = size;
    return 0;
}

int isoFFGetDSIin3GPP(iso_track* track, int prepend, unsigned char** out) {
    int size = 0;
    const auto* dsi = static_cast<unsigned char*>(isoFFgetDecoderSpecificInfo(track, &size, prepend));
    if (!dsi || size < 0 || !out) return -1;
    const std::span avcc(dsi, static_cast<size_t>(size));
    size_t total = 0;
    if (!walk_parameter_sets(avcc, [&](auto set) { total += qlip::kNalStartCode.size() + set.size(); }))
        return -1;
    auto* buffer = static_cast<unsigned char*>(systemmalloc(track->file, static_cast<int>(total)));
    if (!buffer) return -1;
    unsigned char* to = buffer;
    walk_parameter_sets(avcc, [&](auto set) {
        std::memcpy(to, qlip::kNalStartCode.data(), qlip::kNalStartCode.size());
        if (!set.empty()) std::memcpy(to + qlip::kNalStartCode.size(), set.data(), set.size());
        to += qlip::kNalStartCode.size() + set.size();
    });
    *out = buffer;
    return static_cast<int>(total);
}

int convertDCI_3gpp_to_ISO(unsigned char* in, unsigned int len, unsigned char** out, int* outlen) {
    if (!in || !out || !outlen) return 0;
    std::span<const unsigned char> stream(in, len);
    if (len >= qlip::kNalStartCode.size() &&
        std::memcmp(in, qlip::kNalStartCode.data(), qlip::kNalStartCode.size()) == 0)
        stream = stream.subspan(qlip::kNalStartCode.size());
    FoundSets sets;
    if (!find_sets(stream, &sets) || sets.sps_count == 0 || sets.sps[0].size() < 4) return 0;
    auto* buffer = static_cast<unsigned char*>(systemmalloc(nullptr, AvccWriter::kCapacity));
    if (!buffer) return 0;
    AvccWriter writer(buffer);
    write_avcc(sets, &writer);
    if (!writer.fits()) {
        systemfree(buffer);
        return 0;
    }
    *out = buffer;
    *outlen = writer.length();
    return 1;
}
