// qlip-serve ADDRESS PORT CLIENTS IDLE FILE...: what `qlip serve` runs, which has checked the numbers.
#include <gst/gst.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>
#include <vector>

#include "plugins/gstreamer/qlip_src.h"
#include "tools/serve/server.h"

namespace {

constexpr int kUsage = 2;
constexpr int kFailed = 3;
constexpr int kFirstFile = 5;

unsigned int number(const char* text) {
    return static_cast<unsigned int>(std::strtoul(text, nullptr, 10));
}

}  // namespace

int main(int argc, char** argv) {
    if (argc <= kFirstFile) {
        std::fputs("usage: qlip serve FILE...\n", stderr);
        return kUsage;
    }
    std::signal(SIGPIPE, SIG_IGN);
    gst_init(nullptr, nullptr);
    int result = 0;
    try {
        qlip::gst::register_qlip_src(nullptr);
        const qlip::serve::Catalogue catalogue(std::vector<std::string>(argv + kFirstFile, argv + argc));
        qlip::serve::serve(catalogue, argv[1], argv[2], {number(argv[3]), number(argv[4])});
    } catch (const std::exception& error) {
        std::fprintf(stderr, "qlip: %s\n", error.what());
        result = kFailed;
    }
    gst_deinit();
    return result;
}
