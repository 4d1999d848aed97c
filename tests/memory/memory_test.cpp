// Memory that is not there: each allocation of a life fails in turn, once and for ever. Whatever had been
// taken is given back, the status says what was lacking, and what was delivered before is good.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <new>
#include <vector>

#include "iso/model/arena.h"
#include "qlip/SimpleException.h"
#include "qlip/c3gpinterface.h"
#include "qlip/isoff.h"
#include "qlip/limits.h"
#include "qlip/vorn3gp.h"
#include "tests/iso/write/writer_fixture.h"
#include "tests/support/allocation_count.h"
#include "tests/support/movie_builder.h"
#include "tests/support/samples.h"

// The C library's own keeps memory, for the time zone.
extern "C" void syslog(int /*priority*/, const char* /*format*/, ...) {}
extern "C" void __syslog_chk(int /*priority*/, int /*flag*/, const char* /*format*/, ...) {}

namespace qlip_test {
namespace {

constexpr int kSample = 64000;
unsigned char buffer[QLIP_LARGEST_CHUNK];

// ---- Lives: each leaves nothing behind, and results in a status ----

constexpr unsigned int kNoMemory = QLIP_NO_MEMORY;

unsigned int session(MemoryHost& host, const char* mode) {
    mm_Interface* handle = nullptr;
    const qlip_limits limits = QLIP_LIMITS_INIT;
    const int opened = qlip_OpenLimited(&handle, host.record(), mode, &limits);
    if (opened != QLIP_SUCCESS) return static_cast<unsigned int>(opened);
    for (unsigned int size = 0; qlip_ReadChunk(handle, buffer, &size, true) == QLIP_SUCCESS;) {
    }
    return static_cast<unsigned int>(qlip_Close(&handle));
}

unsigned int second_reader(MemoryHost& host, const char* mode) {
    C3gpInterface reader(65536);
    const unsigned int opened = reader.Open(host.record(), mode);
    for (unsigned int status = 0, calls = 0; status != 1 && calls < (opened == 0 ? 1000U : 3U); ++calls) {
        unsigned int size = 4096;
        status = reader.ReadChunk(buffer, &size, true);
        if (opened == 0 && status > 1) return status;
    }
    return opened;
}

unsigned int engine(MemoryHost& host, const char* /*mode*/) {
    auto* io = host.record();
    char mode[] = "r";
    const qlip_limits limits = QLIP_LIMITS_INIT;
    iso_file* file = isoFFopenLimited(io, mode, nullptr, &limits);
    if (!file) return kNoMemory;
    double time = 0, cto = 0;
    unsigned char *sets = nullptr, *avcc = nullptr;
    int size = 0;
    for (iso_track* track = file->tracks; track; track = track->next) {
        while (isoFFread(track, buffer, kSample, &time, &cto) >= 0) {
        }
        isoFFsetPosition(track, 0);
        iso_track* hint = isoFFrtpHinter(track, 1400);
        while (hint && isoFFrtpPacket(hint, buffer) > 0) {
        }
        if ((size = isoFFGetDSIin3GPP(track, 1, &sets)) < 0) continue;
        if (convertDCI_3gpp_to_ISO(sets, static_cast<unsigned int>(size), &avcc, &size)) std::free(avcc);
        std::free(sets);
    }
    isoFFclose(file);
    return 0;
}

unsigned int box_tree(MemoryHost& host, const char* /*mode*/) {
    Vorn3gp::Simple3gp tree;
    auto* io = host.record();
    try {
        tree.Read(io, static_cast<unsigned int>(host.bytes.size()));
    } catch (const std::bad_alloc&) {
        return kNoMemory;
    }
    return 0;
}

struct Life {
    const char* name;
    unsigned int (*run)(MemoryHost&, const char*);
    std::vector<unsigned int> outcomes;  // that there may be
};

// The engine keeps the boxes that it had room for, and does without memory that only makes it faster: a
// session finds no track, or all that it needs.
const Life kLives[] = {{"session", session, {kNoMemory, QLIP_FAILURE, 0}},
                       {"second reader", second_reader, {kNoMemory}},
                       {"engine", engine, {kNoMemory, 0}},
                       {"box tree", box_tree, {kNoMemory}}};

// ---- The runs ----

struct Outcome {
    unsigned int status;
    bool reached;
    long left;
};

Outcome run(const Life& life, MemoryHost& host, const char* mode, unsigned long failing, bool for_ever) {
    host.position = 0;
    const Counts before = counts();
    fail_allocation(failing, for_ever);
    const unsigned int status = life.run(host, mode);
    fail_allocation(0);
    return {status, failing != 0 && counts().allocations - before.allocations >= failing,
            counts().live - before.live};
}

void fail_each(const Life& life, MemoryHost& host, const char* mode, unsigned long* points) {
    ASSERT_EQ(run(life, host, mode, 0, false).left, 0);
    for (const bool for_ever : {false, true}) {
        for (unsigned long call = 1;; ++call) {
            const Outcome outcome = run(life, host, mode, call, for_ever);
            ASSERT_EQ(outcome.left, 0) << "at allocation " << call << (for_ever ? " and later" : "");
            if (!outcome.reached) break;
            ASSERT_THAT(outcome.status, testing::AnyOfArray(life.outcomes)) << "at allocation " << call;
            ++*points;
        }
    }
}

// The smallest films with each kind of media and hints.
Bytes small_film(bool video) {
    const auto packet = [&](unsigned int sample) {
        std::vector<Bytes> parts = {hint_sample_data(video ? 38 : 32, sample, video ? 2 : 0)};
        parts.insert(parts.begin(), hint_immediate(video ? Bytes{4, 0} : Bytes{0xF0}));
        return hint_sample({{.sequence = sample, .marker = true, .constructors = parts}});
    };
    return build_movie({.tracks = {video ? video_track("s263", d263(), {Bytes(40, 1), Bytes(40, 2)})
                                         : speech_track({Bytes(32, 0x3C), Bytes(32, 0x3C)}),
                                   hint_track({packet(1), packet(2)})}});
}

// The harness takes its own memory ahead.
TEST(MemoryTest, ThatIsNotThereIsSaidAndLeavesNothingBehind) {
    if (!counting) GTEST_SKIP() << "the sanitizer owns the heap";
    sx_Debug = 0;
    std::vector<Bytes> films = {small_film(false), small_film(true)};
    for (const std::string& name : sample_names())
        films.push_back(sample(name));
    for (const Life& life : kLives) {
        unsigned long points = 0;
        for (size_t film = 0; film < films.size(); ++film) {
            MemoryHost host(films[film]);
            host.keep_log = false;
            for (const char* mode : {"ra", "rv"}) {
                SCOPED_TRACE(std::string(life.name) + " " + mode + " of film " + std::to_string(film));
                if (life.run(host, mode) != 0) continue;
                ASSERT_NO_FATAL_FAILURE(fail_each(life, host, mode, &points));
            }
        }
        EXPECT_GT(points, 50U) << life.name;
        RecordProperty(std::string("points of ") + life.name, std::to_string(points));  // for the ledger
    }
}

// What a file took ahead runs out at each of a writer's blocks: it holds frames that were taken, and no
// others.
TEST(WriterMemory, ThatIsUsedUpLosesFramesAndNoMore) {
    if (!counting) GTEST_SKIP() << "the sanitizer owns the heap";
    constexpr size_t kFrames = 6;
    constexpr int kChunkLink = 16;
    unsigned char frame[40] = {};
    for (const bool direct : {false, true}) {
        size_t kept = 0;
        for (int left = 0; kept != 2 * kFrames; left += 8) {
            ASSERT_LT(left, 1 << 20);
            Bytes out;
            size_t taken[2] = {};
            const long live = counts().live;
            {
                WriterFixture movie;
                setvbuf(movie.out.stream(), nullptr, _IONBF, 0);
                movie.out.bytes.reserve(1 << 16);
                if (direct) movie.direct(2);
                iso_track* tracks[] = {movie.add_amr(), movie.add_h263()};
                getChunk(movie.file, left + kChunkLink);
                fail_allocation(1, true);
                for (size_t i = 0; i < 2 * kFrames; ++i) {
                    const int size = 13 + static_cast<int>(i);
                    taken[i % 2] += isoFFwrite(tracks[i % 2], frame, size, 1 + size % 3, size % 4) == size;
                }
                movie.close();
                fail_allocation(0);
                out.swap(movie.out.bytes);
            }
            EXPECT_EQ(counts().live, live + !out.empty()) << "what is left is the file";
            kept = 0;
            for (int track = 0; track < 2; ++track) {
                const size_t found = read_back(out, track + 1).size();
                EXPECT_LE(found, taken[track]) << left;
                kept += found;
            }
        }
    }
}

}  // namespace
}  // namespace qlip_test
