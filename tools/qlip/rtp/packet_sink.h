// Where packets end: the network or a capture file.
#pragma once

#include <sys/socket.h>

#include <memory>
#include <span>
#include <string>
#include <vector>

#include "host/output.h"
#include "rtp/rtp_format.h"

namespace qlip_tool {

class PacketSink {
  public:
    PacketSink() = default;
    virtual ~PacketSink() = default;
    PacketSink(const PacketSink&) = delete;
    PacketSink& operator=(const PacketSink&) = delete;

    virtual bool is_live() const = 0;  // wants its packets at their time
    virtual void send(std::span<const unsigned char> packet, double seconds) = 0;
    virtual void finish() {}
};

// UDP. Nobody needs to listen.
class UdpSink : public PacketSink {
  public:
    explicit UdpSink(const Destination& to);
    ~UdpSink() override;

    bool is_live() const override { return true; }
    void send(std::span<const unsigned char> packet, double seconds) override;

  private:
    std::string name_;
    int socket_;
    sockaddr_storage address_ = {};
    socklen_t address_size_ = 0;
};

// A capture file (the classic pcap format) that shows the packets as UDP over IPv4 over Ethernet; its times
// start at 0, so that the same input gives the same file.
class PcapSink : public PacketSink {
  public:
    PcapSink(const std::string& path, const std::string& input, const Destination& to);

    bool is_live() const override { return false; }
    void send(std::span<const unsigned char> packet, double seconds) override;
    void finish() override { out_.finish(); }

  private:
    Output out_;
    uint32_t address_;  // network order
    uint16_t port_;
    uint16_t number_ = 0;
};

}  // namespace qlip_tool
