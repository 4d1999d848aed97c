// qlip h263: the pictures of an H.263 stream as the bitstream walker sees them.
#include <algorithm>
#include <memory>

#include "commands/commands.h"
#include "host/json_text.h"
#include "host/output.h"
#include "host/tool_error.h"
#include "qlip/h263_isoff.h"
#include "stream/h263_pictures.h"

namespace qlip_tool {
namespace {

using Json = nlohmann::ordered_json;

constexpr const char* kAbout =
    "Lists the pictures of an H.263 elementary stream, or of the H.263 track of a 3GP file: offset, size, "
    "temporal\n"
    "reference, type, format, quantiser, groups of blocks or slices, and macroblocks. With -v also every "
    "macroblock\n"
    "with the bit where it begins, counted from the picture's start.\n"
    "\n"
    "Examples:\n"
    "  qlip h263 clip.3gp\n"
    "  ffmpeg -i clip.3gp -c copy -f h263 - | qlip h263 -\n"
    "  qlip h263 clip.263 -v --json";

struct Macroblock {
    uint64_t bit;         // where the step to it begins: at its segment's header, if that has one
    unsigned int number;  // in its segment
    bool opens_segment;
    bool coded;
    unsigned int type;
};

struct Walked {
    tbq_state_t state;
    unsigned int segments;
    std::vector<Macroblock> macroblocks;
    bool whole;  // all macroblocks of the format were there
};

struct Options {
    std::string file;
    bool json = false;
    bool verbose = false;
};

uint64_t bit_of(const tbq_pos_t& at) {
    return 8 * uint64_t{at.byte} + at.bit;
}

// Where the groups or slices behind the first begin, in bits; how to look for them depends on the picture
// header.
std::vector<uint64_t> segment_starts(tbq_state_t state, std::vector<unsigned char>& data) {
    constexpr unsigned long kStartCodeBits = 17;
    std::vector<uint64_t> starts;
    tbq_pos_t at = {};
    int error = 0;
    tbq_pos_add(&at, &at, kStartCodeBits);
    while (tbq_boundary_next(&state, data.data(), data.size(), &at, &at, &error) != TBQ_BOUNDARY_NONE) {
        starts.push_back(bit_of(at));
        tbq_pos_add(&at, &at, kStartCodeBits);
    }
    return starts;
}

unsigned int macroblocks_of(const tbq_state_t& state) {
    return h263_format(state.picture.source_format).macroblocks;
}

// Walks over the macroblocks of a picture.
class PictureWalk {
  public:
    // Two bytes of ones behind the picture let the walker look ahead from the last macroblocks.
    explicit PictureWalk(const H263Picture& picture) : data_(picture.data), end_(picture.data.size()) {
        data_.insert(data_.end(), {0xFF, 0xFF});
    }

    Walked run() {
        if (step()) starts_ = segment_starts(walked_.state, data_);
        const unsigned int known = macroblocks_of(walked_.state);
        while (at_.byte < end_ && (known == 0 || walked_.macroblocks.size() < known) && step())
            continue;
        walked_.segments = static_cast<unsigned int>(starts_.size()) + 1;
        walked_.whole = known == 0 || walked_.macroblocks.size() == known;
        return std::move(walked_);
    }

  private:
    bool step() {
        const bool opens = pass_stuffing() || walked_.macroblocks.empty();
        const uint64_t bit = bit_of(at_);
        tbq_state_t& state = walked_.state;
        if (get_start_of_mb(&state, data_.data(), static_cast<int>(data_.size()), &at_, &at_) != 0)
            return false;
        walked_.macroblocks.push_back({bit, state.mb.mb_number, opens, state.mb.cod == 0, state.mb.mb_type});
        return true;
    }

    // Up to 7 zero bits may stand in front of a group's start code, to bring it onto the byte grid (GSTUF,
    // ITU-T H.263 5.2.1). The walker does not pass them. True at the start of a group or slice.
    bool pass_stuffing() {
        const auto next = std::lower_bound(starts_.begin(), starts_.end(), bit_of(at_));
        if (next == starts_.end() || *next - bit_of(at_) > 7) return false;
        tbq_pos_t behind = {};
        int error = 0;
        const unsigned long between = *next - bit_of(at_);
        if (tbq_bits_get(data_.data(), data_.size(), &at_, &behind, between, &error) != 0) return false;
        at_ = behind;
        return true;
    }

