// The records of the file-level header, byte for byte.
#include <numeric>

#include "tests/packets/packets.h"

namespace qlip_test {
namespace {

// A record as it leaves its writer, from a place in memory that held other bytes and is not aligned.
template <class Record, class... Arguments, class Writer>
Bytes written(Writer writer, Arguments... arguments) {
    Bytes place(sizeof(Record) + 1, 0xEE);
    writer(reinterpret_cast<Record*>(place.data() + 1), arguments...);
    return slice(place, 1, sizeof(Record));
}

TEST(HeaderRecords, DurationIsTruncatedToMilliseconds) {
    const auto info = [](uint32_t ms) { return words({ms, 0xCCCCCCCC, 0xCCCCCCCC, 0xCCCCCCCC}); };
    EXPECT_EQ(written<VID_FileInfo>(wld_put_hdr_fileInfo, 10.0), info(10000));
    EXPECT_EQ(written<VID_FileInfo>(wld_put_hdr_vid_fileInfo, 1.9999), info(1999));
    EXPECT_EQ(written<VID_FileInfo>(wld_put_hdr_vid_fileInfo, 0.0), info(0));
    EXPECT_EQ(written<VID_FileInfo>(wld_put_hdr_fileInfo, 4294968.0), info(704));  // 2^32 + 704, 32 bits kept
    EXPECT_EQ(written<VID_FileInfo>(wld_put_hdr_fileInfo, 1e300), info(0));
}

// A track with a configuration of the bytes 1, 2, 3 and so on.
struct Configured {
    explicit Configured(size_t size) : config(size) {
        std::iota(config.begin(), config.end(), static_cast<unsigned char>(1));
        config.shrink_to_fit();
        track.dsi = size == 0 ? nullptr : config.data();
        track.dsi_size = static_cast<int>(size);
    }
    Bytes shown() const {
        Bytes bytes = config;
        bytes.resize(350);
        return bytes;
    }
    Bytes config;
    iso_track track{};
};

TEST(HeaderRecords, Mpeg4ConfigurationShowsAtMost350Bytes) {
    for (const size_t size : {0u, 4u, 5u, 350u, 351u, 70000u}) {
        Configured c(size);
        const auto shown = static_cast<unsigned int>(std::min<size_t>(size, 350));
        const uint32_t level = size > 4 ? 5 : 0;
        const Bytes size_bytes = slice(words({shown}), 0, 2);
        EXPECT_EQ(written<VID_Header_MPEG4CodecConfig>(wld_put_hdr_vid_codecCfg, &c.track),
                  join({words({level}), c.shown(), size_bytes}))
            << size;
    }
}

TEST(HeaderRecords, H264ConfigurationTellsItsFullSizeAndLeavesOneWordWhenShort) {
    for (const size_t size : {0u, 8u, 9u, 350u, 400u}) {
        Configured c(size);
        const Bytes tail = slice(words({static_cast<uint32_t>(size) | 2u << 16}), 0, 3);
        const Bytes head = size > 8 ? words({6, 7, 8}) : words({0, 0xEEEEEEEE, 0});
        EXPECT_EQ(written<VID_Header_H264CodecConfig>(wld_put_hdr_vid_codecCfg264, &c.track),
                  join({head, c.shown(), tail, {0, 0, 0}}))
            << size;
    }
}

TEST(HeaderRecords, AudioFramesCountUpAndWrapOnTheWireOnly) {
    wld_native native{};
    native.rtp.timestamp = 0xFFFFFFF0;
    native.rtp.sequence = 0x1FFFF;
    using R = AUD_AudFrame_Native;
    EXPECT_EQ(written<R>(wld_put_hdr_aud_frame, 57, &native),
              words({57, 10, 0xFFFFFFF0, 0xFFFFFFF0, 0xFFFF}));
    EXPECT_EQ(native.rtp.sequence, 0x20000u);
    EXPECT_EQ(written<R>(wld_put_hdr_aud_frame_wb, 31, &native), words({31, 20, 144, 144, 0}));
    EXPECT_EQ(native.rtp.timestamp, 464u);
}

}  // namespace
}  // namespace qlip_test
