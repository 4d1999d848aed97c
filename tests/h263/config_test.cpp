#include "qlip/h263_isoff.h"
#include "tests/h263/walk_support.h"

namespace qlip_test {
namespace {

// What a record holds before the scan: nothing of it may be a value that a picture gives.
constexpr H263VCFG kBefore{{71, 72, 73}, 74, 75, 76, 77, 78, 79, 80, 81, 82};

struct Scan {
    const char* name;
    Bytes bytes;
    int offset;
    int width, height, tr, plusptype, source_format, frame_type;
};

// clang-format off
const Scan kScans[] = {
    {"intra_sub_qcif", {0, 0, 0x80, 0x06, 0x04, 0}, 0, 128, 96, 1, 0, 1, 0},
    {"inter_qcif", {0, 0, 0x83, 0xFE, 0x0A, 0}, 0, 176, 144, 255, 0, 2, 1},
    {"intra_cif_behind_other_bytes", {9, 0, 0, 0x81, 0x02, 0x0C, 0}, 1, 352, 288, 64, 0, 3, 0},
    {"too_short", {0, 0, 0x80, 0x06, 0x04}, -1, 75, 74, 77, 80, 81, 82},
    {"start_code_in_the_last_five_bytes", {9, 0, 0, 0x80, 0x06, 0x04}, -1, 75, 74, 77, 80, 81, 82},
    {"cif_4_leaves_its_marks", {0, 0, 0x80, 0x06, 0x12, 0}, -1, 75, 74, 1, 0, 4, 1},
    {"cif_16_is_passed_over_for_the_next", {0, 0, 0x80, 0x06, 0x14, 0, 0, 0, 0x80, 0x0A, 0x08, 0}, 6, 176,
     144, 2, 0, 2, 0},
    {"plusptype_intra_cif", {0, 0, 0x83, 0xFC, 0x1C, 0xB0, 0, 0xFB}, 0, 352, 288, 255, 1, 3, 0},
    {"plusptype_inter_qcif", {0, 0, 0x83, 0xFC, 0x1C, 0xA0, 0, 0x04}, 0, 176, 144, 255, 1, 2, 1},
    {"plusptype_without_room_for_the_picture_type", {0, 0, 0x83, 0xFC, 0x1C, 0xA0, 0}, 0, 176, 144, 255, 1, 2,
     82},
    {"plusptype_without_format_is_taken_for_qcif", {0, 0, 0x83, 0xFC, 0x1C, 0x10}, 0, 176, 144, 255, 1, 81,
     1},
    {"plusptype_intra_without_format", {0, 0, 0x83, 0xFC, 0x1C, 0x6F}, 0, 176, 144, 255, 1, 81, 0},
    {"plusptype_custom_format", {0, 0, 0x80, 0, 0x1C, 0xE0, 0, 0x04}, -1, 75, 74, 0, 1, 6, 1},
    {"ufep_above_1_is_no_picture", {0, 0, 0x80, 0x06, 0x1D, 0xA0, 0, 0}, -1, 75, 74, 1, 80, 81, 82},
};
// clang-format on

TEST(Config, ComesFromTheFirstUsablePicture) {
    for (const Scan& scan : kScans) {
        SCOPED_TRACE(scan.name);
        Walker data(scan.bytes);
        H263VCFG config = kBefore;
        EXPECT_EQ(h263_get_config(data.bytes.data(), static_cast<int>(scan.bytes.size()), &config),
                  scan.offset);
        EXPECT_EQ(config.width, scan.width);
        EXPECT_EQ(config.height, scan.height);
        EXPECT_EQ(config.tr, scan.tr);
        EXPECT_EQ(config.plusptype, scan.plusptype);
        EXPECT_EQ(config.source_format, scan.source_format);
        EXPECT_EQ(config.frame_type, scan.frame_type);
        const int type = scan.frame_type == kBefore.frame_type ? 0 : scan.frame_type;
        EXPECT_EQ(h263_get_frame_type(data.bytes.data(), static_cast<int>(scan.bytes.size())),
                  scan.offset < 0 ? -1 : type);
        EXPECT_EQ(config.timescale + config.profile + config.level, 76 + 78 + 79);
    }
}

// What of the configuration reaches the file is compared byte for byte where files are written.
TEST(Track, IsChargedForItsBoxesAndLimitedInTime) {
    _TAG_QLIP_IOSTREAM_CALLBACK_INTERFACE* io = nullptr;
    char mode[] = "w";
    iso_file* file = isoFFopen(io, mode, nullptr);
    H263VCFG config{{}, 144, 176, 90000, 5, 1, 10, 0, 2, 0};
    for (const auto& [seconds, limit] : {std::pair(100.5, 9045000U), {1e9, 0xFFFFFFFFU}}) {
        file->max_duration = seconds;
        const unsigned int before = file->header_bytes;
        const iso_track* track = h263_isoFFtrack(file, &config);
        EXPECT_EQ(file->header_bytes - before, 325U + 121);
        EXPECT_EQ(std::tuple(track->duration_limit, track->profile, file->visual_profile),
                  std::tuple(limit, 1, 1U));
    }
    EXPECT_EQ(h263_isoFFtrack(nullptr, &config), nullptr);
    EXPECT_EQ(h263_isoFFtrack(file, nullptr), nullptr);
    isoFFclose(file);
}

}  // namespace
}  // namespace qlip_test
