#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>

#include "formats/nal.h"
#include "formats/rtp.h"
#include "host/text.h"
#include "lint/checks.h"
#include "lint/fields.h"
#include "lint/hint_sample.h"
#include "lint/payload_rules.h"
#include "qlip/wld_native.h"

namespace qlip_tool {
namespace {

constexpr double kTolerance = 0.001;  // seconds
constexpr size_t kNeighbours = 64;    // bytes beside a piece that are compared

// What of the media the packets of a hint track carry.
class Carried {
  public:
    explicit Carried(const TableTrack& media) : media_(media) {
        uint64_t sum = 0;
        for (const TableSample& sample : media.samples) {
            first_.push_back(sum);
            sum += sample.size;
        }
        sent_.resize(sum);
    }

    void mark(uint32_t sample, uint64_t offset, uint64_t size) {
        if (sample == 0 || sample > media_.samples.size()) return;
        const uint64_t end = std::min<uint64_t>(offset + size, media_.samples[sample - 1].size);
        for (uint64_t at = offset; at < end; ++at)
            sent_[first_[sample - 1] + at] = true;
    }

    uint32_t missing(uint32_t sample) const {
        const auto begin = sent_.begin() + static_cast<std::ptrdiff_t>(first_[sample - 1]);
        return static_cast<uint32_t>(
            std::count(begin, begin + static_cast<std::ptrdiff_t>(media_.samples[sample - 1].size), false));
    }

  private:
    const TableTrack& media_;
    std::vector<uint64_t> first_;
    std::vector<bool> sent_;
};

class HintCheck {
  public:
    HintCheck(FileHost& host, const TableTrack& hint, const TableTrack& media, Findings& findings)
        : host_(host),
          hint_(hint),
          media_(media),
          findings_(findings),
          carried_(media),
          budget_(4 * host.size() + (1U << 20)) {}

    HintCoverage run() {
        for (size_t i = 0; i < hint_.samples.size() && !ended_; ++i)
            check_sample(i);
        check_types();
        return ended_ ? HintCoverage{} : coverage();
    }

    const std::vector<unsigned int>& types() const { return types_; }

  private:
    Place place() const { return {hint_.id, {}, hint_.samples[sample_].offset, sample_ + 1, packet_ + 1}; }
    void tell(RuleId id, std::string what) { findings_.add(id, place(), std::move(what)); }

    std::vector<unsigned char> bytes_of(const TableSample& sample, uint64_t offset, uint64_t size) {
        if (offset >= sample.size) return {};
        std::vector<unsigned char> bytes(std::min<uint64_t>(size, sample.size - offset));
        bytes.resize(host_.read_at(sample.offset + offset, bytes.data(), bytes.size()));
        return bytes;
    }

    void check_sample(size_t index) {
        sample_ = index;
        packet_ = 0;
        if (!spend(hint_.samples[index].size)) return;
        const auto bytes = bytes_of(hint_.samples[index], 0, hint_.samples[index].size);
        const HintSample sample = parse_hint_sample(bytes);
        slice_seen_ = false;
        for (packet_ = 0; packet_ < sample.packets.size() && !ended_; ++packet_)
            check_packet(sample.packets[packet_], packet_ + 1 == sample.packets.size());
        packet_ = sample.packets.size();
        if (!sample.fault.empty()) tell(RuleId::HintDamaged, sample.fault);
    }

    // Constructors may name the same bytes again and again; following them all could take for ever.
    bool spend(uint64_t size) {
        if (size > budget_) {
            ended_ = true;
            tell(RuleId::HintDamaged, "its packets hold several times the bytes of the file");
            return false;
        }
        budget_ -= size;
        return true;
    }

    void check_packet(const HintPacket& packet, bool last) {
        const std::vector<unsigned char> payload = assemble(packet);
        if (ended_) return;
        if (std::find(types_.begin(), types_.end(), packet.payload_type) == types_.end())
            types_.push_back(packet.payload_type);
        if (media_.is_video()) check_marker(packet, last);
        check_time(packet);
        if (media_.entry() == "avc1") check_units(payload);
        if (media_.entry() == "s263") mark_left_out_zeros(packet, payload);
    }

