// Plays tracks to a receiver, each frame at its time.
#pragma once

#include <CLI/App.hpp>
#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "rtp/feed.h"
#include "rtp/packet_sink.h"

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

class Player {
  public:
    // `input` is a file that no output may overwrite, `unit` what the feeds' frames are called.
    Player(const SendOptions& options, std::string input, const char* unit,
           std::vector<std::unique_ptr<Feed>> feeds);

    // Plays so many rounds, 0 for ever, and tells what was sent. Throws ToolError; what was sent before it is
    // told all the same.
    void play(unsigned int rounds);

  private:
    struct Lane {
        std::unique_ptr<Feed> feed;
        unsigned int channel;
        Burst burst;  // to be sent next
        bool more = false;
    };

    void play_round(bool again);
    Lane* earliest();
    void start();
    void send(Lane& lane);
    void report(double seconds, int64_t time);
    void wait_until(double seconds) const;
    void write_description() const;
    void finish();

    SendOptions options_;
    std::string input_;
    const char* unit_;
    Destination to_;
    std::vector<Lane> lanes_;
    std::unique_ptr<PacketSink> sink_;
    std::chrono::steady_clock::time_point start_;
    uint64_t wall_start_ = 0;  // as an NTP timestamp
    int64_t first_ = 0;        // time of the first frame, in nanoseconds
    int64_t round_start_ = 0;
    int64_t end_ = 0;  // of what was sent
    double next_report_ = 0.0;
    uint64_t frames_ = 0, packets_ = 0, bytes_ = 0;
};

}  // namespace qlip_tool
