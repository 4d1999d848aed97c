// Streams a file through the C entry points and checks what any file must hold to: known statuses, chunks
// within their bounds, nothing written behind them.
#pragma once

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "fuzz/cost.h"
#include "fuzz/require.h"
#include "tests/support/memory_host.h"

namespace qlip_fuzz {

class ChunkReader {
  public:
    // Opens, and reads at most `limit` chunks while they come. Statuses 2 and 17 do not stop it at once.
    static void stream(qlip_test::MemoryHost& host, const char* mode, bool indexed, int limit) {
        host.position = 0;
        const unsigned long before = host.calls;
        mm_Interface* handle = nullptr;
        const int opened = qlip_Open(&handle, host.record(), mode);
        require(opened == QLIP_SUCCESS || opened == QLIP_FAILURE || opened == QLIP_NO_MEMORY);
        require((handle != nullptr) == (opened == QLIP_SUCCESS));
        require(host.calls - before <= most_calls(host.bytes.size()));
        ChunkReader reader(mode[1] == 'a');
        for (int setbacks = 0; handle != nullptr && limit > 0 && setbacks < 8; --limit)
            setbacks += reader.read(handle, indexed) == QLIP_SUCCESS ? 0 : 1;
        require(qlip_Close(&handle) == QLIP_SUCCESS && handle == nullptr);
    }

  private:
    static constexpr size_t kGuard = 64;
    static constexpr unsigned char kUntouched = 0xA5;
    static constexpr size_t kLongestHeader = 452;

    explicit ChunkReader(bool audio) : audio_(audio), buffer_(QLIP_LARGEST_CHUNK + kGuard, kUntouched) {}

    int read(mm_Interface* handle, bool indexed) {
        unsigned int size = 77;
        std::fill_n(buffer_.begin(), kLongestHeader, kUntouched);
        const int status = qlip_ReadChunk(handle, buffer_.data(), &size, indexed);
        require(status == QLIP_SUCCESS || status == QLIP_END_OF_FILE || status == QLIP_FAILURE ||
                status == QLIP_NOT_AVAILABLE_YET);
        require(size == (status == QLIP_NOT_AVAILABLE_YET ? 0 : 77));
        require(std::all_of(buffer_.end() - kGuard, buffer_.end(),
                            [](unsigned char byte) { return byte == kUntouched; }));
        if (status == QLIP_SUCCESS && in_step_) check();
        in_step_ = in_step_ && status == QLIP_SUCCESS;
        ++delivered_;
        return status;
    }

    unsigned int word(size_t at) const {
        unsigned int value;
        std::memcpy(&value, buffer_.data() + at, sizeof value);
        return value;
    }

    // Two calls succeed without a record: an empty AMR-WB sample, and a first MPEG-4 hint packet that is not
    // there yet.
    bool record_missing(size_t at) const { return word(at) == 0xA5A5A5A5; }

    // While every call has delivered a chunk, its kind is known.
    void check() {
        if (delivered_ == 0) {
            require(std::memcmp(buffer_.data(), audio_ ? "AUDIO   " : "VIDEO   ", 8) == 0);
            header_ = word(8);
        } else if (audio_) {
            if (delivered_ >= 4 && delivered_ % 2 == 0) check_speech_header();
        } else if (delivered_ % 2 == 1) {
            check_frame_record(delivered_ == 1 ? header_ - 24 : 0);
        } else {
            require(word(0) == 4 && word(4) == 1);
        }
    }

    void check_speech_header() const { require(record_missing(0) || (word(0) >= 26 && word(0) <= 86)); }

    void check_frame_record(size_t at) const {
        require(record_missing(at) || (word(at) % 4 == 0 && word(at + 8) < 4 && word(at) <= 65535 + 21));
    }

    bool audio_;
    bool in_step_ = true;
    unsigned long delivered_ = 0;
    size_t header_ = 0;
    std::vector<unsigned char> buffer_;
};

}  // namespace qlip_fuzz
