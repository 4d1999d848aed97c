// A file in memory, opened by the engine for as long as the object lives.
#pragma once

#include <gtest/gtest.h>

#include <initializer_list>
#include <string>
#include <utility>

#include "iso/model/arena.h"
#include "qlip/isoff.h"
#include "tests/support/memory_host.h"
#include "tests/support/movie_builder.h"

namespace qlip_test {

class OpenedFile {
  public:
    explicit OpenedFile(Bytes bytes) : host(std::move(bytes)) {
        char mode[] = "r";
        testing::internal::CaptureStdout();
        io = host.record();
        file = isoFFopen(io, mode, nullptr);
        output = testing::internal::GetCapturedStdout();
        host.clear_log();
    }
    explicit OpenedFile(const MoviePlan& plan) : OpenedFile(build_movie(plan)) {}
    ~OpenedFile() { isoFFclose(file); }
    OpenedFile(const OpenedFile&) = delete;
    OpenedFile& operator=(const OpenedFile&) = delete;

    iso_track* track(int n = 1) { return isoFFselect(file, nullptr, n); }

    MemoryHost host;
    _TAG_QLIP_IOSTREAM_CALLBACK_INTERFACE* io = nullptr;
    iso_file* file = nullptr;
    std::string output;  // what the parse printed
};

// A file of one moov. `trak` builds its children around a tkhd, as most boxes need a track.
inline Bytes moov_file(std::initializer_list<Bytes> children) {
    return join(
        {box("ftyp", ByteWriter().text("3gp4").u32(0).text("3gp4isom")), container("moov", children)});
}

inline Bytes tkhd() {
    return full_box("tkhd",
                    ByteWriter().u32(1).u32(2).u32(7).zeros(8).zeros(52).u32(176 << 16).u32(144 << 16));
}

inline Bytes trak(std::initializer_list<Bytes> children) {
    return container("trak", {tkhd(), join(children)});
}

inline Bytes stbl_trak(std::initializer_list<Bytes> tables) {
    return trak({container("mdia", {container("minf", {container("stbl", tables)})})});
}

inline Bytes stsd(const Bytes& entry) {
    return full_box("stsd", ByteWriter().u32(1).raw(entry));
}

// Boxes that few tracks have, as the writer puts them too.
inline const Bytes kEdits = container("edts", {table("elst", 2, {600, 5, 0x10000, 30, 0xFFFFFFFF, 0x10000})});
inline const Bytes kHintReference = container("tref", {box("hint", ByteWriter().u32(3))});
inline const Bytes kMeta = container("meta", {full_box("xml ", ByteWriter().text("<a/>"))});
inline const Bytes kSelection = full_box("tsel", ByteWriter().u32(9).text("bitr"));
inline const Bytes kTrackData =
    container("udta", {container("hnti", {box("sdp ", ByteWriter().text("m=x"))}), kSelection});
inline const Bytes kGroups =
    full_box("sgpd", ByteWriter().text("avcb").u32(2).u16(1).u32(1).u32(2).u32(3).u32(4).u32(5).u16(0));
inline const Bytes kGroupRuns = table("sbgp", 0x61766362, {2, 3, 1, 4, 0});
inline const Bytes kProtectedEntry =
    rtp_entry(1400, 90000,
              join({box("tsro", hex("00000007")), box("snro", hex("00000008")),
                    full_box("srpp", ByteWriter()
                                         .text("aaaabbbbccccdddd")
                                         .raw(full_box("schm", ByteWriter().text("sch1").u32(5)))
                                         .raw(box("schi", hex("0102"))))}),
              "srtp");

}  // namespace qlip_test
