// Movies of any length for the benchmarks.
#pragma once

#include "tests/support/movie_builder.h"

namespace qlip_bench {

using qlip_test::Bytes;

enum class Content {
    AmrOneFrame,
    AmrTenFrames,
    H263,
    Mpeg4,
    H264,
    H263Hinted,
    H264Hinted,
    AmrHinted,
    H263HintedBack,  // every tenth packet cites a sample long before its own too
};

// Those that the C interface streams at their own cost.
inline constexpr Content kStreamed[] = {Content::AmrOneFrame, Content::AmrTenFrames,  Content::H263,
                                        Content::Mpeg4,       Content::H264,          Content::H263Hinted,
                                        Content::H264Hinted,  Content::H263HintedBack};

const char* name_of(Content content);
bool is_audio(Content content);

// A movie of `samples` samples, those of video `picture` bytes long; hinted kinds have one packet in each
// hint sample.
Bytes make_movie(Content content, size_t samples, size_t picture = 1000);

}  // namespace qlip_bench
