#include "boxes/box_fields.h"

#include <fmt/chrono.h>
#include <fmt/format.h>

#include <arpa/inet.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <exception>
#include <string_view>

#include "host/text.h"
#include "host/tool_error.h"
#include "qlip/SimpleException.h"
#include "qlip/vorn3gp.h"

namespace qlip_tool {
namespace {

using namespace Vorn3gp;
using Json = nlohmann::ordered_json;

constexpr double kSixteenSixteen = 65536.0;
constexpr double kEightEight = 256.0;

std::string word_text(unsigned int word) {
    char letters[sizeof word];
    std::memcpy(letters, &word, sizeof word);
    return printable({letters, sizeof letters});
}

// Seconds since 1904 as a date (ISO 8601).
std::string date_text(unsigned int seconds) {
    constexpr int64_t kFrom1904To1970 = 2082844800;
    if (seconds == 0) return "not set";
    return fmt::format("{:%Y-%m-%dT%H:%M:%SZ}", fmt::gmtime(static_cast<time_t>(seconds - kFrom1904To1970)));
}

// Collects the fields of one box.
class Sheet {
  public:
    Sheet& number(const char* name, Json value) { return add(name, std::move(value), {}); }
    Sheet& word(const char* name, unsigned int value) { return text(name, word_text(value)); }
    Sheet& text(const char* name, const std::string& value) { return add(name, value, value); }
    Sheet& hex(const char* name, std::span<const unsigned char> bytes) {
        return add(name, hex_text(bytes), hex_text(bytes, " "));
    }
    Sheet& fixed(const char* name, double value, double one) {
        return add(name, value / one, fmt::format("{:g}", value / one));
    }
    Sheet& date(const char* name, unsigned int value) {
        return add(name, value == 0 ? Json() : Json(date_text(value)), date_text(value));
    }
    Sheet& time(const char* name, unsigned int ticks, unsigned int timescale) {
        if (timescale == 0) return number(name, ticks);
        const double seconds = static_cast<double>(ticks) / timescale;
        add(name, ticks, fmt::format("{} ({})", ticks, duration_text(seconds)));
        fields_.push_back({std::string(name) + "_seconds", seconds, "", true});
        return *this;
    }

    // Version and flags, where they say something.
    Sheet& full(const FullBox& box) {
        if (box.version != 0) number("version", box.version);
        if (box.flags != 0) add("flags", box.flags, fmt::format("{:#x}", box.flags));
        return *this;
    }

    // A table: its count, and the first and last row.
    template <typename Rows, typename Show>
    Sheet& table(const Rows& rows, Show show) {
        number("entries", rows.size());
        if (rows.empty()) return *this;
        const Json first = show(rows.front());
        const Json last = show(rows.back());
        add("first", first, first.dump());
        return rows.size() == 1 ? *this : add("last", last, last.dump());
    }

    BoxFields finish() const { return fields_; }

  private:
    Sheet& add(const char* name, Json value, std::string readable) {
        fields_.push_back({name, std::move(value), std::move(readable), false});
        return *this;
    }

    BoxFields fields_;
};

Json plain(unsigned int value) {
    return value;
}

std::string language_text(unsigned short packed) {
    std::string letters;
    for (const unsigned int divisor : {1024U, 32U, 1U}) {
        letters += static_cast<char>(0x60 + packed / divisor % 32);
    }
    return printable(letters);
}

void visual_fields(Sheet& sheet, const SampleEntry& entry, const VisualFields& visual) {
    sheet.number("data_reference_index", entry.data_reference_index)
        .number("width", visual.width)
        .number("height", visual.height)
        .fixed("horizresolution", visual.horizresolution, kSixteenSixteen)
        .fixed("vertresolution", visual.vertresolution, kSixteenSixteen)
        .number("frame_count", visual.frame_count)
        .number("depth", visual.depth);
}

// Visits the tree and notes the fields of every box under its place in the file.
class Visit {
  public:
    Visit(Stream stream, unsigned int limit) : stream_(stream), limit_(limit) {}

    std::map<uint64_t, BoxFields> finish() { return std::move(by_offset_); }

    void file(const Simple3gp& file) {
        if (file.ftyp) ftyp(*file.ftyp);
        if (file.moov) moov(*file.moov);
        for (const MdatBox* box : file.mdats) {
            const unsigned int header = 8;
            put(box, Sheet().number("data_size", box->size - std::min(box->size, header)));
        }
    }