    std::vector<unsigned char> data_;
    size_t end_;
    tbq_pos_t at_ = {};
    std::vector<uint64_t> starts_;
    Walked walked_ = {};
};

const char* type_of(const tbq_picture_info_t& picture) {
    if (picture.valid == 0) return "?";
    return picture.coding_type == 0 ? "I" : "P";
}

Json json_of(const H263Picture& picture, const Walked& walked, bool verbose) {
    const tbq_picture_info_t& header = walked.state.picture;
    Json object = {{"offset", picture.offset},
                   {"size", picture.data.size()},
                   {"temporal_reference", header.tr},
                   {"type", type_of(header)},
                   {"source_format", header.source_format},
                   {"format", h263_format(header.source_format).name},
                   {"quantiser", header.pquant},
                   {header.ss != 0 ? "slices" : "groups", walked.segments},
                   {"macroblocks", walked.macroblocks.size()},
                   {"whole", walked.whole}};
    if (!verbose) return object;
    object["macroblock_list"] = Json::array();
    for (const Macroblock& mb : walked.macroblocks) {
        object["macroblock_list"].push_back({{"bit", mb.bit},
                                             {"number", mb.number},
                                             {"opens_segment", mb.opens_segment},
                                             {"coded", mb.coded},
                                             {"type", mb.type}});
    }
    return object;
}

void show(Output& out, const H263Picture& picture, const Walked& walked, bool verbose) {
    const tbq_picture_info_t& header = walked.state.picture;
    out.print("{:>10}{:>8}{:>5}  {:<5}{:<10}{:>4}{:>8}{:>13}{}\n", picture.offset, picture.data.size(),
              header.tr, type_of(header), h263_format(header.source_format).name, header.pquant,
              walked.segments, walked.macroblocks.size(), walked.whole ? "" : "  !! the walk ends early");
    if (!verbose) return;
    for (const Macroblock& mb : walked.macroblocks) {
        out.print("{:>12}bit {:>7}  macroblock {:>4}  {}{}\n", "", mb.bit, mb.number,
                  mb.coded ? fmt::format("type {}", mb.type) : "not coded",
                  mb.opens_segment ? "  opens a segment" : "");
    }
}

// True when every picture is whole.
bool list_pictures(const Options& options, Output& out) {
    const std::vector<H263Picture> pictures = load_h263(options.file);
    bool whole = true;
    if (options.json) {
        out.write(std::string_view{"{\"pictures\":["});
    } else {
        out.print("{:>10}{:>8}{:>5}  {:<5}{:<10}{:>4}{:>8}{:>13}\n", "offset", "size", "TR", "type", "format",
                  "q", "groups", "macroblocks");
    }
    for (const H263Picture& picture : pictures) {
        const Walked walked = PictureWalk(picture).run();
        whole = whole && walked.whole;
        if (options.json) {
            out.print("{}\n{}", &picture == &pictures.front() ? "" : ",",
                      json_text(json_of(picture, walked, options.verbose)));
        } else {
            show(out, picture, walked, options.verbose);
        }
    }
    if (options.json) out.write(std::string_view{"]}\n"});
    return whole;
}

void run(const Options& options) {
    Output out;
    const bool whole = list_pictures(options, out);
    out.finish();
    if (!whole) {
        throw ToolError(Exit::bad_input, options.file + ": a picture does not hold all of its macroblocks");
    }
}

}  // namespace

void add_h263(CLI::App& app) {
    const auto options = std::make_shared<Options>();
    CLI::App* command = app.add_subcommand("h263", "List the pictures of an H.263 stream");
    command->footer(kAbout);
    command->add_option("FILE", options->file, "An elementary stream or 3GP file; - is standard input")
        ->required();
    command->add_flag("--json", options->json, "One JSON document instead of a table");
    command->add_flag("-v,--verbose", options->verbose, "With every macroblock");
    command->callback([options] { run(*options); });
}

}  // namespace qlip_tool
