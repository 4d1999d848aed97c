// The host kit beside the bare core: time for each packet, memory for each stream, and what it is worth to
// send a frame with one system call.
#include <arpa/inet.h>
#include <benchmark/benchmark.h>
#include <malloc.h>
#include <netinet/in.h>
#include <netinet/udp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "bench/bench_host.h"
#include "bench/bench_movies.h"
#include "qlip/host.h"

namespace qlip_bench {
namespace {

constexpr size_t kSamples = 1000;
constexpr size_t kStreams = 1000;
constexpr int kFramesEach = 10;

class KitStream {
  public:
    KitStream(qlip_source* source, Content content) {
        qlip_stream_open(&stream_, source, is_audio(content) ? QLIP_AUDIO : QLIP_VIDEO, nullptr);
    }
    ~KitStream() { qlip_stream_close(&stream_); }
    KitStream(const KitStream&) = delete;
    KitStream& operator=(const KitStream&) = delete;

    const qlip_frame* read() {
        const qlip_frame* frame = nullptr;
        return qlip_stream_read(stream_, &frame) == QLIP_SUCCESS ? frame : nullptr;
    }
    void rewind() { qlip_stream_seek(stream_, 0, nullptr); }

  private:
    qlip_stream* stream_ = nullptr;
};

class KitSource {
  public:
    explicit KitSource(const Bytes& file) { qlip_source_memory(&source, file.data(), file.size()); }
    ~KitSource() { qlip_source_close(&source); }
    KitSource(const KitSource&) = delete;
    KitSource& operator=(const KitSource&) = delete;

    qlip_source* source = nullptr;
};

int64_t count_packets(const Bytes& film, Content content) {
    const KitSource file(film);
    KitStream stream(file.source, content);
    int64_t packets = 0;
    while (const qlip_frame* frame = stream.read())
        packets += frame->packet_count;
    return packets;
}

class CoreSession {
  public:
    CoreSession(const Bytes& film, Content content) : host_(film) {
        qlip_Open(&handle_, host_.record(), is_audio(content) ? "ra" : "rv");
    }
    ~CoreSession() { qlip_Close(&handle_); }
    CoreSession(const CoreSession&) = delete;
    CoreSession& operator=(const CoreSession&) = delete;

    bool read(unsigned char* chunk) {
        unsigned int size = 0;
        return qlip_ReadChunk(handle_, chunk, &size, true) == QLIP_SUCCESS;
    }

  private:
    BenchHost host_;
    mm_Interface* handle_ = nullptr;
};

void BM_core(benchmark::State& state, Content content) {
    const Bytes film = make_movie(content, kSamples);
    std::vector<unsigned char> chunk(QLIP_LARGEST_CHUNK);
    for (auto _ : state) {
        state.PauseTiming();
        auto session = std::make_unique<CoreSession>(film, content);
        state.ResumeTiming();
        while (session->read(chunk.data())) {
        }
        state.PauseTiming();
        session.reset();
        state.ResumeTiming();
    }
    state.SetItemsProcessed(state.iterations() * count_packets(film, content));
}

void BM_kit(benchmark::State& state, Content content) {
    const Bytes film = make_movie(content, kSamples);
    const KitSource file(film);
    for (auto _ : state) {
        state.PauseTiming();
        auto stream = std::make_unique<KitStream>(file.source, content);
        state.ResumeTiming();
        while (const qlip_frame* frame = stream->read())
            benchmark::DoNotOptimize(frame->packets);
        state.PauseTiming();
        stream.reset();
        state.ResumeTiming();
    }
    state.SetItemsProcessed(state.iterations() * count_packets(film, content));
}

double resident_bytes() {
    long pages = 0, resident = 0;
    FILE* file = std::fopen("/proc/self/statm", "r");
    if (file && std::fscanf(file, "%ld %ld", &pages, &resident) != 2) resident = 0;
    if (file) std::fclose(file);
    return static_cast<double>(resident) * static_cast<double>(sysconf(_SC_PAGESIZE));
}

// Opens many, reads a little of each, and tells what one of them keeps resident.
template <class Stream, class Open, class Read>
void measure_memory(benchmark::State& state, Open open, Read read) {
    double each = 0;
    for (auto _ : state) {
        std::vector<std::unique_ptr<Stream>> streams;
        streams.reserve(kStreams);
        malloc_trim(0);  // what streams before these have given back would be taken up unseen
        const double before = resident_bytes();
        for (size_t i = 0; i < kStreams; ++i) {
            streams.push_back(open());
            read(*streams.back());
        }
        each = (resident_bytes() - before) / kStreams;
    }
    state.counters["kb_per_stream"] = each / 1024;
}

void BM_core_memory(benchmark::State& state, Content content) {
    const Bytes film = make_movie(content, kSamples);
    std::vector<unsigned char> chunk(QLIP_LARGEST_CHUNK);
    measure_memory<CoreSession>(
        state, [&] { return std::make_unique<CoreSession>(film, content); },
        [&](CoreSession& session) {
            for (int i = 0; i < 4 + 2 * kFramesEach; ++i)
                session.read(chunk.data());
        });
}

void BM_kit_memory(benchmark::State& state, Content content) {
    const Bytes film = make_movie(content, kSamples);
    const KitSource file(film);
    measure_memory<KitStream>(
        state, [&] { return std::make_unique<KitStream>(file.source, content); },
        [&](KitStream& stream) {
            for (int i = 0; i < kFramesEach; ++i)
                stream.read();
        });
}

// Sends to a socket that takes what fits and drops the rest.
class Loopback {
  public:
    Loopback() : in_(socket(AF_INET, SOCK_DGRAM, 0)), out_(socket(AF_INET, SOCK_DGRAM, 0)) {
        sockaddr_in to{};
        to.sin_family = AF_INET;
        to.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof to;
        bind(in_, reinterpret_cast<sockaddr*>(&to), size);
        getsockname(in_, reinterpret_cast<sockaddr*>(&to), &size);
        connect(out_, reinterpret_cast<sockaddr*>(&to), size);
    }
    ~Loopback() {
        close(in_);
        close(out_);
    }
    Loopback(const Loopback&) = delete;
    Loopback& operator=(const Loopback&) = delete;

