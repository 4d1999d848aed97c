// Random recordings: whatever was written, to an output of whatever room, every track is in the file and
// every sample that it lists is the frame that was given.
#include <cstdio>
#include <cstdlib>

#include "fuzz/cost.h"
#include "tests/support/recording.h"

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, size_t size) {
    const qlip_fuzz::Cost cost(size, 8);
    const std::string fault = qlip_test::check_recording(data, size);
    if (fault.empty()) return 0;
    std::fprintf(stderr, "%s\n", fault.c_str());
    std::abort();
}
