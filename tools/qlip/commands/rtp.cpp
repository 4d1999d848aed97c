// qlip rtp: plays tracks to a standard player.
#include <memory>

#include "commands/commands.h"
#include "commands/source_options.h"
#include "host/tool_error.h"
#include "qlip/c3gpinterface.h"
#include "rtp/player.h"

namespace qlip_tool {
namespace {

constexpr const char* kAbout =
    "Sends one track of a 3GP file, or its sound and picture, as RTP over UDP, each packet at its time, and "
    "writes the\n"
    "session description (SDP) that a player opens. AMR goes octet-aligned (RFC 4867), H.263 as RFC 4629 or, "
    "from such a\n"
    "hint track, as RFC 2190, MPEG-4 as RFC 6416, H.264 as RFC 6184.\n"
    "\n"
    "Play a file in two lines:\n"
    "  qlip rtp clip.3gp --mode both --sdp clip.sdp --delay 2 &\n"
    "  sleep 1; ffplay -protocol_whitelist file,udp,rtp clip.sdp\n"
    "\n"
    "More examples:\n"
    "  qlip rtp clip.3gp --to 192.0.2.7:6000 --loop 0    to another machine, for ever\n"
    "  qlip rtp clip.3gp --seek 60000                    from the second minute on\n"
    "  qlip rtp clip.3gp --pcap clip.pcap                the same packets in a capture file\n"
    "\n"
    "With --mode both, sound goes to the port of --to and picture to the second one above it, each with RTCP "
    "sender\n"
    "reports on the port between. AMR frames that hold nothing are not sent unless --keep-no-data asks for "
    "them.\n"
    "--as-is, and --engine box, send the records of the native stream with their own markers, numbers and "
    "types.";

struct Options {
    SourceOptions source;
    SendOptions send;
    bool as_is = false;
    bool keep_no_data = false;
    unsigned int loop = 1;
};

using Feeds = std::vector<std::unique_ptr<Feed>>;

constexpr uint32_t kFirstSsrc = 0x716c6970;
constexpr int64_t kMillisecond = 1000000;

std::unique_ptr<KitTrack> open_track(FileHost& host, const Options& options, TrackOptions track) {
    track.keep_no_data = options.keep_no_data || options.as_is;
    return std::make_unique<KitTrack>(host, options.source.growth(host), track);
}

// The description is the kit's; the types are those of the records, which speech has none of.
std::unique_ptr<Feed> open_records(FileHost& host, const Options& options, unsigned int usual_type) {
    const auto describe = [&host, &options](const StreamHeader& header, unsigned int type,
                                            unsigned int port) {
        const TrackOptions track = {.mode = header.is_audio() ? "ra" : "rv", .payload_type = type};
        return open_track(host, options, track)->media_section(port);
    };
    return std::make_unique<RecordFeed>([&host, &options] { return open_stream(host, options.source); },
                                        describe, usual_type);
}

// Speech has no records to speak of: those say neither markers nor types.
bool takes_records(const KitTrack& track, const Options& options) {
    return options.source.uses_box() || (options.as_is && track.info().medium == QLIP_VIDEO);
}

Feeds open_one(FileHost& host, const Options& options) {
    Feeds feeds;
    auto track = open_track(host, options, {.mode = options.source.mode, .ssrc = kFirstSsrc});
    if (takes_records(*track, options)) {
        const bool speech = track->info().medium == QLIP_AUDIO;
        feeds.push_back(open_records(host, options, speech ? track->info().payload_type : 0));
    } else {
        int64_t start = options.source.seek_ms.value_or(0) * kMillisecond;
        feeds.push_back(std::make_unique<KitFeed>(std::move(track), start));
    }
    return feeds;
}

// Sound starts where the picture does.
Feeds open_both(FileHost& host, const Options& options) {
    Feeds feeds;
    int64_t start = options.source.seek_ms.value_or(0) * kMillisecond;
    auto picture =
        std::make_unique<KitFeed>(open_track(host, options, {.mode = "rv", .ssrc = kFirstSsrc + 1}), start);
    feeds.push_back(
        std::make_unique<KitFeed>(open_track(host, options, {.mode = "ra", .ssrc = kFirstSsrc}), start));
    feeds.push_back(std::move(picture));
    return feeds;
}

void check(const Options& options) {
    const bool box = options.source.uses_box();
    if (options.source.mode == "both" && (box || options.as_is))
        throw ToolError(Exit::usage, "records as they are can only be sent of one track", "--mode rv");
    if (!box && options.source.seek_flag.value_or(QLIP_SEEK_PREVIOUS_SYNC) != QLIP_SEEK_PREVIOUS_SYNC)
        throw ToolError(Exit::usage, "--next and --nearest are what --engine box can do", "--seek MS alone");
}

void run(const Options& options) {
    check(options);
    FileHost host(options.source.file);
    Feeds feeds = options.source.mode == "both" ? open_both(host, options) : open_one(host, options);
    Player(options.send, options.source.file, "frames", std::move(feeds)).play(options.loop);
}

}  // namespace

void add_rtp(CLI::App& app) {
    const auto options = std::make_shared<Options>();
    CLI::App* command = app.add_subcommand("rtp", "Play a track, or sound and picture, to a standard player");
    command->footer(kAbout);
    options->source.add_to(*command, true);
    options->send.add_to(*command);
    command->add_flag("--keep-no-data", options->keep_no_data, "Send AMR frames that hold nothing, too");
    command->add_flag("--as-is", options->as_is,
                      "Send the records with their own markers, numbers and types");
    command->add_option("--loop", options->loop, "Play so often; 0: for ever")
        ->type_name("N")
        ->capture_default_str();
    command->callback([options] { run(*options); });
}

}  // namespace qlip_tool
