#include "lint/tables.h"

#include <fmt/format.h>

#include <algorithm>
#include <limits>

#include "host/text.h"
#include "lint/fields.h"

namespace qlip_tool {
namespace {

constexpr uint64_t kBoxHeader = 8;
constexpr size_t kFullBox = 4;            // version and flags
constexpr size_t kRowsAt = kFullBox + 4;  // behind the count of a table
constexpr size_t kVisualSizeAt = 24;      // width and height in one
constexpr size_t kLargestPacketAt = 12;   // in an RTP hint entry

// The tables of one track, by type. Of several boxes of a type the first counts.
class TrackReader {
  public:
    TrackReader(FileHost& host, const BoxNode& trak, Findings& findings) : host_(host), findings_(findings) {
        track_.offset = trak.offset;
        collect(trak);
    }

    TableTrack read() {
        read_headers();
        read_descriptions();
        read_hint_boxes();
        read_sizes();
        read_chunks();
        read_times();
        read_shifts();
        read_sync();
        return std::move(track_);
    }

  private:
    void collect(const BoxNode& node) {
        for (const BoxNode& child : node.children) {
            boxes_.try_emplace(child.type, &child);
            collect(child);
        }
    }

    const BoxNode* find(const std::string& type) const {
        const auto found = boxes_.find(type);
        return found == boxes_.end() ? nullptr : found->second;
    }

    std::vector<unsigned char> payload(const std::string& type) {
        const BoxNode* box = find(type);
        return box ? box_payload(host_, *box) : std::vector<unsigned char>();
    }

    void tell(RuleId id, const std::string& type, std::string what) {
        const BoxNode* box = find(type);
        Place place{track_.id, {}, box ? box->offset : track_.offset, {}, {}};
        findings_.add(id, std::move(place), std::move(what));
    }

    // Fields of tkhd and mdhd stand behind two times, of 4 or, in version 1, 8 bytes each.
    static size_t behind_times(const Fields& box) { return kFullBox + (box.u8(0) == 1 ? 16U : 8U); }

    void read_headers() {
        const auto tkhd = payload("tkhd"), mdhd = payload("mdhd"), hdlr = payload("hdlr");
        track_.id = Fields(tkhd).u32(behind_times(Fields(tkhd)));
        track_.timescale = std::max(Fields(mdhd).u32(behind_times(Fields(mdhd))), 1U);
        const auto type = Fields(hdlr).from(kFullBox + 4, 4);
        track_.handler.assign(type.begin(), type.end());
        const auto elst = payload("elst");
        track_.edits = Fields(elst).u32(kFullBox);
        // One edit that begins with the media is what most writers put into every track.
        const size_t time = kRowsAt + (Fields(elst).u8(0) == 1 ? 8U : 4U);
        track_.is_shifted = track_.edits > 1 || (track_.edits == 1 && Fields(elst).u32(time) != 0);
    }

    void read_descriptions() {
        const BoxNode* stsd = find("stsd");
        if (!stsd) return;
        for (const BoxNode& entry : stsd->children) {
            if (!entry.is_padding) track_.entries.push_back(entry.type);
        }
        for (const char* type : {"avcC", "d263", "esds"}) {
            if (find(type)) track_.config = payload(type);
        }
        if (stsd->children.empty() || !track_.is_video()) return;
        const auto entry = box_payload(host_, stsd->children.front());
        track_.width = Fields(entry).u16(kVisualSizeAt);
        track_.height = Fields(entry).u16(kVisualSizeAt + 2);
    }

    void read_hint_boxes() {
        if (!track_.is_hint()) return;
        track_.hints_for = Fields(payload("hint")).u32(0);
        if (const BoxNode* stsd = find("stsd"); stsd && !stsd->children.empty()) {
            const auto entry = box_payload(host_, stsd->children.front());
            track_.largest_packet = Fields(entry).u32(kLargestPacketAt);
        }
        const auto sdp = payload("sdp ");
        track_.sdp.assign(sdp.begin(), sdp.end());
    }

    void read_sizes() {
        const auto stsz = payload("stsz");
        const Fields fields(stsz);
        const uint32_t fixed = fields.u32(kFullBox);
        track_.claimed_samples = fields.u32(kFullBox + 4);
        uint64_t count = track_.claimed_samples;
        if (fixed != 0) {
            count = std::min(count, host_.size() / fixed);
        } else {
            count = fields.rows(kRowsAt + 4, 4, count);
            if (count < track_.claimed_samples) {
                tell(RuleId::TablesDisagree, "stsz",
                     fmt::format("stsz says {} samples and has sizes of {}",
                                 count_text(track_.claimed_samples), count_text(count)));
            }
        }
        if (fixed != 0 && count < track_.claimed_samples) {
            tell(RuleId::SamplesBeyondFile, "stsz",
                 fmt::format("{} samples of {} bytes are more than the file can hold",
                             count_text(track_.claimed_samples), count_text(fixed)));
        }
        track_.samples.resize(count);
        for (size_t i = 0; i < count; ++i)
            track_.samples[i].size = fixed != 0 ? fixed : fields.u32(kRowsAt + 4 + 4 * i);
    }

