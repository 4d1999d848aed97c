// Streams a film of 1,000 frames through the second reader once, for a tool that counts instructions:
//   second_reader_once library|floor CONTENT
#include <cstdio>
#include <string_view>

#include "bench/second_reading.h"

using namespace qlip_bench;

int main(int count, char** arguments) {
    if (count != 3) return 2;
    for (const Content content : {Content::AmrHinted, Content::H263Hinted}) {
        if (arguments[2] != std::string_view(name_of(content))) continue;
        const Bytes& movie = hinted_movie(content, 1000);
        HintedSession session(movie, content, false);
        const bool floor = arguments[1] == std::string_view("floor");
        const Taken taken =
            floor ? read_floor(HintedRecording(movie, content, false), session.host) : read_library(session);
        std::printf("%lld\n", static_cast<long long>(taken.frames));
        return 0;
    }
    return 2;
}