    std::vector<unsigned char> assemble(const HintPacket& packet) {
        std::vector<unsigned char> payload;
        std::vector<std::pair<size_t, const HintPiece*>> of_media;
        for (const HintPiece& piece : packet.pieces) {
            const auto bytes = bytes_of(piece);
            if (ended_) break;
            if (bytes.size() < piece.size)
                tell(RuleId::HintDamaged,
                     fmt::format("it points at {} bytes of sample {} from byte {}, which are not there",
                                 piece.size, count_text(piece.sample), count_text(piece.offset)));
            if (piece.kind == HintPiece::Kind::MediaSample && bytes.size() == piece.size)
                of_media.emplace_back(payload.size(), &piece);
            payload.insert(payload.end(), bytes.begin(), bytes.end());
        }
        for (const auto& [at, piece] : of_media)
            mark_equal_neighbours(payload, at, *piece);
        return payload;
    }

    std::vector<unsigned char> bytes_of(const HintPiece& piece) {
        if (piece.kind == HintPiece::Kind::Immediate) return {piece.bytes.begin(), piece.bytes.end()};
        if (!spend(piece.size) || piece.kind == HintPiece::Kind::Description) return {};
        const bool own = piece.kind == HintPiece::Kind::OwnSample;
        const auto& samples = own ? hint_.samples : media_.samples;
        if (piece.sample == 0 || piece.sample > samples.size()) return {};
        if (!own) carried_.mark(piece.sample, piece.offset, piece.size);
        return bytes_of(samples[piece.sample - 1], piece.offset, piece.size);
    }

    // Bytes beside those of a sample may be written out and be the sample's all the same.
    void mark_equal_neighbours(std::span<const unsigned char> payload, size_t at, const HintPiece& piece) {
        const TableSample& sample = media_.samples[piece.sample - 1];
        const size_t before = std::min<size_t>({at, piece.offset, kNeighbours});
        const auto front = bytes_of(sample, piece.offset - before, before);
        const auto same =
            std::mismatch(front.rbegin(), front.rend(), payload.rend() - static_cast<std::ptrdiff_t>(at));
        const auto in_front = static_cast<uint64_t>(same.first - front.rbegin());
        carried_.mark(piece.sample, piece.offset - in_front, in_front);
        const uint64_t end = uint64_t{piece.offset} + piece.size;
        const auto rest = payload.subspan(at + piece.size);
        const auto back = bytes_of(sample, end, std::min(rest.size(), kNeighbours));
        const auto equal = std::mismatch(back.begin(), back.end(), rest.begin());
        carried_.mark(piece.sample, end, static_cast<uint64_t>(equal.first - back.begin()));
    }

    static const HintPiece* media_piece(const HintPacket& packet) {
        for (const HintPiece& piece : packet.pieces) {
            if (piece.kind == HintPiece::Kind::MediaSample) return &piece;
        }
        return nullptr;
    }

    void check_marker(const HintPacket& packet, bool last) {
        if (packet.marker == last) return;
        tell(RuleId::HintMarker, last ? "the last packet of the picture has no marker"
                                      : "a marker in front of the last packet of the picture");
    }

    // Both clocks may start anywhere: the first packet tells how far they are apart.
    void check_time(const HintPacket& packet) {
        const HintPiece* piece = media_piece(packet);
        if (!piece || piece->sample == 0 || piece->sample > media_.samples.size()) return;
        const TableSample& sample = media_.samples[piece->sample - 1];
        const double sent =
            hint_.seconds(hint_.samples[sample_].time) + packet.relative_time / double(hint_.timescale);
        const double decoded = media_.seconds(sample.time);
        const double shown = decoded + sample.shift / double(media_.timescale);
        if (!apart_) apart_ = sent - decoded;
        const double tolerance = kTolerance + 1.0 / media_.timescale + 1.0 / hint_.timescale;
        const double late = sent - *apart_ - decoded;
        if (std::fabs(late) <= tolerance || std::fabs(sent - *apart_ - shown) <= tolerance) return;
        tell(RuleId::HintTimestamps,
             fmt::format("the packet is {:.1f} ms {} than sample {} of the media", std::fabs(late) * 1000,
                         late > 0 ? "later" : "earlier", count_text(piece->sample)));
    }

    void check_units(std::span<const unsigned char> payload) {
        if (payload.empty()) return;
        H264Contents contents = h264_contents(payload);
        if (contents.aggregated && contents.has(qlip::kNalIdrSlice) && !contents.has(qlip::kNalSequenceSet))
            tell(RuleId::HintAggregatedIdr, "an IDR slice in a STAP-A without parameter sets");
        const bool sets = contents.has(qlip::kNalSequenceSet) || contents.has(qlip::kNalPictureSet);
        if (sets && slice_seen_)
            tell(RuleId::HintParameterSets, "parameter sets behind a slice of the picture");
        slice_seen_ = slice_seen_ || contents.has_slice();
    }