  private:
    void put(const Box* box, const Sheet& sheet) { by_offset_[offset_of(*box)] = sheet.finish(); }

    static uint64_t offset_of(const Box& box) { return static_cast<uint64_t>(std::streamoff(box.position)); }

    void ftyp(const FtypBox& box) {
        Json brands = Json::array();
        for (const unsigned int brand : box.compatible_brands)
            brands.push_back(word_text(brand));
        put(&box, Sheet()
                      .word("major_brand", box.major_brand)
                      .number("minor_version", box.minor_version)
                      .number("compatible_brands", brands));
    }

    void moov(const MoovBox& box) {
        put(&box, Sheet());
        if (box.mvhd) mvhd(*box.mvhd);
        for (const TrakBox* trak : box.traks)
            this->trak(*trak);
    }

    void mvhd(const MvhdBox& box) {
        movie_timescale_ = box.timescale;
        put(&box, Sheet()
                      .full(box)
                      .date("creation_time", box.creation_time)
                      .date("modification_time", box.modification_time)
                      .number("timescale", box.timescale)
                      .time("duration", box.duration, box.timescale)
                      .fixed("rate", box.rate, kSixteenSixteen)
                      .fixed("volume", box.volume, kEightEight)
                      .number("next_track_ID", box.next_track_ID));
    }

    void trak(const TrakBox& box) {
        put(&box, Sheet());
        if (box.tkhd) tkhd(*box.tkhd);
        if (box.edts) edts(*box.edts);
        if (box.tref) tref(*box.tref);
        if (box.mdia) mdia(*box.mdia);
    }

    void tkhd(const TkhdBox& box) {
        put(&box, Sheet()
                      .full(box)
                      .date("creation_time", box.creation_time)
                      .date("modification_time", box.modification_time)
                      .number("track_ID", box.track_ID)
                      .time("duration", box.duration, movie_timescale_)
                      .number("layer", box.layer)
                      .number("alternate_group", box.alternate_group)
                      .fixed("volume", box.volume, kEightEight)
                      .fixed("width", box.width, kSixteenSixteen)
                      .fixed("height", box.height, kSixteenSixteen));
    }

    void edts(const EdtsBox& box) {
        put(&box, Sheet());
        if (!box.elst) return;
        const auto show = [&](const tagELST_EDIT_ENTRY& edit) {
            return Json{{"segment_duration", edit.segment_duration},
                        {"media_time", edit.media_time},
                        {"rate", edit.media_rate_integer + edit.media_rate_fraction / kSixteenSixteen}};
        };
        put(box.elst, Sheet().full(*box.elst).table(box.elst->edit_entries, show));
    }

    void tref(const TrefBox& box) {
        put(&box, Sheet());
        if (box.hint) put(box.hint, Sheet().number("track_ID", box.hint->track_ID));
    }

    void mdia(const MdiaBox& box) {
        put(&box, Sheet());
        if (box.mdhd) mdhd(*box.mdhd);
        if (box.hdlr) {
            put(box.hdlr, Sheet()
                              .full(*box.hdlr)
                              .word("handler_type", box.hdlr->handler_type)
                              .text("name", printable(box.hdlr->name)));
        }
        if (box.minf) minf(*box.minf);
    }

    void mdhd(const MdhdBox& box) {
        put(&box, Sheet()
                      .full(box)
                      .date("creation_time", box.creation_time)
                      .date("modification_time", box.modification_time)
                      .number("timescale", box.timescale)
                      .time("duration", box.duration, box.timescale)
                      .text("language", language_text(box.language)));
    }

    void minf(const MinfBox& box) {
        put(&box, Sheet());
        if (box.vmhd) put(box.vmhd, Sheet().full(*box.vmhd).number("opcolor", box.vmhd->opcolor));
        if (box.smhd) {
            put(box.smhd, Sheet().full(*box.smhd).fixed("balance", box.smhd->balance, kEightEight));
        }
        if (box.hmhd) hmhd(*box.hmhd);
        if (box.dinf) dinf(*box.dinf);
        if (box.stbl) stbl(*box.stbl);
    }

    void hmhd(const HmhdBox& box) {
        put(&box, Sheet()
                      .full(box)
                      .number("maxPDUsize", box.maxPDUsize)
                      .number("avgPDUsize", box.avgPDUsize)
                      .number("maxbitrate", box.maxbitrate)
                      .number("avgbitrate", box.avgbitrate));
    }

