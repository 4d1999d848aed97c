// Files that are made to cost much, and what they cost: a row of a table for each.
#include <cstdio>
#include <functional>
#include <string>

#include "fuzz/cost.h"
#include "fuzz/mpeg4_visual.h"
#include "qlip/SimpleException.h"
#include "qlip/c3gpinterface.h"
#include "qlip/isoff.h"
#include "qlip/vorn3gp.h"
#include "tests/support/movie_builder.h"

using namespace qlip_test;

namespace {

constexpr unsigned char kEmptySpeech = 0x7C;

struct Bomb {
    const char* name;
    Bytes file;
    std::function<std::string(MemoryHost&)> handle;  // its result goes into the row
};

// ---- What is done with a file ----

std::string read_tree(MemoryHost& host) {
    Vorn3gp::Simple3gp tree;
    auto* io = host.record();
    try {
        tree.Read(io, static_cast<unsigned int>(host.bytes.size()));
    } catch (const std::bad_alloc&) {
        return "out of memory";
    } catch (const SimpleException&) {
        return "refused";
    }
    return "read";
}

template <class Reader>
std::string read_to_end(Reader read) {
    static unsigned char buffer[QLIP_LARGEST_CHUNK];
    unsigned int calls = 0, failures = 0, status = 0;
    for (; status != QLIP_END_OF_FILE && failures < 100 && calls < 100000; ++calls) {
        unsigned int size = sizeof buffer;
        status = static_cast<unsigned int>(read(buffer, &size));
        failures += status != 0;
    }
    return std::to_string(calls) + " reads, status " + std::to_string(status);
}

std::string second_reader(MemoryHost& host, const char* mode) {
    sx_Debug = 4;
    C3gpInterface reader(1 << 16);
    const unsigned int opened = reader.Open(host.record(), mode);
    if (opened != 0) return "status " + std::to_string(opened);
    return read_to_end(
        [&](unsigned char* to, unsigned int* size) { return reader.ReadChunk(to, size, true); });
}

std::string session(MemoryHost& host, const char* mode) {
    mm_Interface* handle = nullptr;
    const int opened = qlip_Open(&handle, host.record(), mode);
    if (opened != 0) return "status " + std::to_string(opened);
    const std::string read = read_to_end(
        [&](unsigned char* to, unsigned int* size) { return qlip_ReadChunk(handle, to, size, false); });
    qlip_Close(&handle);
    return read;
}

// ---- The files ----

// Boxes within boxes; each innermost one says that it ends where it began, again and again.
Bytes boxes_that_lead_back(unsigned int depth, unsigned int size) {
    constexpr const char* kWay[] = {"moov", "trak", "mdia", "minf", "stbl"};
    ByteWriter out;
    for (unsigned int i = 0; i < depth; ++i)
        out.u32(size).text(kWay[i]);
    while (out.bytes().size() + 16 <= size)
        out.u32(16).text("free").u32(0xFFFFFFF0).text(kWay[depth - 1]);
    return out;
}

Bytes replaced_children(unsigned int size) {
    ByteWriter children;
    while (children.bytes().size() + 108 < size)
        children.raw(full_box("mvhd", Bytes(96)));
    return box("moov", children);
}

TrackPlan hinted_media(unsigned int samples) {
    TrackPlan media{.handler = "vide", .timescale = 90000, .delta = 3000};
    media.sample_entry = visual_entry("s263", 176, 144, d263());
    for (unsigned int i = 0; i < samples; ++i)
        media.samples.push_back(Bytes(1 + i % 3, 7));
    return media;
}

// Hint constructors that jump to and fro between samples of various sizes.
Bytes jumping_hints(unsigned int samples, unsigned int constructors) {
    const TrackPlan media = hinted_media(samples);
    HintPacket packet{.sequence = 1, .marker = true};
    for (unsigned int i = 0; i < constructors; ++i)
        packet.constructors.push_back(hint_sample_data(1, i % 2 ? 1 + i : samples - i, 0));
    TrackPlan hint{.handler = "hint", .id = 2, .timescale = 90000, .delta = 3000};
    hint.sample_entry = rtp_entry(1400, 90000);
    hint.hint_reference = 1;
    hint.samples = {hint_sample({packet})};
    return build_movie({.tracks = {media, hint}, .moov_first = true});
}

Bytes hints_that_fail(unsigned int samples) {
    TrackPlan media = hinted_media(1);
    TrackPlan hint{.handler = "hint", .id = 2, .timescale = 90000, .delta = 3000};
    hint.sample_entry = rtp_entry(1400, 90000);
    hint.hint_reference = 1;
    hint.samples.assign(samples, hint_sample({HintPacket{.constructors = {hint_sample_data(9, 77, 0)}}}));
    return build_movie({.tracks = {media, hint}, .moov_first = true});
}

Bytes bad_boxes(unsigned int size) {
    ByteWriter boxes;
    while (boxes.bytes().size() < size)
        boxes.raw(box("trak", box("mdia", join({box("hdlr", Bytes(20)), box("mdhd", Bytes(24))}))))
            .raw(box("udta", box("tsel", Bytes(8))));
    return box("moov", boxes);
}

Bytes one_sample_too_long() {
    return build_movie({.tracks = {{.samples = {Bytes{kEmptySpeech}}, .sample_entry = samr_entry()}}});
}

// Says that it has so many samples, of which the file holds one.
Bytes claimed_samples(unsigned int count) {
    Bytes file = build_movie(
        {.tracks = {{.samples = {Bytes(32, 0x3C)}, .constant_size = true, .sample_entry = samr_entry()}}});
    for (size_t at = 0; at + 20 <= file.size(); ++at) {
        if (std::string_view(reinterpret_cast<const char*>(&file[at]), 4) != "stsz") continue;
        for (unsigned int i = 0; i < 4; ++i)
            file[at + 12 + i] = static_cast<unsigned char>(count >> (24 - 8 * i));
    }
    return file;
}

Bytes group_entries(unsigned int bytes) {
    const Bytes sgpd = full_box("sgpd", ByteWriter().text("avcl").u32(bytes / 2).zeros(bytes));
    TrackPlan track{.samples = {Bytes(32, 0x3C)}, .sample_entry = samr_entry()};
    track.extra_minf = container("stbl", {sgpd});
    return build_movie({.tracks = {track}, .moov_first = true});
}

// ---- The table ----

std::string open_engine(MemoryHost& host) {
    auto* io = host.record();
    char mode[] = "r";
    iso_file* file = isoFFopen(io, mode, nullptr);
    int tracks = 0;
    isoFFfileInfo(file, &tracks, nullptr, nullptr);
    isoFFclose(file);
    return std::to_string(tracks) + " tracks";
}

void measure(const Bomb& bomb) {
    MemoryHost host(bomb.file);
    host.keep_log = false;
    const qlip_fuzz::Spent before = qlip_fuzz::spent();
    const std::string result = bomb.handle(host);
    const qlip_fuzz::Spent after = qlip_fuzz::spent();
    std::fprintf(stderr, "| %s | %zu | %lu | %lu | %lu | %s |\n", bomb.name, bomb.file.size(), host.calls,
                 after.bytes + after.claimed - before.bytes - before.claimed, after.lines - before.lines,
                 result.c_str());
}

}  // namespace

