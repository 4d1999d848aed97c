// Streams a film of 1,000 samples once, for a tool that counts instructions:
//   stream_once library|floor CONTENT
#include <cstdio>
#include <string_view>

#include "bench/streaming.h"

using namespace qlip_bench;

int main(int count, char** arguments) {
    if (count != 3) return 2;
    for (const Content content : kStreamed) {
        if (arguments[2] != std::string_view(name_of(content))) continue;
        const Film film{content, 1000, 1000};
        const Recording recording(film);
        Session session(film);
        std::vector<unsigned char> chunk(QLIP_LARGEST_CHUNK);
        const bool floor = arguments[1] == std::string_view("floor");
        const int64_t chunks =
            floor ? stream_floor(recording, session.host) : stream_library(session, chunk.data());
        std::printf("%lld\n", static_cast<long long>(chunks));
        return 0;
    }
    return 2;
}
