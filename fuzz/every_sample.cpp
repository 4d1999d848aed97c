// Streams every sample through both readers, the kit, the box model and the writer, in several threads at
// once: what the thread and the memory sanitizer watch. No test framework, since the memory sanitizer takes
// what an uninstrumented library writes for unset.
//
// every_sample THREADS FILE...
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <thread>
#include <vector>

#include "fuzz/require.h"
#include "qlip/SimpleException.h"
#include "qlip/c3gpinterface.h"
#include "qlip/host.h"
#include "qlip/isoff.h"
#include "qlip/vorn3gp.h"
#include "tests/support/memory_host.h"

using qlip_fuzz::require;
using qlip_test::Bytes;
using qlip_test::MemoryHost;

namespace {

// The memory sanitizer takes what the standard library's own code wrote, such as the links of a map, for
// unset. The C path does without that code.
#if defined(__has_feature) && __has_feature(memory_sanitizer)
constexpr bool kStandardLibraryIsWatched = false;
#else
constexpr bool kStandardLibraryIsWatched = true;
#endif

Bytes read_file(const char* path) {
    FILE* file = std::fopen(path, "rb");
    require(file != nullptr);
    Bytes out;
    for (int byte; (byte = std::fgetc(file)) != EOF;)
        out.push_back(static_cast<unsigned char>(byte));
    std::fclose(file);
    return out;
}

void rewind(MemoryHost& host) {
    host.keep_log = false;
    host.position = 0;
}

// Uses each byte of what was delivered, so that an unset one is noticed.
unsigned long sum_of(const unsigned char* bytes, size_t size) {
    unsigned long sum = 0;
    for (size_t i = 0; i < size; ++i)
        sum += bytes[i] != 0 ? i : 1;
    return sum;
}

unsigned long stream(MemoryHost& host, const char* mode, bool indexed) {
    constexpr size_t kRecord = 20;
    rewind(host);
    mm_Interface* handle = nullptr;
    if (qlip_Open(&handle, host.record(), mode) != QLIP_SUCCESS) return 0;
    std::vector<unsigned char> chunk(QLIP_LARGEST_CHUNK);
    unsigned long sum = 0;
    for (unsigned int size = 0; qlip_ReadChunk(handle, chunk.data(), &size, indexed) == QLIP_SUCCESS;)
        sum += sum_of(chunk.data(), kRecord);
    require(qlip_Close(&handle) == QLIP_SUCCESS);
    return sum;
}

unsigned long stream_boxes(MemoryHost& host, const char* mode, bool indexed) {
    rewind(host);
    C3gpInterface reader(1 << 16);
    if (reader.Open(host.record(), mode) != 0) return 0;
    unsigned char buffer[4096];
    unsigned long sum = 0;
    for (unsigned int status = 0; status == 0;) {
        unsigned int size = sizeof buffer;
        status = reader.ReadChunk(buffer, &size, indexed);
        sum += sum_of(buffer, size);
    }
    require(reader.Close() == 0);
    return sum;
}

struct HeldPacket {
    qlip_packets* packets = nullptr;
    iovec bytes = {};
};

// The first packet of each frame, in a thread that lets go of it while the stream goes on.
unsigned long send(std::vector<HeldPacket>& queue, const std::atomic<size_t>& filled,
                   const std::atomic<bool>& ended) {
    unsigned long sum = 0;
    for (size_t i = 0; !ended || i < filled;) {
        if (i == filled) {
            std::this_thread::yield();
            continue;
        }
        HeldPacket& held = queue[i++];
        sum += sum_of(static_cast<const unsigned char*>(held.bytes.iov_base), held.bytes.iov_len);
        require(qlip_packets_release(&held.packets) == QLIP_SUCCESS);
    }
    return sum;
}

unsigned long stream_packets(const Bytes& file, qlip_medium medium) {
    qlip_source* source = nullptr;
    qlip_stream* stream = nullptr;
    require(qlip_source_memory(&source, file.data(), file.size()) == QLIP_SUCCESS);
    const int opened = qlip_stream_open(&stream, source, medium, nullptr);
    require(qlip_source_close(&source) == QLIP_SUCCESS);
    if (opened != QLIP_SUCCESS) return 0;
    std::vector<HeldPacket> queue(file.size());
    std::atomic<size_t> filled{0};
    std::atomic<bool> ended{false};
    unsigned long sum = 0;
    std::thread sender([&] { sum = send(queue, filled, ended); });
    for (const qlip_frame* frame = nullptr; qlip_stream_read(stream, &frame) == QLIP_SUCCESS; ++filled) {
        HeldPacket& held = queue[filled];
        held.bytes = frame->packets[0];
        require(qlip_stream_keep_packets(stream, &held.packets) == QLIP_SUCCESS);
    }
    qlip_stream_close(&stream);
    ended = true;
    sender.join();
    return sum;
}

void read_tree(MemoryHost& host) {
    rewind(host);
    Vorn3gp::Simple3gp tree;
    auto* io = host.record();
    tree.Read(io, static_cast<unsigned int>(host.bytes.size()));
    require(tree.GetMoov() != nullptr);
    MemoryHost out;
    out.keep_log = false;
    Vorn3gp::Stream stream = out.record();
    stream << tree;
    require(sum_of(out.bytes.data(), out.bytes.size()) != 0);
}

unsigned long handle(const Bytes& file) {
    MemoryHost host(file);
    unsigned long sum = 0;
    for (const char* mode : {"ra", "rv"}) {
        for (const bool indexed : {false, true}) {
            sum += stream(host, mode, indexed);
            if (kStandardLibraryIsWatched) sum += stream_boxes(host, mode, indexed);
        }
    }
    if (kStandardLibraryIsWatched) {
        for (const qlip_medium medium : {QLIP_AUDIO, QLIP_VIDEO})
            sum += stream_packets(file, medium);
        read_tree(host);
    }
    return sum;
}

}  // namespace

int main(int argc, char** argv) {
    sx_Debug = 0;
    require(argc > 2);
    std::vector<Bytes> files;
    for (int i = 2; i < argc; ++i)
        files.push_back(read_file(argv[i]));
    std::vector<unsigned long> sums(static_cast<size_t>(std::atoi(argv[1])));
    std::vector<std::thread> threads;
    for (unsigned long& sum : sums) {
        threads.emplace_back([&files, &sum] {
            for (const Bytes& file : files)
                sum += handle(file);
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    for (const unsigned long sum : sums)
        require(sum == sums[0] && sum != 0);
    return 0;
}
