// A random recording: tracks, frames, mode, limits and an output that may be full, drawn from a run of bytes;
// then read back and held against what was given.
#pragma once

#include <cstddef>
#include <string>

namespace qlip_test {

// What is wrong with the file that the recording left behind; empty when nothing is.
std::string check_recording(const unsigned char* decisions, size_t size);

}  // namespace qlip_test
