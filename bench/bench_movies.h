// Movies of any length for the benchmarks.
#pragma once

#include "tests/support/movie_builder.h"

namespace qlip_bench {

using qlip_test::Bytes;

enum class Content { AmrOneFrame, AmrTenFrames, H263, Mpeg4, H264, H263Hinted, H264Hinted, AmrHinted };

const char* name_of(Content content);
bool is_audio(Content content);

// A movie of `samples` samples; hinted kinds have one packet in each hint sample, of 1,000 bytes
// for video and of one frame for audio.
Bytes make_movie(Content content, size_t samples);

}  // namespace qlip_bench