    void dinf(const DinfBox& box) {
        put(&box, Sheet());
        if (!box.dref) return;
        put(box.dref, Sheet().full(*box.dref).number("entries", box.dref->entries.size()));
        for (const DataEntryBox* entry : box.dref->entries)
            put(entry, Sheet());
    }

    void stbl(const StblBox& box) {
        put(&box, Sheet());
        if (box.stsd) stsd(*box.stsd);
        if (box.stts) {
            put(box.stts, Sheet().full(*box.stts).table(box.stts->sample_entries, [](const auto& row) {
                return Json{{"sample_count", row.sample_count}, {"sample_delta", row.sample_delta}};
            }));
        }
        if (box.stsc) {
            put(box.stsc, Sheet().full(*box.stsc).table(box.stsc->sample_entries, [](const auto& row) {
                return Json{{"first_chunk", row.first_chunk},
                            {"samples_per_chunk", row.samples_per_chunk},
                            {"sample_description_index", row.sample_description_index}};
            }));
        }
        if (box.stsz) stsz(*box.stsz);
        if (box.stco) put(box.stco, Sheet().full(*box.stco).table(box.stco->chunk_offsets, plain));
        if (box.stss) put(box.stss, Sheet().full(*box.stss).table(box.stss->sync_samples, plain));
    }

    void stsz(const StszBox& box) {
        Sheet sheet;
        sheet.full(box).number("sample_size", box.sample_size).number("sample_count", box.sample_count);
        if (box.sample_size == 0) sheet.table(box.chunk_sizes, plain);
        put(&box, sheet);
    }

    void stsd(const StsdBox& box) {
        put(&box, Sheet().full(box).number("entries", box.sample_entries.size()));
        for (const Box* entry : box.sample_entries)
            sample_entry(*entry);
    }

    void sample_entry(const Box& box) {
        if (const auto* h263 = dynamic_cast<const H263SampleEntry*>(&box)) return entry(*h263);
        if (const auto* h264 = dynamic_cast<const H264SampleEntry*>(&box)) return entry(*h264);
        if (const auto* mpeg4 = dynamic_cast<const MP4VisualSampleEntry*>(&box)) return entry(*mpeg4);
        if (const auto* amr = dynamic_cast<const AMRSampleEntry*>(&box)) return entry(*amr);
        if (box.type == type_word("rtp ")) return rtp_entry(box);
    }

    void entry(const H263SampleEntry& box) {
        Sheet sheet;
        visual_fields(sheet, box, box.visual);
        put(&box, sheet);
        const H263SpecificBox* config = box.h263_specific;
        if (!config) return;
        put(config, Sheet()
                        .word("vendor", config->vendor)
                        .number("decoder_version", config->decoder_version)
                        .number("h263_level", config->h263_level)
                        .number("h263_profile", config->h263_profile));
    }

    // The configuration box keeps no place of its own: it stands behind the entry's fixed fields.
    void entry(const H264SampleEntry& box) {
        constexpr uint64_t kFixedFields = 8 + 78;
        Sheet sheet;
        visual_fields(sheet, box, box.visual);
        put(&box, sheet);
        const AVCCBox* config = box.avcc;
        if (!config) return;
        by_offset_[offset_of(box) + kFixedFields] =
            Sheet()
                .number("configuration_version", config->configuration_version)
                .number("profile", config->profile)
                .number("profile_compatibility", config->profile_compatibility)
                .number("level", config->level)
                .number("nal_length_size", config->nal_length_size)
                .number("sps_count", config->sps_count)
                .number("pps_count", config->pps_count)
                .finish();
    }

    void entry(const MP4VisualSampleEntry& box) {
        Sheet sheet;
        visual_fields(sheet, box, box.visual);
        put(&box, sheet);
        const ESDBox* config = box.esd;
        if (!config) return;
        const tagESD_INFO& info = *config->GetESDInfo();
        Sheet fields;
        fields.full(*config)
            .number("object_type", info.object_type)
            .number("max_bitrate", info.max_bitrate)
            .number("avg_bitrate", info.avg_bitrate)
            .number("decoder_information_size", info.dsi_size);
        if (info.dsi) fields.hex("decoder_information", {info.dsi, info.dsi_size});
        put(config, fields);
    }

