// The second reader on arbitrary bytes: open, read, seek, read, close, with requests of arbitrary sizes in
// both read modes and a file that may still be arriving. The last byte says whether as sound or as video.
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "fuzz/cost.h"
#include "fuzz/mpeg4_visual.h"
#include "fuzz/require.h"
#include "qlip/SimpleException.h"
#include "qlip/c3gpinterface.h"
#include "tests/support/memory_host.h"

namespace {

using qlip_fuzz::require;

// Choices that are not the file: taken from its last bytes.
class Choices {
  public:
    Choices(const uint8_t* data, size_t size) : data_(data), size_(size) {}
    unsigned int next() {
        if (used_ == 64 || used_ >= size_) return 37;
        return data_[size_ - 1 - used_++];
    }

  private:
    const uint8_t* data_;
    size_t size_;
    size_t used_ = 0;
};

void read_some(C3gpInterface& reader, Choices& choices, unsigned int calls) {
    constexpr unsigned int kGuard = 16;
    for (unsigned int i = 0; i < calls; ++i) {
        const unsigned int shape = choices.next();
        const unsigned int wanted = (shape & 0x3F) << (shape >> 6) * 3;
        std::vector<unsigned char> buffer(wanted + kGuard, 0xA5);
        unsigned int delivered = wanted;
        const unsigned int status = reader.ReadChunk(buffer.data(), &delivered, choices.next() & 1);
        require(status == 0 || status == 1 || status == 2 || status == 4 || status == 16 || status == 17);
        require(delivered <= wanted && (status != 0 || delivered == wanted));
        require(status == 0 || status == 1 || status == 17 || delivered == 0);
        for (unsigned int guard = 0; guard < kGuard; ++guard)
            require(buffer[wanted + guard] == 0xA5);
    }
}

// A loop that reads to the end gets there: each frame costs a hint sample, each failure one of 64.
bool ends(C3gpInterface& reader) {
    static unsigned char buffer[1 << 20];
    for (int failures = 0; failures <= 64 + 20;) {
        unsigned int delivered = sizeof buffer;
        const unsigned int status = reader.ReadChunk(buffer, &delivered, true);
        if (status == 1 || status == 16 || status == 17) return true;
        failures += status != 0;
    }
    return false;
}

void seek_somewhere(C3gpInterface& reader, Choices& choices) {
    constexpr unsigned int kFlags[] = {0x20001, 0x20002, 0x20004, 0x10001,
                                       0x10002, 0x10004, 0x20000, 0x30001};
    const unsigned int time = choices.next() * 16;
    _TAG_QLIP_SEEK_PARAMS params{7, time, 7, 7, kFlags[choices.next() & 7]};
    const unsigned int status = reader.SeekTo(&params);
    require(params.uReserved == 7 && (status == 0 || (params.nTime == time && params.uFrameNum == 7)));
    require(status != 0 || params.uFrameNum > 0);
    require(status == 0 || status == 2 || status == 4 || (status >= 18 && status <= 22));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    sx_Debug = 4;  // errors and warnings go to the system log
    const qlip_fuzz::Cost cost(size, 2);
    Choices choices(data, size);
    qlip_test::MemoryHost host({data, data + size});
    host.keep_log = false;
    qlip_fuzz::make_mpeg4_visual(host.bytes);
    const char* mode = size > 0 && data[size - 1] & 1 ? "ra" : "rv";
    C3gpInterface reader(choices.next() * 64 + 500);
    host.position = 0;
    host.arrived = std::nullopt;
    host.calls = 0;
    const unsigned int status = reader.Open(host.record(), mode);
    require(host.calls <= qlip_fuzz::most_calls(size));
    require(status == 0 || status == 2 || status == 4 || status == 6 || status == 11 || status == 12 ||
            status == 14 || status == 15);
    if (choices.next() & 1) host.arrived = choices.next() * 512;
    read_some(reader, choices, 6);
    seek_somewhere(reader, choices);
    read_some(reader, choices, 6);
    host.arrived = std::nullopt;
    seek_somewhere(reader, choices);
    read_some(reader, choices, 20);
    if (status == 0) require(ends(reader));
    require(reader.Close() == 0);
    return 0;
}