    void read_chunks() {
        if (find("co64")) {
            track_.has_large_offsets = true;
            tell(RuleId::LargeOffsets, "co64", "chunk offsets are in a co64 box");
        }
        const auto stco = payload("stco"), stsc = payload("stsc");
        const Fields offsets(stco), runs(stsc);
        const size_t chunks = offsets.rows(kRowsAt, 4, offsets.u32(kFullBox));
        const size_t run_count = runs.rows(kRowsAt, 12, runs.u32(kFullBox));
        size_t run = 0, sample = 0;
        for (size_t chunk = 0; chunk < chunks && run_count > 0; ++chunk) {
            while (run + 1 < run_count && runs.u32(kRowsAt + 12 * (run + 1)) <= chunk + 1)
                ++run;
            use_description(runs.u32(kRowsAt + 12 * run + 8));
            sample = place_chunk(offsets.u32(kRowsAt + 4 * chunk), runs.u32(kRowsAt + 12 * run + 4), sample);
        }
        if (sample < track_.samples.size() && !track_.has_large_offsets) {
            tell(RuleId::TablesDisagree, "stsc",
                 fmt::format("stsc and stco place {} of {} samples", count_text(sample),
                             count_text(track_.samples.size())));
            track_.samples.resize(sample);
        }
        if (track_.has_large_offsets) track_.samples.clear();
    }

    void use_description(uint32_t index) {
        auto& used = track_.descriptions_used;
        if (std::find(used.begin(), used.end(), index) == used.end() && used.size() < 8)
            used.push_back(index);
    }

    size_t place_chunk(uint64_t offset, uint32_t samples, size_t sample) {
        if (samples > 0 && sample < track_.samples.size()) track_.chunk_starts.push_back(sample);
        for (uint32_t i = 0; i < samples && sample < track_.samples.size(); ++i, ++sample) {
            track_.samples[sample].offset =
                static_cast<uint32_t>(std::min<uint64_t>(offset, std::numeric_limits<uint32_t>::max()));
            offset += track_.samples[sample].size;
        }
        return sample;
    }

    // Calls with the value of each sample that a run-length table covers; returns the samples it counts.
    template <typename Take>
    uint64_t each_of_runs(const Fields& table, Take take) {
        const size_t rows = table.rows(kRowsAt, 8, table.u32(kFullBox));
        uint64_t counted = 0;
        size_t sample = 0;
        for (size_t row = 0; row < rows; ++row) {
            const uint32_t run = table.u32(kRowsAt + 8 * row);
            counted += run;
            for (uint32_t i = 0; i < run && sample < track_.samples.size(); ++i, ++sample)
                take(track_.samples[sample], table.u32(kRowsAt + 8 * row + 4));
        }
        return counted;
    }

    void read_times() {
        const auto stts = payload("stts");
        uint64_t time = 0;
        const uint64_t counted = each_of_runs(Fields(stts), [&](TableSample& sample, uint32_t delta) {
            sample.time = time;
            sample.duration = delta;
            time += delta;
        });
        for (size_t i = counted; i < track_.samples.size(); ++i)
            track_.samples[i].time = time;
        if (counted == track_.claimed_samples) return;
        tell(RuleId::TablesDisagree, "stts",
             fmt::format("stts has times of {} samples, stsz sizes of {}", count_text(counted),
                         count_text(track_.claimed_samples)));
    }

    void read_shifts() {
        if (!find("ctts")) return;
        const auto ctts = payload("ctts");
        const uint64_t counted = each_of_runs(Fields(ctts), [](TableSample& sample, uint32_t shift) {
            sample.shift = static_cast<int32_t>(shift);
        });
        if (counted == track_.claimed_samples) return;
        tell(RuleId::TablesDisagree, "ctts",
             fmt::format("ctts has offsets of {} samples, stsz sizes of {}", count_text(counted),
                         count_text(track_.claimed_samples)));
    }

    void read_sync() {
        track_.has_sync_table = find("stss") != nullptr;
        if (!track_.has_sync_table) return;
        const auto stss = payload("stss");
        const Fields fields(stss);
        const size_t rows = fields.rows(kRowsAt, 4, fields.u32(kFullBox));
        for (size_t i = 0; i < rows; ++i)
            track_.sync.push_back(fields.u32(kRowsAt + 4 * i));
        const bool rises = std::adjacent_find(track_.sync.begin(), track_.sync.end(),
                                              std::greater_equal<>()) == track_.sync.end();
        const bool inside =
            track_.sync.empty() || (track_.sync.front() >= 1 && track_.sync.back() <= track_.claimed_samples);
        if (rises && inside) return;
        tell(RuleId::TablesDisagree, "stss", "stss does not rise, or names samples that there are not");
    }

    FileHost& host_;
    Findings& findings_;
    std::map<std::string, const BoxNode*> boxes_;
    TableTrack track_;
};

void tell_faults(const std::vector<BoxNode>& boxes, Findings& findings) {
    for (const BoxNode& box : boxes) {
        if (!box.fault.empty() && !box.is_padding)
            findings.add(RuleId::BoxFault, {0, {}, box.offset, {}, {}},
                         fmt::format("'{}' {}", printable(box.type), box.fault));
        tell_faults(box.children, findings);
    }
}

}  // namespace

uint64_t TableTrack::bytes() const {
    uint64_t sum = 0;
    for (const TableSample& sample : samples)
        sum += sample.size;
    return sum;
}

std::vector<unsigned char> box_payload(FileHost& host, const BoxNode& box) {
    std::vector<unsigned char> bytes(box.size > kBoxHeader ? box.size - kBoxHeader : 0);
    bytes.resize(host.read_at(box.offset + kBoxHeader, bytes.data(), bytes.size()));
    return bytes;
}

std::vector<TableTrack> read_tables(FileHost& host, const std::vector<BoxNode>& boxes, Findings& findings) {
    tell_faults(boxes, findings);
    std::vector<TableTrack> tracks;
    for (const BoxNode& box : boxes) {
        if (box.type == "moof")
            findings.add(RuleId::Fragmented, {0, {}, box.offset, {}, {}}, "the file has moof boxes");
        if (box.type != "moov") continue;
        for (const BoxNode& child : box.children) {
            if (child.type == "trak") tracks.push_back(TrackReader(host, child, findings).read());
        }
    }
    return tracks;
}

}  // namespace qlip_tool
