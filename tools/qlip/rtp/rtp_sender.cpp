#include "rtp/rtp_sender.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <thread>

#include "host/checks.h"
#include "host/text.h"
#include "host/tool_error.h"

namespace qlip_tool {

void SendOptions::add_to(CLI::App& command) {
    command.add_option("--to", to, "Where the packets go")->type_name("HOST:PORT")->capture_default_str();
    command.add_option("--sdp", sdp, "Write the session description for a player; - is standard output")
        ->type_name("OUT");
    command.add_option("--pcap", pcap, "Write the packets to a capture file instead, without a network")
        ->type_name("OUT");
    auto* fast = command.add_flag("--asap", asap, "Send without waiting; a receiver may lose packets");
    command.add_option("--speed", speed, "Play so many times as fast")
        ->check(above_zero())
        ->type_name("X")
        ->excludes(fast)
        ->capture_default_str();
    command.add_option("--delay", delay, "Wait before the first packet, for a player to start")
        ->check(not_negative())
        ->type_name("SECONDS");
}

RtpSender::RtpSender(const SendOptions& options, const RtpFormat& format, const std::string& input)
    : options_(options), to_(parse_destination(options.to)), clock_(format.clock) {
    if (same_output(options.sdp, options.pcap)) {
        throw ToolError(Exit::usage, "--sdp and --pcap cannot both go to " + options.sdp,
                        "a file of its own for one of them");
    }
    if (!options.sdp.empty()) {
        const std::string name = input.substr(input.find_last_of('/') + 1);
        Output out(options.sdp, {input});
        out.write(std::string_view{session_description(format, to_, name)});
        out.finish();
    }
    if (options.pcap.empty()) {
        sink_ = std::make_unique<UdpSink>(to_);
    } else {
        sink_ = std::make_unique<PcapSink>(options.pcap, input, to_);
    }
    if (sink_->is_live()) std::this_thread::sleep_for(std::chrono::duration<double>(options.delay));
}

void RtpSender::send(const std::vector<RtpPacket>& packets) {
    for (const RtpPacket& packet : packets) {
        const double seconds = due(packet.timestamp);
        if (sink_->is_live() && !options_.asap) wait_until(seconds);
        write_rtp(packet, bytes_);
        sink_->send(bytes_, seconds);
        ++packets_sent_;
        bytes_sent_ += bytes_.size();
    }
}

// The signed difference follows a wrap of the timestamps.
double RtpSender::due(uint32_t timestamp) {
    if (!started_) {
        started_ = true;
        start_ = std::chrono::steady_clock::now();
        last_timestamp_ = timestamp;
    }
    ticks_ += static_cast<int32_t>(timestamp - last_timestamp_);
    last_timestamp_ = timestamp;
    return std::max(0.0, static_cast<double>(ticks_) / clock_ / options_.speed);
}

void RtpSender::wait_until(double seconds) {
    const auto after = std::chrono::duration_cast<std::chrono::steady_clock::duration>(
        std::chrono::duration<double>(seconds));
    std::this_thread::sleep_until(start_ + after);
}

void RtpSender::finish(const std::string& what) {
    sink_->finish();
    if (is_standard_output(options_.sdp) || is_standard_output(options_.pcap)) return;
    Output out;
    out.print("{}: {} packets, {} bytes, {} {}\n", what, count_text(packets_sent_), count_text(bytes_sent_),
              options_.pcap.empty() ? "sent to" : "written to",
              options_.pcap.empty() ? options_.to : options_.pcap);
    out.finish();
}

}  // namespace qlip_tool
