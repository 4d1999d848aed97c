// Sends RTP packets at the time that their timestamps say.
#pragma once

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include <CLI/App.hpp>

#include "rtp/packet_sink.h"
#include "rtp/rtp_shaper.h"

namespace qlip_tool {

// The options of a command that sends.
struct SendOptions {
    std::string to = "127.0.0.1:5004";
    std::string sdp;
    std::string pcap;
    double speed = 1.0;
    double delay = 0.0;
    bool asap = false;

    void add_to(CLI::App& command);
};

class RtpSender {
  public:
    // Writes the session description, if one is wanted, before it returns. `input` is a file that no output
    // may overwrite.
    RtpSender(const SendOptions& options, const RtpFormat& format, const std::string& input);

    // Packets of one frame.
    void send(const std::vector<RtpPacket>& packets);

    // Ends the sending and tells what was sent.
    void finish(const std::string& what);

  private:
    double due(uint32_t timestamp);
    void wait_until(double seconds);

    SendOptions options_;
    Destination to_;
    unsigned int clock_;
    std::unique_ptr<PacketSink> sink_;
    std::vector<unsigned char> bytes_;
    bool started_ = false;
    uint32_t last_timestamp_ = 0;
    int64_t ticks_ = 0;  // since the first packet
    std::chrono::steady_clock::time_point start_;
    uint64_t packets_sent_ = 0;
    uint64_t bytes_sent_ = 0;
};

}  // namespace qlip_tool
