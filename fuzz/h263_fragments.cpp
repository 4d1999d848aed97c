// RFC 2190 packets of any bytes: whole records within the output and of the right size, and the picture's
// bits come back from the fragments in order.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "fuzz/cost.h"
#include "fuzz/require.h"
#include "qlip/isoff.h"
#include "qlip/wld_native.h"

namespace {

using qlip_fuzz::require;

using Bytes = std::vector<unsigned char>;

constexpr size_t kRecordHeader = 20;
constexpr unsigned char kGuard = 0xEE;

struct Settings {
    wld_rfc_mode mode;
    int max_payload;
    size_t out_size;
    int flags;
};

// The first 4 bytes choose.
Settings settings_from(const uint8_t* head, size_t size) {
    Settings settings{};
    settings.mode = (head[0] & 1) != 0 ? WLD_RFC_2190_B : WLD_RFC_2190;
    settings.max_payload = (head[0] & 2) != 0 ? 1400 : head[1] - 8;
    settings.out_size = (head[0] & 4) != 0 ? head[2] * 16U : 64 * size + 4096;
    settings.flags = (head[0] & 8) != 0 && size < 512 ? static_cast<int>(WLD_FLAG_VERBOSE) : 0;
    return settings;
}

// Bits of the picture that the fragments so far stand for.
class Reassembly {
  public:
    explicit Reassembly(const Bytes& picture) : picture_(picture) {}

    void add(const unsigned char* payload, size_t size) {
        const size_t header = (payload[0] & 0x80) != 0 ? 8 : 4;
        require(size > header);
        const size_t sbit = payload[0] >> 3 & 7U;
        const size_t ebit = payload[0] & 7U;
        require(bits_ % 8 == sbit && bits_ / 8 + size - header <= picture_.size());
        require(std::memcmp(payload + header, picture_.data() + bits_ / 8, size - header) == 0);
        bits_ = (bits_ / 8 + size - header) * 8 - ebit;
    }

    bool complete() const { return bits_ == 8 * picture_.size(); }

  private:
    const Bytes& picture_;
    size_t bits_ = 0;
};

void check(const Bytes& out, size_t written, const Bytes& picture, const wld_native& native) {
    Reassembly whole(picture);
    unsigned int count = 0;
    for (size_t at = 0; at < written; ++count) {
        uint32_t size;
        require(written - at >= kRecordHeader);
        std::memcpy(&size, out.data() + at, sizeof size);
        require(size > kRecordHeader && size <= written - at);
        require(size - kRecordHeader <= static_cast<uint32_t>(native.max_payload));
        const bool marker = (out[at + 10] & 0x80) != 0;
        require(marker == (at + size == written));
        whole.add(out.data() + at + kRecordHeader, size - kRecordHeader);
        at += size;
    }
    require(whole.complete() && count == native.packet_count);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 4 || size > 60000) return 0;
    const qlip_fuzz::Cost cost(size, 4, 64);
    const Settings settings = settings_from(data, size);
    Bytes picture(data + 4, data + size);
    const Bytes before = picture;
    iso_track track{};
    track.codec = ISO_CODEC_S263;
    wld_native native{};
    require(wld_native_init(&native, 34, 1400, settings.mode, &track, settings.flags) == 0);
    native.max_payload = settings.max_payload;
    Bytes out(settings.out_size + 64, kGuard);
    const int result = wld_video_packet(out.data(), static_cast<int>(settings.out_size), picture.data(),
                                        static_cast<int>(picture.size()), 0.1, &native);
    for (size_t i = settings.out_size; i < out.size(); ++i)
        require(out[i] == kGuard);
    require(picture == before);
    if (result >= 0) {
        check(out, static_cast<size_t>(result), picture, native);
    } else {
        require(result == WLD_FAILED || (result == WLD_BAD_PICTURE && native.packet_count == 0));
    }
    return 0;
}