    void send_each(const qlip_frame& frame) const {
        for (unsigned int i = 0; i < frame.packet_count; ++i)
            send(out_, frame.packets[i].iov_base, frame.packets[i].iov_len, 0);
    }

    void send_at_once(const qlip_frame& frame) const {
        mmsghdr messages[64] = {};
        for (unsigned int i = 0; i < frame.packet_count; ++i)
            messages[i].msg_hdr = message_of(frame, i, 1);
        sendmmsg(out_, messages, frame.packet_count, 0);
    }

    // The film's pictures are of packets of one size, and a last one.
    void send_segmented(const qlip_frame& frame) const {
        alignas(cmsghdr) char control[CMSG_SPACE(sizeof(uint16_t))] = {};
        msghdr message = message_of(frame, 0, frame.packet_count);
        message.msg_control = control;
        message.msg_controllen = sizeof control;
        cmsghdr* head = CMSG_FIRSTHDR(&message);
        head->cmsg_level = IPPROTO_UDP;
        head->cmsg_type = UDP_SEGMENT;
        head->cmsg_len = CMSG_LEN(sizeof(uint16_t));
        const auto segment = static_cast<uint16_t>(frame.packets[0].iov_len);
        std::memcpy(CMSG_DATA(head), &segment, sizeof segment);
        if (sendmsg(out_, &message, 0) < 0) send_at_once(frame);
    }

  private:
    static msghdr message_of(const qlip_frame& frame, unsigned int first, size_t count) {
        msghdr message{};
        message.msg_iov = const_cast<iovec*>(frame.packets + first);
        message.msg_iovlen = count;
        return message;
    }

    int in_, out_;
};

void BM_send(benchmark::State& state, void (Loopback::*send)(const qlip_frame&) const) {
    constexpr size_t kPicture = 12 * 1398 - 300;  // twelve packets, the last one shorter
    const Bytes film = make_movie(Content::H263, 100, kPicture);
    const KitSource file(film);
    const Loopback network;
    KitStream stream(file.source, Content::H263);
    int64_t packets = 0;
    for (auto _ : state) {
        stream.rewind();
        while (const qlip_frame* frame = stream.read()) {
            (network.*send)(*frame);
            packets += frame->packet_count;
        }
    }
    state.SetItemsProcessed(packets);
}

void register_all() {
    for (const Content content : kStreamed) {
        const std::string name = name_of(content);
        benchmark::RegisterBenchmark(("core/" + name).c_str(), BM_core, content);
        benchmark::RegisterBenchmark(("kit/" + name).c_str(), BM_kit, content);
    }
    for (const Content content : {Content::AmrOneFrame, Content::H263, Content::H264Hinted}) {
        const std::string name = name_of(content);
        benchmark::RegisterBenchmark(("core_memory/" + name).c_str(), BM_core_memory, content)->Iterations(1);
        benchmark::RegisterBenchmark(("kit_memory/" + name).c_str(), BM_kit_memory, content)->Iterations(1);
    }
    benchmark::RegisterBenchmark("send/each", BM_send, &Loopback::send_each);
    benchmark::RegisterBenchmark("send/sendmmsg", BM_send, &Loopback::send_at_once);
    benchmark::RegisterBenchmark("send/segmented", BM_send, &Loopback::send_segmented);
}

const bool kRegistered = (register_all(), true);

}  // namespace
}  // namespace qlip_bench
