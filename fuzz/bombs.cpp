// Files that are made to cost much, and what they cost: a row of a table for each. Ends with 1 when one costs
// more than it may.
//
// bombs [NUMBER]: all, or the one of that row
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "fuzz/cost.h"
#include "fuzz/mpeg4_visual.h"
#include "qlip/SimpleException.h"
#include "qlip/c3gpinterface.h"
#include "qlip/host.h"
#include "qlip/isoff.h"
#include "qlip/limits.h"
#include "qlip/vorn3gp.h"
#include "tests/support/movie_builder.h"

using namespace qlip_test;

namespace {

// What one file may cost. Calls of the host's are those that any file may make.
struct Bounds {
    uint64_t memory_of_a_byte = 40;  // asked for, besides what an open file has anyway
    uint64_t lines = 65;             // of each of its kinds 64, and the one that says so
    unsigned int reads = 0;          // that deliver something
};

constexpr uint64_t kMemoryOfAnOpenFile = 600000;
constexpr unsigned int kMostReads = 100000;

struct Bomb {
    const char* name;
    const char* before;  // what it cost when nothing was bounded
    Bytes file;
    std::function<std::string(MemoryHost&)> handle;
    std::string outcome;
    Bounds bounds = {};
};

unsigned int reads = 0;  // that delivered something

// ---- What is done with a file ----

// With `limits` through a record of theirs, and then dumped.
std::string read_tree(MemoryHost& host, const qlip_limits* limits) {
    auto* io = limits ? qlip_LimitCallbacks(host.record(), limits) : host.record();
    std::string outcome = "read";
    try {
        Vorn3gp::Simple3gp tree;
        tree.Read(io, static_cast<unsigned int>(host.bytes.size()));
        if (limits) io << tree;
    } catch (const std::bad_alloc&) {
        outcome = "out of memory";
    } catch (const SimpleException&) {
        outcome = "refused";
    }
    if (limits) qlip_FreeLimitedCallbacks(io);
    return outcome;
}

template <class Reader>
std::string read_to_end(Reader read) {
    constexpr unsigned int kMostFailures = 100;
    static unsigned char buffer[QLIP_LARGEST_CHUNK];
    unsigned int failures = 0, status = 0;
    while (status != QLIP_END_OF_FILE && failures < kMostFailures && reads < kMostReads) {
        unsigned int size = sizeof buffer;
        status = static_cast<unsigned int>(read(buffer, &size));
        ++(status == 0 ? reads : failures);
    }
    return "status " + std::to_string(status);
}

std::string second_reader(MemoryHost& host, const char* mode) {
    sx_Debug = 3;  // errors and warnings
    C3gpInterface reader(1 << 16);
    const unsigned int opened = reader.Open(host.record(), mode);
    if (opened != 0) return "open: " + std::to_string(opened);
    const std::string outcome =
        read_to_end([&](unsigned char* to, unsigned int* size) { return reader.ReadChunk(to, size, false); });
    reader.Close();
    return outcome;
}

std::string session(MemoryHost& host, const char* mode) {
    mm_Interface* handle = nullptr;
    const int opened = qlip_Open(&handle, host.record(), mode);
    if (opened != 0) return "open: " + std::to_string(opened);
    const std::string read = read_to_end(
        [&](unsigned char* to, unsigned int* size) { return qlip_ReadChunk(handle, to, size, false); });
    qlip_Close(&handle);
    return read;
}

// The host kit delivers no more than the file holds.
std::string kit_stream(MemoryHost& host) {
    qlip_source* source = nullptr;
    qlip_stream* stream = nullptr;
    if (qlip_source_memory(&source, host.bytes.data(), host.bytes.size()) != 0) return "no memory";
    const int opened = qlip_stream_open(&stream, source, QLIP_AUDIO, nullptr);
    int status = opened;
    for (const qlip_frame* frame = nullptr; status == 0 && reads < kMostReads;) {
        status = qlip_stream_read(stream, &frame);
        reads += status == 0;
    }
    qlip_stream_close(&stream);
    qlip_source_close(&source);
    return (opened != 0 ? "open: " : "status ") + std::to_string(status);
}

std::string open_engine(MemoryHost& host) {
    auto* io = host.record();
    char mode[] = "r";
    iso_file* file = isoFFopen(io, mode, nullptr);
    int tracks = 0;
    isoFFfileInfo(file, &tracks, nullptr, nullptr);
    isoFFclose(file);
    return std::to_string(tracks) + " tracks";
}

// ---- The files ----

// The word behind the header of the last box of a type, counted in words from its version.
void put_word(Bytes& file, std::string_view type, size_t word, unsigned int value) {
    const auto box = std::find_end(file.begin(), file.end(), type.begin(), type.end());
    for (unsigned int i = 0; i < 4; ++i)
        box[static_cast<ptrdiff_t>(4 + 4 * word + i)] = static_cast<unsigned char>(value >> (24 - 8 * i));
}

// Claims so many samples for the last track, all in its one chunk.
void claim_samples(Bytes& file, unsigned int count) {
    put_word(file, "stsz", 2, count);
    put_word(file, "stsc", 3, count);
    put_word(file, "stts", 2, count);
}

constexpr unsigned int kHeader = 8;

// Containers of 16 bytes, and in each a box that leads back to the first of all. Each kind is a child of the
// next, so that a walk of one goes over all those in front of it again, and so on.
Bytes containers_that_lead_back(std::initializer_list<const char*> kinds, unsigned int size) {
    ByteWriter out;
    const auto most = static_cast<unsigned int>(size / 16 / kinds.size());
    const auto add = [&out](const char* kind) {
        const auto here = static_cast<unsigned int>(out.bytes().size()) + kHeader;
        out.u32(16).text(kind).u32(0U - here).text("back");
    };
    for (const char* kind : kinds) {
        for (unsigned int i = 0; i < most; ++i)
            add(kind);
    }
    add("moov");
    return out.raw(box("free"));  // a box that ends with the file would be none
}

// Empty mdia boxes, of which a trak keeps one, and traks whose walk begins with the first of them.
Bytes children_replaced(unsigned int children, unsigned int traks) {
    ByteWriter out;
    for (unsigned int i = 0; i < children; ++i)
        out.u32(kHeader).text("mdia");
    for (unsigned int i = 0; i <= traks; ++i) {
        const auto here = static_cast<unsigned int>(out.bytes().size()) + kHeader;
        out.u32(16).text(i < traks ? "trak" : "moov").u32(0U - here).text("back");
    }
    return out.raw(box("free"));
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

TrackPlan hints(const TrackPlan& media, const Bytes& sample) {
    TrackPlan hint{.handler = "hint", .id = 2, .timescale = media.timescale, .delta = media.delta};
    hint.samples = {sample};
    hint.constant_size = true;
    hint.sample_entry = rtp_entry(1400, media.timescale);
    hint.hint_reference = 1;
    return hint;
}

// Hint samples that are too short for a header, and lie behind the end of the file.
Bytes hints_that_fail() {
    const TrackPlan media = hinted_media(1);
    Bytes file = build_movie({.tracks = {media, hints(media, {0})}, .moov_first = true});
    claim_samples(file, 65536);
    return file;
}

// Sound, whose frames go on behind a constructor that names a sample which is not there.
Bytes constructors_that_fail(unsigned int constructors, unsigned int samples) {
    const TrackPlan media{.samples = {Bytes(32, 0x3C)}, .sample_entry = samr_entry()};
    const HintPacket packet{.constructors = {constructors, hint_sample_data(9, 77, 0)}};
    Bytes file = build_movie({.tracks = {media, hints(media, hint_sample({packet}))}, .moov_first = true});
    claim_samples(file, samples);
    return file;
}

// Sample groups at the end of a moov of so many bytes, which claim as many again that are not there.
Bytes absent_groups(unsigned int bytes) {
    TrackPlan track{.samples = {Bytes(32, 0x3C)}, .sample_entry = samr_entry()};
    track.extra_trak = box("free", Bytes(bytes));
    const Bytes groups = full_box("sgpd", ByteWriter().text("avcb").u32(bytes / 2));
    track.extra_trak =
        join({track.extra_trak, container("mdia", {container("minf", {container("stbl", {groups})})})});
    return build_movie({.tracks = {track}, .moov_first = true});
}

Bytes group_entries(unsigned int bytes) {
    const Bytes sgpd = full_box("sgpd", ByteWriter().text("avcb").u32(bytes / 2).zeros(bytes));
    TrackPlan track{.samples = {Bytes(32, 0x3C)}, .sample_entry = samr_entry()};
    track.extra_minf = container("stbl", {sgpd});
    return build_movie({.tracks = {track}, .moov_first = true});
}

// Samples of a byte, whose speech frame is longer: what is left wraps around.
Bytes samples_too_short(unsigned int count, bool moov_first) {
    const TrackPlan track{.samples = {Bytes(1, 0x3C)}, .constant_size = true, .sample_entry = samr_entry()};
    Bytes file = build_movie({.tracks = {track}, .moov_first = moov_first});
    claim_samples(file, count);
    return file;
}

// Says that it has so many samples, of which the file holds one.
Bytes claimed_samples(unsigned int count) {
    Bytes file = build_movie(
        {.tracks = {{.samples = {Bytes(32, 0x3C)}, .constant_size = true, .sample_entry = samr_entry()}}});
    put_word(file, "stsz", 2, count);
    return file;
}

Bytes other_object_type() {
    Bytes configuration = esds({0, 0, 1, 0xB0});
    configuration[kHeader + 4 + 5 + 2] = 0x40;
    const Bytes stsd =
        full_box("stsd", ByteWriter().u32(1).raw(visual_entry("mp4v", 176, 144, configuration)));
    return container(
        "moov", {container("trak", {container("mdia", {container("minf", {container("stbl", {stsd})})})})});
}

Bytes film_without_header() {
    return join({box("ftyp", ByteWriter().text("3gp4").u32(0)), container("moov", {box("free", Bytes(8))})});
}

// ---- The table ----

std::vector<Bomb> bombs() {
    const qlip_limits limits = QLIP_LIMITS_INIT;
    const auto tree = [](MemoryHost& host) { return read_tree(host, nullptr); };
    const auto limited_tree = [limits](MemoryHost& host) { return read_tree(host, &limits); };
    const auto second_video = [](MemoryHost& host) { return second_reader(host, "rv"); };
    const auto second_audio = [](MemoryHost& host) { return second_reader(host, "ra"); };
    const auto video = [](MemoryHost& host) { return session(host, "rv"); };
    const auto audio = [](MemoryHost& host) { return session(host, "ra"); };
    const auto nested = {"stbl", "minf", "mdia", "trak"};
    return {{"containers in containers that lead back", "1,630,822,336 calls, 7.1 GB, 410 MB kept, 14 s",
             containers_that_lead_back(nested, 3000), tree, "out of memory"},
            {"the same, second reader", "the same", containers_that_lead_back(nested, 3000), second_video,
             "open: 4"},
            {"the same, 4 KB", "more than 12 GB, 25 s", containers_that_lead_back(nested, 4000), tree,
             "out of memory"},
            {"one level that leads back", "1,380,932,506 calls, 5.9 GB, 17 s",
             containers_that_lead_back({"free", "trak"}, 512 << 10), tree, "out of memory"},
            {"children replaced again and again", "8,600,788 calls, 103 MB, all kept",
             children_replaced(8000, 80), tree, "out of memory"},
            {"hint samples that all fail",
             "196,638 lines, 28 MB",
             hints_that_fail(),
             second_video,
             "status 1",
             {.memory_of_a_byte = 1200, .lines = 4 * 65}},
            {"hint constructors that all fail",
             "16,000,023 lines, 3.9 GB, 21 s",
             constructors_that_fail(4000, 4000),
             second_audio,
             "status 1",
             {.memory_of_a_byte = 200, .lines = 4 * 65, .reads = 1}},
            {"hint constructors that jump",
             "0.24 s",
             jumping_hints(100000, 4000),
             video,
             "status 1",
             {.reads = 3}},
            {"hint constructors that jump, more",
             "3.9 s",
             jumping_hints(400000, 16000),
             video,
             "status 1",
             {.reads = 3}},
            {"groups that are not there", "5,242,639 lines, 180 MB", absent_groups(10 << 20), open_engine,
             "1 tracks"},
            {"groups", "18 MB", group_entries(1 << 20), open_engine, "1 tracks", {.memory_of_a_byte = 3}},
            {"speech frames longer than their samples",
             "the same",
             samples_too_short(640, false),
             audio,
             "status 0",
             {.reads = kMostReads}},
            {"the same, host kit", "", samples_too_short(640, false), kit_stream, "status 4"},
            {"such samples behind the end",
             "no end in 100,000 reads",
             samples_too_short(640, true),
             audio,
             "status 1",
             {.reads = 65536}},
            {"2,147,483,647 samples claimed",
             "no end in 100,000 reads",
             claimed_samples(0x7FFFFFFF),
             audio,
             "status 1",
             {.reads = 4}},
            {"the same, host kit", "", claimed_samples(0x7FFFFFFF), kit_stream, "open: 4"},
            {"a visual entry that is not MPEG-4, limited", "ends the process", other_object_type(),
             limited_tree, "refused"},
            {"a tree without its header dumped, limited", "ends the process", film_without_header(),
             limited_tree, "refused"}};
}

struct Cost {
    unsigned long calls = 0;
    uint64_t memory = 0, lines = 0, kept = 0;
    long milliseconds = 0;
    std::string outcome;
};

Cost cost_of(const Bomb& bomb) {
    Cost cost;
    reads = 0;
    const qlip_fuzz::Spent outside = qlip_fuzz::spent();
    {
        MemoryHost host(bomb.file);
        host.keep_log = false;
        const qlip_fuzz::Spent before = qlip_fuzz::spent();
        const clock_t began = std::clock();
        cost.outcome = bomb.handle(host);
        cost.milliseconds = (std::clock() - began) / (CLOCKS_PER_SEC / 1000);
        const qlip_fuzz::Spent after = qlip_fuzz::spent();
        cost.calls = host.calls;
        cost.memory = after.bytes + after.claimed - before.bytes - before.claimed;
        cost.lines = after.lines - before.lines;
    }
    cost.kept = qlip_fuzz::spent().kept - outside.kept;
    return cost;
}

bool measure(const Bomb& bomb) {
    cost_of(bomb);  // what a process keeps for good is not the file's
    const Cost cost = cost_of(bomb);
    const size_t size = bomb.file.size();
    const bool within = cost.calls <= qlip_fuzz::most_calls(size) && cost.lines <= bomb.bounds.lines &&
                        cost.memory <= kMemoryOfAnOpenFile + bomb.bounds.memory_of_a_byte * size &&
                        reads <= bomb.bounds.reads && cost.kept == 0 && cost.outcome == bomb.outcome;
    std::fprintf(stderr, "| %s | %zu | %s | %lu | %lu | %lu | %lu | %u | %ld | %s |%s\n", bomb.name, size,
                 bomb.before, cost.calls, cost.memory, cost.kept, cost.lines, reads, cost.milliseconds,
                 cost.outcome.c_str(), within ? "" : " BEYOND ITS BOUNDS");
    return within;
}

}  // namespace

int main(int argc, char** argv) {
    const std::optional<int> chosen = argc > 1 ? std::optional(std::atoi(argv[1])) : std::nullopt;
    qlip_fuzz::watch();
    bool within = true;
    int row = 0;
    for (const Bomb& bomb : bombs()) {
        if (!chosen || *chosen == row) within = measure(bomb) && within;
        ++row;
    }
    return within ? EXIT_SUCCESS : EXIT_FAILURE;
}
