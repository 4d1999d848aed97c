// One pass of the second reader, for tools that count:
//   second_reader_once library|floor CONTENT    streams a film of 1,000 frames, and prints how many it took
//   second_reader_once memory CONTENT           opens a film of 1,000,000 frames, and prints the most memory
//                                               that was resident meanwhile, and what stays, by bytes of moov
#include <malloc.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <fstream>
#include <string>
#include <string_view>

#include "bench/second_reading.h"
#include "common/byte_order.h"

using namespace qlip_bench;

namespace {

constexpr size_t kMillion = 1000000;
constexpr size_t kLargestFilm = 256 * 1024 * 1024;

// A film that another process made, so that this one's heap is as new.
struct SharedFilm {
    explicit SharedFilm(Content content)
        : size(static_cast<unsigned int*>(mapped(sizeof *size))),
          bytes(static_cast<unsigned char*>(mapped(kLargestFilm))) {
        if (fork() == 0) {
            const Bytes film = make_movie(content, kMillion);
            if (film.size() > kLargestFilm) _exit(1);
            *size = static_cast<unsigned int>(film.size());
            std::memcpy(bytes, film.data(), film.size());
            _exit(0);
        }
        wait(nullptr);
        for (size_t at = 0; at < *size; at += 4096)  // its pages are resident before anything is measured
            static_cast<void>(static_cast<volatile unsigned char*>(bytes)[at]);
    }

    static void* mapped(size_t length) {
        return mmap(nullptr, length, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    }

    unsigned int* size;
    unsigned char* bytes;
};

// A field of /proc/self/status in bytes.
double status_field(const std::string& name) {
    std::ifstream status("/proc/self/status");
    std::string word;
    while (status >> word && word != name) {
    }
    double kilobytes = 0;
    status >> kilobytes;
    return kilobytes * 1024;
}

// Each table has a mapping of its own, so that what is given back is not resident. Twice, for the first time
// counts the pages of the program's code, too.
int measure_memory(Content content) {
    mallopt(M_MMAP_THRESHOLD, 128 * 1024);
    const SharedFilm film(content);
    const Bytes none;
    BenchHost host(none);
    host.data = film.bytes;
    host.size = *film.size;
    const double moov = qlip::load_be32(film.bytes + qlip::load_be32(film.bytes));  // behind ftyp
    double peak = 0;
    double kept = 0;
    for (int i = 0; i < 2; ++i) {
        C3gpInterface reader(kFrameRoom);
        std::ofstream("/proc/self/clear_refs") << "5";  // the peak counts from here
        const double resident = status_field("VmRSS:");
        if (*film.size == 0 || reader.Open(host.record(), mode_of(content)) != QLIP_SUCCESS) return 1;
        peak = (status_field("VmHWM:") - resident) / moov;
        kept = (status_field("VmRSS:") - resident) / moov;
    }
    std::printf("%.2f %.2f\n", peak, kept);
    return 0;
}

int stream(Content content, bool floor) {
    const Bytes& movie = hinted_movie(content, 1000);
    HintedSession session(movie, content, false);
    const Taken taken =
        floor ? read_floor(HintedRecording(movie, content, false), session.host) : read_library(session);
    std::printf("%lld\n", static_cast<long long>(taken.frames));
    return 0;
}

}  // namespace

int main(int count, char** arguments) {
    if (count != 3) return 2;
    const std::string_view what = arguments[1];
    for (const Content content : {Content::AmrHinted, Content::H263Hinted}) {
        if (arguments[2] != std::string_view(name_of(content))) continue;
        return what == "memory" ? measure_memory(content) : stream(content, what == "floor");
    }
    return 2;
}