    void entry(const AMRSampleEntry& box) {
        put(&box, Sheet()
                      .number("data_reference_index", box.data_reference_index)
                      .number("channelcount", box.channelcount)
                      .number("samplesize", box.samplesize)
                      .number("samplerate", box.samplerate_high));
        const AMRSpecificBox* config = box.amr_specific;
        if (!config) return;
        put(config, Sheet()
                        .word("vendor", config->vendor)
                        .number("decoder_version", config->decoder_version)
                        .number("mode_set", config->mode_set)
                        .number("mode_change_period", config->mode_change_period)
                        .number("frames_per_sample", config->frames_per_sample));
    }

    // A tree keeps the hint entries without looking inside; they are read anew, as the class that does.
    void rtp_entry(const Box& kept) {
        RTPHintSampleEntry box;
        TimeScaleEntry clock;
        box.SetTimeScaleEntry(&clock, false);
        macro_Seek(stream_, static_cast<unsigned int>(offset_of(kept)));
        box.Read(stream_, limit_);
        put(&box, Sheet()
                      .number("data_reference_index", box.data_reference_index)
                      .number("hinttrackversion", box.hinttrackversion)
                      .number("highestcompatibleversion", box.highestcompatibleversion)
                      .number("maxpacketsize", box.maxpacketsize));
        if (clock.type == type_word("tims")) put(&clock, Sheet().number("timescale", clock.timescale));
    }

    Stream stream_;
    unsigned int limit_;
    unsigned int movie_timescale_ = 0;
    std::map<uint64_t, BoxFields> by_offset_;
};

BoxContents read_fields(FileHost& host) {
    BoxContents contents;
    Simple3gp file;
    Stream stream = host.record();
    host.start_over();
    const auto failing = [&](const auto& read) {
        try {
            read();
        } catch (const SimpleException& failure) {
            contents.failure = failure.m_message;
        } catch (const std::bad_alloc&) {
            contents.failure = "a size or count in it is larger than the file can hold";
        }
    };
    failing([&] { file.Read(stream, 0); });
    Visit visit(stream, static_cast<unsigned int>(host.size()));
    failing([&] { visit.file(file); });
    contents.by_offset = visit.finish();
    return contents;
}

struct CompositionOffset {  // ISO/IEC 14496-12 8.6.1.3, big-endian
    uint32_t sample_count, sample_offset;
};

BoxFields composition_offsets(FileHost& host, const BoxNode& box) {
    constexpr uint64_t kHead = 16;  // box header, version and flags, count
    uint32_t count = 0;
    host.read_at(box.offset + kHead - sizeof count, &count, sizeof count);
    const uint64_t there = (box.size - std::min(box.size, kHead)) / sizeof(CompositionOffset);
    Sheet sheet;
    sheet.number("entries", ntohl(count));
    const uint64_t rows = std::min<uint64_t>(ntohl(count), there);
    for (const bool last : {false, true}) {
        if (rows < (last ? 2 : 1)) break;
        CompositionOffset row = {};
        host.read_at(box.offset + kHead + (last ? rows - 1 : 0) * sizeof row, &row, sizeof row);
        sheet.number(last ? "last" : "first",
                     Json{{"sample_count", ntohl(row.sample_count)},
                          {"sample_offset", static_cast<int32_t>(ntohl(row.sample_offset))}});
    }
    return sheet.finish();
}

// Boxes that the model does not read and everybody knows.
void add_own_fields(FileHost& host, const std::vector<BoxNode>& boxes, BoxContents& contents) {
    constexpr uint64_t kHeader = 8;
    for (const BoxNode& box : boxes) {
        if (box.type == "free" || box.type == "skip")
            contents.by_offset[box.offset] =
                Sheet().number("data_size", box.size - std::min(box.size, kHeader)).finish();
        if (box.type == "ctts") contents.by_offset[box.offset] = composition_offsets(host, box);
        add_own_fields(host, box.children, contents);
    }
}

bool ends_the_process(FileHost& host) {
    const pid_t child = fork();
    if (child < 0) throw io_error("cannot start a process");
    if (child == 0) {
        read_fields(host);
        _exit(0);
    }
    int status = 0;
    while (waitpid(child, &status, 0) < 0 && errno == EINTR)
        continue;
    return status != 0;
}

}  // namespace

BoxContents read_box_fields(FileHost& host, const std::vector<BoxNode>& boxes, bool careful) {
    BoxContents contents = {{}, "the box model gives up on this file, so no fields are shown"};
    if (!careful || !ends_the_process(host)) contents = read_fields(host);
    add_own_fields(host, boxes, contents);
    return contents;
}

}  // namespace qlip_tool