int main() {
    const auto hinted = [](MemoryHost& host) { return second_reader(host, "rv"); };
    const auto video = [](MemoryHost& host) { return session(host, "rv"); };
    const auto audio = [](MemoryHost& host) { return session(host, "ra"); };
    qlip_fuzz::watch();
    for (const Bomb& bomb :
         {Bomb{"five levels that lead back, as a tree", boxes_that_lead_back(5, 3000), read_tree},
          {"five levels that lead back, second reader", boxes_that_lead_back(5, 3000), hinted},
          {"the same, 4 KB", boxes_that_lead_back(5, 4000), hinted},
          {"one level that leads back", boxes_that_lead_back(1, 512 << 10), hinted},
          {"children replaced again and again", replaced_children(64 << 10), hinted},
          {"hint samples that all fail", hints_that_fail(20), hinted},
          {"hint samples that all fail, more", hints_that_fail(1300), hinted},
          {"hint constructors that jump", jumping_hints(100000, 4000), video},
          {"hint constructors that jump, more", jumping_hints(400000, 16000), video},
          {"boxes out of place, engine", bad_boxes(10 << 20), open_engine},
          {"speech frame longer than its sample", one_sample_too_long(), audio},
          {"2,147,483,647 samples claimed", claimed_samples(0x7FFFFFFF), audio},
          {"group descriptions", group_entries(1 << 20), open_engine}})
        measure(bomb);
    return 0;
}
