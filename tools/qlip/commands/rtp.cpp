// qlip rtp: plays a track to a standard player.
#include <fmt/format.h>

#include <memory>

#include "commands/commands.h"
#include "commands/source_options.h"
#include "host/progress.h"
#include "host/text.h"
#include "host/tool_error.h"
#include "rtp/rtp_sender.h"

namespace qlip_tool {
namespace {

constexpr const char* kAbout =
    "Sends one track of a 3GP file as RTP over UDP, each packet at its time, and writes the session "
    "description\n"
    "(SDP) that a player opens. AMR goes octet-aligned (RFC 4867), H.263 as RFC 4629 or, from such a hint "
    "track, as\n"
    "RFC 2190, MPEG-4 as RFC 6416, H.264 as RFC 6184.\n"
    "\n"
    "Play a file in two lines:\n"
    "  qlip rtp clip.3gp --sdp clip.sdp --delay 2 &\n"
    "  sleep 1; ffplay -protocol_whitelist file,udp,rtp clip.sdp\n"
    "\n"
    "More examples:\n"
    "  qlip rtp clip.3gp --to 192.0.2.7:6000 --loop 0    to another machine, for ever\n"
    "  qlip rtp clip.3gp --pcap clip.pcap                the same packets in a capture file\n"
    "\n"
    "The marker is set on the last packet of a frame only, and H.264 parameter sets inside a picture are "
    "left out, as\n"
    "receivers expect it; --as-is sends the stream's records untouched.";

struct Options {
    SourceOptions source;
    SendOptions send;
    bool as_is = false;
    unsigned int loop = 1;
};

// Owns what one playing of several has in common.
class Player {
  public:
    explicit Player(const Options& options) : options_(options), host_(options.source.file) {}

    void play() {
        for (unsigned int round = 0; options_.loop == 0 || round < options_.loop; ++round) {
            if (shaper_) shaper_->start_over();
            play_once();
            if (!sender_) {
                throw ToolError(Exit::bad_input, options_.source.file + ": the track holds no frame to send");
            }
        }
        finish();
    }

  private:
    void finish() { sender_->finish(fmt::format("{} frames", count_text(frames_))); }

    void play_once() {
        const auto source = open_source(host_, options_.source);
        StreamReader reader(*source);
        Progress progress("playing", reader.header().prop.frame_count, "frames");
        Frame frame = {};
        try {
            for (uint64_t done = 0; reader.next(frame); ++frames_) {
                if (!sender_) prepare(reader.header(), frame);
                sender_->send(shaper_->shape(reader.header(), frame));
                progress.advance_to(++done);
            }
        } catch (const ToolError& error) {
            if (error.about_input() && sender_) finish();
            throw;
        }
    }

    void prepare(const StreamHeader& header, const Frame& first) {
        RtpFormat format = rtp_format(header);
        if (options_.as_is && !first.packets.empty()) format.payload_type = first.packets[0].payload_type();
        sender_ = std::make_unique<RtpSender>(options_.send, format, options_.source.file);
        shaper_ = std::make_unique<RtpShaper>(format, header.codec_name() == "s264", options_.as_is);
    }

    const Options& options_;
    FileHost host_;
    std::unique_ptr<RtpSender> sender_;
    std::unique_ptr<RtpShaper> shaper_;
    uint64_t frames_ = 0;
};

}  // namespace

void add_rtp(CLI::App& app) {
    const auto options = std::make_shared<Options>();
    CLI::App* command = app.add_subcommand("rtp", "Play a track to a standard player");
    command->footer(kAbout);
    options->source.add_to(*command);
    options->send.add_to(*command);
    command->add_flag("--as-is", options->as_is,
                      "Send the records with their own markers, numbers and types");
    command->add_option("--loop", options->loop, "Play so often; 0: for ever")
        ->type_name("N")
        ->capture_default_str();
    command->callback([options] { Player(*options).play(); });
}

}  // namespace qlip_tool