    // RFC 4629 leaves the two zero bytes of a start code out (6.1).
    void mark_left_out_zeros(const HintPacket& packet, std::span<const unsigned char> payload) {
        const HintPiece* piece = media_piece(packet);
        if (!piece || packet.payload_type == WLD_TYPE_H263 || payload.empty() || (payload[0] & 0x04U) == 0)
            return;
        const uint32_t in_front =
            std::min(piece->offset, 3U);  // the two, and the byte that may be written out
        carried_.mark(piece->sample, piece->offset - in_front, in_front);
    }

    void check_types() {
        const bool is_h263 = media_.entry() == "s263";
        if (types_.empty()) return;
        packet_ = 0;
        sample_ = 0;
        if (types_.size() > 1)
            tell(RuleId::HintPayloadType,
                 fmt::format("its packets have the payload types {}", fmt::join(types_, ", ")));
        for (const unsigned int type : types_) {
            if (type >= 96 || (is_h263 && type == WLD_TYPE_H263)) continue;
            tell(RuleId::HintPayloadType,
                 fmt::format("payload type {} is not one of 96 to 127, which the format needs", type));
        }
    }

    HintCoverage coverage() {
        HintCoverage coverage{media_.id, {}};
        for (uint32_t i = 1; i <= media_.samples.size(); ++i) {
            mark_framing(i);
            const uint32_t missing = carried_.missing(i);
            coverage.missing.push_back(missing);
            if (missing == 0) continue;
            findings_.add(RuleId::HintCoverage, {media_.id, {}, media_.samples[i - 1].offset, i, {}},
                          fmt::format("{} of {} bytes are in no packet", count_text(missing),
                                      count_text(media_.samples[i - 1].size)));
        }
        return coverage;
    }

    // Bytes that the payload formats put in other words: lengths and first bytes of NAL units, the entries
    // in front of speech frames.
    void mark_framing(uint32_t sample) {
        if (media_.entry() == "avc1") mark_unit_heads(sample);
        if (media_.is_audio()) carried_.mark(sample, 0, media_.samples[sample - 1].size);
    }

    void mark_unit_heads(uint32_t sample) {
        const auto bytes = bytes_of(media_.samples[sample - 1], 0, media_.samples[sample - 1].size);
        const unsigned int prefix = (Fields(media_.config).u8(4) & qlip::kAvccLengthSizeMask) + 1;
        std::span<const unsigned char> left(bytes);
        while (!left.empty()) {
            const uint64_t at = bytes.size() - left.size();
            carried_.mark(sample, at, prefix + 1);
            if (!qlip::next_nal(left, prefix)) return;
        }
    }

    FileHost& host_;
    const TableTrack& hint_;
    const TableTrack& media_;
    Findings& findings_;
    Carried carried_;
    uint64_t budget_;
    bool ended_ = false;
    size_t sample_ = 0, packet_ = 0;
    std::vector<unsigned int> types_;
    std::optional<double> apart_;
    bool slice_seen_ = false;
};

void check_use(const Movie& movie, const TableTrack& hint, const TableTrack& media, Findings& findings) {
    const auto& read = movie.tracks();
    const auto found = std::find_if(read.begin(), read.end(),
                                    [&](const iso_track* track) { return track->track_id == media.id; });
    const Place place{hint.id, {}, hint.offset, {}, {}};
    if (found == read.end() || media.is_audio()) return;  // audio is delivered without hints
    const iso_track* chosen = isoFFrtpHinter(*found, qlip::kPacketBytes);
    if (chosen && chosen->track_id == hint.id) return;
    findings.add(RuleId::HintUnused, place,
                 hint.largest_packet > static_cast<uint32_t>(qlip::kPacketBytes)
                     ? fmt::format("its packets go up to {} bytes, the limit is {}", hint.largest_packet,
                                   qlip::kPacketBytes)
                 : hint.largest_packet == 0
                     ? std::string("its largest packet size is 0, which counts as none")
                     : std::string("another hint track is taken"));
}

}  // namespace

HintCoverage check_hint_track(FileHost& host, const Movie& movie, const TableTrack& hint,
                              const TableTrack& media, const std::string& own_parameters,
                              Findings& findings) {
    check_use(movie, hint, media, findings);
    HintCheck check(host, hint, media, findings);
    HintCoverage coverage = check.run();
    check_hint_sdp(hint, media, check.types(), own_parameters, findings);
    return coverage;
}

}  // namespace qlip_tool
