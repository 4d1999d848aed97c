#include "rtp/player.h"

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <thread>

#include "host/checks.h"
#include "host/progress.h"
#include "host/text.h"
#include "host/tool_error.h"

namespace qlip_tool {
namespace {

constexpr double kNanoseconds = 1e9;
constexpr int64_t kMillisecond = 1000000;
constexpr double kReportEvery = 5.0;                     // seconds: RFC 3550 6.2
constexpr uint64_t kSecondsFrom1900To1970 = 2208988800;  // RFC 5905 6
constexpr double kNtpSecond = 4294967296.0;

uint64_t ntp_of(std::chrono::system_clock::duration since_1970) {
    const auto nanoseconds = std::chrono::duration_cast<std::chrono::nanoseconds>(since_1970).count();
    const uint64_t seconds = static_cast<uint64_t>(nanoseconds / 1000000000) + kSecondsFrom1900To1970;
    const auto rest = static_cast<uint64_t>(nanoseconds % 1000000000);
    return seconds << 32 | (rest << 32) / 1000000000;
}

}  // namespace

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

Player::Player(const SendOptions& options, std::string input, const char* unit,
               std::vector<std::unique_ptr<Feed>> feeds)
    : options_(options),
      input_(std::move(input)),
      unit_(unit),
      to_(parse_destination(options.to, feeds.size())) {
    if (same_output(options.sdp, options.pcap)) {
        throw ToolError(Exit::usage, "--sdp and --pcap cannot both go to " + options.sdp,
                        "a file of its own for one of them");
    }
    unsigned int channel = 0;
    for (auto& feed : feeds) {
        lanes_.push_back({std::move(feed), channel, {}});
        channel += kPortsPerTrack;
    }
}

void Player::play(unsigned int rounds) {
    try {
        for (unsigned int round = 0; rounds == 0 || round < rounds; ++round)
            play_round(round > 0);
    } catch (const ToolError& error) {
        if (error.about_input() && sink_) finish();
        throw;
    }
    finish();
}

void Player::play_round(bool again) {
    int64_t length = 0;
    for (Lane& lane : lanes_) {
        if (again) lane.feed->start_over(end_ - round_start_);
        lane.more = lane.feed->next(lane.burst);
        length = std::max(length, lane.feed->length());
    }
    Lane* lane = earliest();
    if (!lane) throw ToolError(Exit::bad_input, input_ + ": the track holds no frame to send");
    round_start_ = end_ = lane->burst.time;
    if (!sink_) start();
    Progress progress("playing", static_cast<uint64_t>(length / kMillisecond), "ms");
    for (; lane; lane = earliest()) {
        send(*lane);
        progress.advance_to(static_cast<uint64_t>((lane->burst.time - round_start_) / kMillisecond));
        lane->more = lane->feed->next(lane->burst);
    }
}

Player::Lane* Player::earliest() {
    Lane* found = nullptr;
    for (Lane& lane : lanes_) {
        if (lane.more && (!found || lane.burst.time < found->burst.time)) found = &lane;
    }
    return found;
}

// The description is there before the first packet.
void Player::start() {
    first_ = round_start_;
    if (!options_.sdp.empty()) write_description();
    if (options_.pcap.empty()) {
        sink_ = std::make_unique<UdpSink>(to_);
    } else {
        sink_ = std::make_unique<PcapSink>(options_.pcap, input_, to_);
    }
    if (sink_->is_live()) {
        std::this_thread::sleep_for(std::chrono::duration<double>(options_.delay));
        wall_start_ = ntp_of(std::chrono::system_clock::now().time_since_epoch());
    } else {
        wall_start_ = ntp_of({});
    }
    start_ = std::chrono::steady_clock::now();
}

void Player::write_description() const {
    std::vector<std::string> sections;
    sections.reserve(lanes_.size());
    for (const Lane& lane : lanes_)
        sections.push_back(lane.feed->media_section(to_.port + lane.channel));
    Output out(options_.sdp, {input_});
    const std::string name = input_.substr(input_.find_last_of('/') + 1);
    out.write(std::string_view{session_description(to_, name, sections)});
    out.finish();
}

void Player::send(Lane& lane) {
    const Burst& burst = lane.burst;
    end_ = std::max(end_, burst.time + burst.duration);
    const double seconds =
        std::max(0.0, static_cast<double>(burst.time - first_) / kNanoseconds / options_.speed);
    if (sink_->is_live() && !options_.asap) wait_until(seconds);
    if (lanes_.size() > 1 && seconds >= next_report_) report(seconds, burst.time);
    sink_->send(lane.channel, burst.packets, seconds);
    ++frames_;
    packets_ += burst.packets.size();
    for (const iovec& packet : burst.packets)
        bytes_ += packet.iov_len;
}

// What ties the clocks of several tracks together; one track alone needs none.
void Player::report(double seconds, int64_t time) {
    next_report_ = seconds + kReportEvery;
    const uint64_t ntp = wall_start_ + static_cast<uint64_t>(seconds * kNtpSecond);
    for (const Lane& lane : lanes_) {
        std::vector<unsigned char> packet = lane.feed->sender_report(ntp, time);
        if (packet.empty()) continue;
        const iovec whole = {packet.data(), packet.size()};
        sink_->send(lane.channel + 1, {&whole, 1}, seconds);
    }
}

void Player::wait_until(double seconds) const {
    const auto after = std::chrono::duration_cast<std::chrono::steady_clock::duration>(
        std::chrono::duration<double>(seconds));
    std::this_thread::sleep_until(start_ + after);
}

void Player::finish() {
    sink_->finish();
    if (is_standard_output(options_.sdp) || is_standard_output(options_.pcap)) return;
    Output out;
    out.print("{} {}: {} packets, {} bytes, {} {}\n", count_text(frames_), unit_, count_text(packets_),
              count_text(bytes_), options_.pcap.empty() ? "sent to" : "written to",
              options_.pcap.empty() ? options_.to : options_.pcap);
    out.finish();
}

}  // namespace qlip_tool
