// qlip fragments: H.263 pictures cut into packets, in each of the library's three forms.
#include <map>
#include <memory>

#include "commands/commands.h"
#include "host/json_text.h"
#include "host/output.h"
#include "host/text.h"
#include "host/tool_error.h"
#include "rtp/player.h"
#include "stream/fragment_source.h"
#include "stream/stream_reader.h"

namespace qlip_tool {
namespace {

constexpr const char* kAbout =
    "Cuts the pictures of an H.263 elementary stream, or of the H.263 track of a 3GP file, into packets: RFC "
    "2190 with\n"
    "cuts at groups of blocks (2190), RFC 2190 with cuts at macroblocks (2190mb), or RFC 2429, now 4629 "
    "(2429). Without\n"
    "an output it lists them.\n"
    "\n"
    "Examples:\n"
    "  qlip fragments clip.263 --rfc 2190mb                       what the packets are\n"
    "  qlip fragments clip.263 --rfc 2190mb -o clip.stream        a native stream, for 'qlip records'\n"
    "  qlip fragments clip.263 --rfc 2190 --to 127.0.0.1:5004 --sdp clip.sdp\n"
    "                                                             to a player, as payload type 34 (2429: 96)";

const std::map<std::string, wld_rfc_mode> kForms = {
    {"2190", WLD_RFC_2190}, {"2190mb", WLD_RFC_2190_B}, {"2429", WLD_RFC_2429}};

struct Options {
    std::string file;
    std::string form;
    std::string out;
    int max_payload = 1400;
    bool json = false;
    SendOptions send;
};

// The payload header and the first bytes behind it.
std::string beginning(const Packet& packet) {
    return hex_text(packet.payload.first(std::min<size_t>(packet.payload.size(), 8)), " ");
}

nlohmann::ordered_json json_of(const Frame& frame) {
    auto packets = nlohmann::ordered_json::array();
    for (const Packet& packet : frame.packets) {
        packets.push_back({{"bytes", packet.payload.size()},
                           {"sequence", packet.sequence()},
                           {"timestamp", packet.record.timestamp},
                           {"marker", packet.marker()},
                           {"begins", beginning(packet)}});
    }
    return packets;
}

void show(Output& out, uint64_t picture, const Frame& frame) {
    out.print("picture {}: {} packets\n", picture, frame.packets.size());
    for (const Packet& packet : frame.packets) {
        out.print("  {:>5} bytes  number {:>5}  timestamp {:>10}{}  {}\n", packet.payload.size(),
                  packet.sequence(), packet.record.timestamp, packet.marker() ? "  marker" : "        ",
                  beginning(packet));
    }
}

void list_packets(ChunkSource& source, bool json) {
    StreamReader reader(source);
    Output out;
    Frame frame = {};
    if (json) out.write(std::string_view{"{\"pictures\":["});
    try {
        for (uint64_t picture = 0; reader.next(frame); ++picture) {
            if (json) {
                out.print("{}\n{}", picture == 0 ? "" : ",", json_text(json_of(frame)));
            } else {
                show(out, picture, frame);
            }
        }
    } catch (const ToolError& error) {
        if (json) out.print("],\n\"failure\":{}}}\n", json_text(error.what()));
        out.finish();
        throw;
    }
    if (json) out.write(std::string_view{"]}\n"});
    out.finish();
}

void write_stream(ChunkSource& source, const Options& options) {
    Output out(options.out, {options.file});
    out.refuse_terminal("a native stream", "-o OUT, or a pipe into 'qlip records -'");
    try {
        for (auto chunk = source.next(); !chunk.empty(); chunk = source.next())
            out.write(chunk);
    } catch (const ToolError& error) {
        if (error.about_input()) out.finish();
        throw;
    }
    out.finish();
}

// RFC 2190 is H263, and RFC 4629 H263-1998, whose parameters are those that 3GPP asks of every receiver.
std::string media_section(const StreamHeader& header, unsigned int type, unsigned int port) {
    const bool rfc2190 = type == WLD_TYPE_H263;
    const VID_Header_CodecInfo& codec = header.video().codec;
    std::string text = fmt::format("m=video {} RTP/AVP {}\r\na=rtpmap:{} {}/90000\r\n", port, type, type,
                                   rfc2190 ? "H263" : "H263-1998");
    if (!rfc2190) text += fmt::format("a=fmtp:{} profile=0;level=10\r\n", type);
    return text + fmt::format("a=framesize:{} {}-{}\r\n", type, codec.width, codec.height);
}

void send_packets(std::unique_ptr<ChunkSource> source, const Options& options) {
    constexpr unsigned int kH263PlusType = 96;
    std::vector<std::unique_ptr<Feed>> feeds;
    feeds.push_back(
        std::make_unique<RecordFeed>([&] { return std::move(source); }, media_section,
                                     options.form == "2429" ? kH263PlusType : unsigned{WLD_TYPE_H263}));
    Player(options.send, options.file, "pictures", std::move(feeds)).play(1);
}

void run(const Options& options, bool sends) {
    auto source = std::make_unique<FragmentSource>(
        load_h263(options.file), kForms.at(options.form), options.max_payload,
        options.file == "-" ? "" : "qlip h263 " + options.file + ", to see what it holds");
    if (sends) return send_packets(std::move(source), options);
    if (!options.out.empty()) return write_stream(*source, options);
    list_packets(*source, options.json);
}

}  // namespace

void add_fragments(CLI::App& app) {
    const auto options = std::make_shared<Options>();
    CLI::App* command = app.add_subcommand("fragments", "Cut H.263 pictures into RTP packets");
    command->footer(kAbout);
    command->add_option("FILE", options->file, "An elementary stream or 3GP file; - is standard input")
        ->required();
    command->add_option("--rfc", options->form, "The form of the packets")
        ->check(one_of({"2190", "2190mb", "2429"}))
        ->type_name("2190|2190mb|2429")
        ->required();
    command->add_option("--max-payload", options->max_payload, "Longest payload of a packet")
        ->check(CLI::Range(100, 60000))
        ->type_name("BYTES")
        ->capture_default_str();
    auto* out =
        command
            ->add_option("-o,--output", options->out, "Write them as a native stream; - is standard output")
            ->type_name("OUT");
    auto* json = command->add_flag("--json", options->json, "The list as one JSON document")->excludes(out);
    options->send.add_to(*command);
    for (const char* sending : {"--to", "--sdp", "--pcap"})
        command->get_option(sending)->excludes(out)->excludes(json);
    command->callback([options, command] {
        run(*options, command->count("--to") + command->count("--sdp") + command->count("--pcap") > 0);
    });
}

}  // namespace qlip_tool
