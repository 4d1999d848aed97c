// Where packets end: the network or a capture file.
#pragma once

#include <sys/socket.h>
#include <sys/uio.h>

#include <memory>
#include <span>
#include <string>
#include <vector>

#include "host/output.h"
#include "rtp/destination.h"

namespace qlip_tool {

class PacketSink {
  public:
    PacketSink() = default;
    virtual ~PacketSink() = default;
    PacketSink(const PacketSink&) = delete;
    PacketSink& operator=(const PacketSink&) = delete;

    virtual bool is_live() const = 0;  // wants its packets at their time
    // `channel` counts from the port of the destination.
    virtual void send(unsigned int channel, std::span<const iovec> packets, double seconds) = 0;
    virtual void finish() {}
};

// UDP, a system call for each frame. Nobody needs to listen.
class UdpSink : public PacketSink {
  public:
    explicit UdpSink(const Destination& to);
    ~UdpSink() override;

    bool is_live() const override { return true; }
    void send(unsigned int channel, std::span<const iovec> packets, double seconds) override;

  private:
    std::string name_;
    unsigned int port_;
    int socket_;
    sockaddr_storage address_ = {};
    socklen_t address_size_ = 0;
    std::vector<mmsghdr> messages_;
};

// A capture file (the classic pcap format) that shows the packets as UDP over IPv4 over Ethernet; its times
// start at 0, so that the same input gives the same file.
class PcapSink : public PacketSink {
  public:
    PcapSink(const std::string& path, const std::string& input, const Destination& to);

    bool is_live() const override { return false; }
    void send(unsigned int channel, std::span<const iovec> packets, double seconds) override;
    void finish() override { out_.finish(); }

  private:
    void write(uint16_t port, std::span<const unsigned char> packet, double seconds);

    Output out_;
    uint32_t address_;  // network order
    unsigned int port_;
    uint16_t number_ = 0;
};

}  // namespace qlip_tool
