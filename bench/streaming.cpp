#include "bench/streaming.h"

#include <algorithm>
#include <cstring>
#include <fstream>
#include <string>
#include <utility>

#include "common/byte_order.h"

namespace qlip_bench {

namespace {

constexpr size_t kPeriod = 20;

// Kept until another one is asked for.
const Bytes& movie(const Film& film) {
    static Film made{};
    static Bytes bytes;
    if (bytes.empty() || !(made == film)) {
        bytes = {};
        bytes = make_movie(film.content, film.samples, film.picture);
        made = film;
    }
    return bytes;
}

// Reads a chunk, appends the callbacks that it took, and returns its length.
unsigned int record_chunk(Session& session, std::vector<unsigned char>& chunk,
                          std::vector<BenchHost::Call>& calls) {
    session.host.calls = &calls;
    std::fill(chunk.begin(), chunk.end(), static_cast<unsigned char>(0xEE));
    session.read(chunk.data());
    size_t length = chunk.size();
    while (length > 0 && chunk[length - 1] == 0xEE)
        --length;
    return static_cast<unsigned int>(length);
}

// A frame body holds its packet records behind two words; each says how long it is.
std::vector<unsigned int> pieces_of(const std::vector<unsigned char>& chunk, unsigned int length, bool body) {
    constexpr unsigned int kPrefix = 8;
    std::vector<unsigned int> pieces;
    for (unsigned int at = kPrefix; body && at < length; at += pieces.back())
        pieces.push_back(qlip::load_le32(&chunk[at]));
    if (pieces.empty()) return {length};
    pieces.front() += kPrefix;
    return pieces;
}

bool searches(Content content) {
    return content == Content::H263 || content == Content::Mpeg4 || content == Content::H263Hinted ||
           content == Content::H263HintedBack;
}

// Keeps the compiler from leaving out what nobody reads.
void use(const void* memory) {
    asm volatile("" : : "r"(memory) : "memory");
}

}  // namespace

double touched_memory() {
    std::ifstream map("/proc/self/smaps_rollup");
    std::string word;
    double kilobytes = 0;
    while (map >> word && word != "Anonymous:") {
    }
    map >> kilobytes;
    return kilobytes * 1024;
}

Session::Session(const Film& film) : host(movie(film)) {
    qlip_Open(&handle_, host.record(), is_audio(film.content) ? "ra" : "rv");
}

Session::~Session() {
    qlip_Close(&handle_);
}

bool Session::read(unsigned char* chunk) {
    unsigned int size = 0;
    return qlip_ReadChunk(handle_, chunk, &size, false) == QLIP_SUCCESS;
}

Recording::Recording(const Film& recorded) : film(recorded) {
    Session session(film);
    std::vector<unsigned char> chunk(QLIP_LARGEST_CHUNK);
    const int header = is_audio(film.content) ? 4 : 5;
    for (int i = 0; i < header; ++i)
        session.read(chunk.data());
    std::vector<BenchHost::Call> now, later;
    for (size_t i = 0; i < kPeriod; ++i) {
        const size_t before = now.size();
        const unsigned int length = record_chunk(session, chunk, now);
        const bool body = !is_audio(film.content) && now.size() == before;
        chunks.push_back({pieces_of(chunk, length, body), now.size() - before});
    }
    for (size_t i = 0; i < kPeriod; ++i)
        record_chunk(session, chunk, later);
    for (size_t i = 0; i < now.size(); ++i)
        calls.push_back({now[i], later[i].offset - now[i].offset});
    const size_t frames = film.content == Content::AmrTenFrames ? 10 : 1;
    periods = film.samples * frames * 2 / kPeriod - 1;
}

int64_t stream_library(Session& session, unsigned char* chunk) {
    int64_t chunks = 0;
    while (session.read(chunk))
        ++chunks;
    return chunks;
}

int64_t stream_floor(const Recording& recording, BenchHost& host) {
    static std::vector<unsigned char> first(QLIP_LARGEST_CHUNK);
    static std::vector<unsigned char> second(QLIP_LARGEST_CHUNK);
    static std::vector<unsigned char> chunk(QLIP_LARGEST_CHUNK);
    const bool search = searches(recording.film.content);
    std::vector<Recording::Call> calls = recording.calls;
    for (size_t period = 0; period < recording.periods; ++period) {
        Recording::Call* call = calls.data();
        for (const auto& [pieces, count] : recording.chunks) {
            for (const Recording::Call* end = call + count; call != end; ++call) {
                host.play(call->first, first.data());
                call->first.offset += call->advance;
            }
            if (search && count > 0) use(memchr(first.data(), 0xEF, recording.film.picture));
            size_t at = 0;
            for (const unsigned int piece : pieces) {
                std::memcpy(second.data() + at, first.data() + at, piece);
                use(second.data());
                std::memcpy(chunk.data() + at, second.data() + at, piece);
                use(chunk.data());
                at += piece;
            }
        }
    }
    return static_cast<int64_t>(recording.periods * recording.chunks.size());
}

}  // namespace qlip_bench
