// qlip records: a native stream, record by record.
#include <limits>
#include <memory>

#include "commands/commands.h"
#include "host/json_text.h"
#include "host/output.h"
#include "host/stream_file.h"
#include "host/text.h"
#include "host/tool_error.h"
#include "stream/record_fields.h"

namespace qlip_tool {
namespace {

constexpr const char* kAbout =
    "Reads a native stream back as a consumer does and shows every record field by field. A length that does "
    "not\n"
    "fit ends it with a message that says where, and exit code 1.\n"
    "\n"
    "Examples:\n"
    "  qlip records clip.stream                  all of it\n"
    "  qlip records clip.stream --limit 2        the header and two frames\n"
    "  qlip records clip.stream --json           for programs; offsets are bytes from the stream's start\n"
    "  qlip stream clip.3gp | qlip records -     without a file in between";

struct Options {
    std::string file;
    bool json = false;
    bool payload = false;
    uint64_t limit = std::numeric_limits<uint64_t>::max();
};

// Shows what it is handed, in the order of the stream.
class Report {
  public:
    explicit Report(const Options& options) : options_(options) {
        if (options_.json) out_.write(std::string_view{"{\"header\":["});
    }

    void header(const StreamHeader& header) {
        for (const ShownRecord& record : show_header(header))
            options_.json ? json(record) : lines(record);
        begin_frames();
    }

    void frame(const StreamHeader& header, const Frame& frame) {
        const auto records = show_frame(header, frame, options_.payload);
        if (!options_.json) {
            for (const ShownRecord& record : records)
                one_line(record);
            return;
        }
        out_.print("{}\n[", separator_);
        separator_ = "";
        for (const ShownRecord& record : records)
            json(record);
        out_.write(std::string_view{"]"});
        separator_ = ",";
    }

    // The document stays one, with what was read and why no more was.
    void failure(const std::string& why) {
        if (options_.json) {
            if (in_header_) begin_frames();
            out_.print("],\n\"failure\":{}}}\n", json_text(why));
        }
        out_.finish();
    }

    void end(uint64_t frames, uint64_t announced, uint64_t bytes, bool whole) {
        if (options_.json) {
            out_.print("],\n\"frame_count\":{},\"bytes\":{},\"whole\":{}}}\n", frames, bytes, whole);
        } else {
            out_.print("{} frames{}, {} bytes{}\n", count_text(frames),
                       frames == announced ? "" : " of " + count_text(announced) + " announced",
                       count_text(bytes), whole ? "" : " so far (--limit)");
        }
        out_.finish();
    }

  private:
    void begin_frames() {
        if (options_.json) out_.write(std::string_view{"],\n\"frames\":["});
        separator_ = "";
        in_header_ = false;
    }

    void json(const ShownRecord& record) {
        const nlohmann::ordered_json object = {{"record", record.name},
                                               {"offset", record.offset},
                                               {"size", record.size},
                                               {"fields", record.fields}};
        out_.print("{}{}", separator_, json_text(object));
        separator_ = ",";
    }

    void lines(const ShownRecord& record) {
        out_.print("{:>8}  {}, {} bytes\n", record.offset, record.name, record.size);
        for (const auto& [name, value] : record.fields.items())
            out_.print("{:14}{:<16} {}\n", "", name, json_text(value));
    }

    void one_line(const ShownRecord& record) {
        out_.print("{:>8}  {}", record.offset, record.name);
        for (const auto& [name, value] : record.fields.items())
            out_.print(" {}={}", name, json_text(value));
        out_.write(std::string_view{"\n"});
    }

    const Options& options_;
    Output out_;
    const char* separator_ = "";
    bool in_header_ = true;
};

void show_all(const Options& options, StreamFile& file, Report& report) {
    StreamReader reader(file);
    report.header(reader.header());
    Frame frame = {};
    uint64_t frames = 0;
    bool whole = false;
    while (frames < options.limit && !(whole = !reader.next(frame))) {
        report.frame(reader.header(), frame);
        ++frames;
    }
    report.end(frames, reader.header().prop.frame_count, reader.position(), whole);
}

void run(const Options& options) {
    StreamFile file(options.file);
    Report report(options);
    try {
        show_all(options, file, report);
    } catch (const ToolError& error) {
        report.failure(error.what());
        throw;
    }
}

}  // namespace

void add_records(CLI::App& app) {
    const auto options = std::make_shared<Options>();
    CLI::App* command = app.add_subcommand("records", "Show the records of a native stream");
    command->footer(kAbout);
    command->add_option("STREAM", options->file, "A native stream; - is standard input")->required();
    command->add_flag("--json", options->json, "One JSON document instead of lines");
    command->add_flag("--payload", options->payload, "With every payload, in hexadecimal digits");
    command->add_option("--limit", options->limit, "Stop after so many frames")->type_name("N");
    command->callback([options] { run(*options); });
}

}  // namespace qlip_tool
