#include "rtp/packet_sink.h"

#include <arpa/inet.h>
#include <netdb.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstring>

#include "host/tool_error.h"

namespace qlip_tool {
namespace {

constexpr uint16_t kSourcePort = 5004;

// https://www.ietf.org/archive/id/draft-gharris-opsawg-pcap: in the writer's byte order, told by the magic.
struct PcapFileHeader {
    uint32_t magic = 0xa1b2c3d4;
    uint16_t major = 2, minor = 4;
    uint32_t zone = 0, accuracy = 0;
    uint32_t longest = 65535;
    uint32_t link_type = 1;  // Ethernet
};

struct PcapPacketHeader {
    uint32_t seconds, microseconds;
    uint32_t captured, original;
};

struct Ethernet {
    unsigned char to[6] = {}, from[6] = {};
    uint16_t type = htons(0x0800);
};

// RFC 791 3.1.
struct Ipv4 {
    unsigned char version_and_words = 0x45, service = 0;
    uint16_t length = 0, id = 0, fragment = 0;
    unsigned char hops = 64, protocol = 17;
    uint16_t checksum = 0;
    uint32_t from = 0, to = 0;
};

struct Udp {
    uint16_t from, to, length, checksum;  // checksum 0: none (RFC 768)
};

constexpr size_t kFrameHead = sizeof(Ethernet) + sizeof(Ipv4) + sizeof(Udp);
static_assert(kFrameHead == 14 + 20 + 8);

// RFC 1071 over the header in whatever byte order it stands.
uint16_t internet_checksum(const Ipv4& header) {
    uint16_t words[sizeof header / 2];
    std::memcpy(words, &header, sizeof header);
    uint32_t sum = 0;
    for (const uint16_t word : words)
        sum += word;
    sum = sum % 0xFFFF;
    return static_cast<uint16_t>(~sum);
}

template <typename Record>
void put(Output& out, const Record& record) {
    out.write({reinterpret_cast<const unsigned char*>(&record), sizeof record});
}

}  // namespace

UdpSink::UdpSink(const Destination& to) : name_(to.host + ":" + std::to_string(to.port)), port_(to.port) {
    addrinfo wanted = {};
    wanted.ai_socktype = SOCK_DGRAM;
    addrinfo* found = nullptr;
    const int error = getaddrinfo(to.host.c_str(), std::to_string(to.port).c_str(), &wanted, &found);
    if (error != 0) {
        throw ToolError(Exit::io, "cannot find " + to.host + ": " + gai_strerror(error),
                        "--to with a number, such as 127.0.0.1:5004");
    }
    std::memcpy(&address_, found->ai_addr, found->ai_addrlen);
    address_size_ = found->ai_addrlen;
    socket_ = socket(found->ai_family, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    freeaddrinfo(found);
    if (socket_ < 0) throw io_error("cannot open a socket");
}

UdpSink::~UdpSink() {
    close(socket_);
}

void UdpSink::send(unsigned int channel, std::span<const iovec> packets, double) {
    const in_port_t port = htons(static_cast<uint16_t>(port_ + channel));
    if (address_.ss_family == AF_INET6) {
        reinterpret_cast<sockaddr_in6*>(&address_)->sin6_port = port;
    } else {
        reinterpret_cast<sockaddr_in*>(&address_)->sin_port = port;
    }
    messages_.assign(packets.size(), {});
    for (size_t i = 0; i < packets.size(); ++i) {
        msghdr& message = messages_[i].msg_hdr;
        message.msg_name = &address_;
        message.msg_namelen = address_size_;
        message.msg_iov = const_cast<iovec*>(&packets[i]);
        message.msg_iovlen = 1;
    }
    for (size_t done = 0; done < messages_.size();) {
        const int sent =
            sendmmsg(socket_, &messages_[done], static_cast<unsigned int>(messages_.size() - done), 0);
        if (sent < 0 && errno != EINTR) throw io_error("cannot send to " + name_);
        done += static_cast<size_t>(std::max(sent, 0));
    }
}

PcapSink::PcapSink(const std::string& path, const std::string& input, const Destination& to)
    : out_(path, {input}), port_(to.port) {
    if (inet_pton(AF_INET, to.host.c_str(), &address_) != 1) {
        throw ToolError(Exit::usage,
                        "--pcap shows the packets as IPv4, and " + to.host + " is no IPv4 address",
                        "--to 127.0.0.1:5004");
    }
    put(out_, PcapFileHeader{});
}

void PcapSink::send(unsigned int channel, std::span<const iovec> packets, double seconds) {
    for (const iovec& packet : packets) {
        write(static_cast<uint16_t>(port_ + channel),
              {static_cast<const unsigned char*>(packet.iov_base), packet.iov_len}, seconds);
    }
}

void PcapSink::write(uint16_t port, std::span<const unsigned char> packet, double seconds) {
    const auto udp_size = static_cast<uint16_t>(sizeof(Udp) + packet.size());
    const Udp udp = {htons(kSourcePort), htons(port), htons(udp_size), 0};
    Ipv4 ip;
    ip.length = htons(static_cast<uint16_t>(sizeof(Ipv4) + udp_size));
    ip.id = htons(number_++);
    ip.from = htonl(INADDR_LOOPBACK);
    ip.to = address_;
    ip.checksum = internet_checksum(ip);
    const auto size = static_cast<uint32_t>(kFrameHead + packet.size());
    const double whole = std::floor(seconds);
    put(out_, PcapPacketHeader{static_cast<uint32_t>(whole), static_cast<uint32_t>((seconds - whole) * 1e6),
                               size, size});
    put(out_, Ethernet{});
    put(out_, ip);
    put(out_, udp);
    out_.write(packet);
}

}  // namespace qlip_tool
