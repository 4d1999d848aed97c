// Brands, the choice of tracks, and stored packet headers: short calls on short inputs.
#include <algorithm>
#include <cstring>
#include <string>

#include "fuzz/cost.h"
#include "fuzz/drawn_film.h"
#include "fuzz/require.h"
#include "qlip/isoff.h"
#include "qlip/native_stream.h"
#include "qlip/pkq_native.h"

using qlip_fuzz::Draws;
using qlip_fuzz::require;
using qlip_test::Bytes;

namespace {

std::string draw_text(Draws& draws, size_t longest) {
    const Bytes bytes = draws.bytes(draws.byte() % longest);
    return {bytes.begin(), bytes.end()};
}

// A brand that was set is found, and none that is not a part of what was set.
void check_brands(Draws& draws) {
    _TAG_QLIP_IOSTREAM_CALLBACK_INTERFACE* no_input = nullptr;
    char mode[] = "w";
    iso_file* file = isoFFopen(no_input, mode, nullptr);
    std::string brands = draw_text(draws, 40);
    std::string asked = draw_text(draws, 24);
    const bool set = isoFFsetBrand(file, brands.data(), static_cast<int>(draws.word())) == 0;
    const size_t length = std::strlen(brands.c_str());
    require(!set || length % 5 == 4);
    if (set) require(std::strncmp(file->major_brand, brands.c_str(), 4) == 0);
    const int found = isoFFcompatible(file, asked.data());
    require(found == 0 || found == -1);
    std::string major(file->major_brand);
    if (set && major.find(' ') == std::string::npos) require(isoFFcompatible(file, major.data()) == 0);
    isoFFclose(file);
}

// The n-th of a handler is the n-th in the list, and each of the file is one of all.
void check_tracks(Draws& draws) {
    qlip_test::MemoryHost host(build_movie(qlip_fuzz::draw_film(draws)));
    host.keep_log = false;
    auto* io = host.record();
    char mode[] = "r";
    iso_file* file = isoFFopen(io, mode, nullptr);
    int number = 0;
    for (iso_track* track = file->tracks; track; track = track->next) {
        require(isoFFselect(file, nullptr, ++number) == track);
        int same = 0;
        for (iso_track* other = file->tracks; other != track; other = other->next)
            same += std::strcmp(other->handler, track->handler) == 0;
        require(isoFFselect(file, track->handler, same + 1) == track);
        for (const int rfc : {0, 1, 2, 3})
            pkq_buffer_estimate(track, rfc, draws.pair());
    }
    require(!isoFFselect(file, nullptr, number + 1) && !isoFFselect(file, nullptr, 0));
    std::string handler = draw_text(draws, 8);
    iso_track* found = isoFFselect(file, handler.data(), static_cast<int>(draws.byte()) - 8);
    require(!found || std::strcmp(found->handler, handler.c_str()) == 0);
    isoFFclose(file);
}

size_t read_draws(void* to, size_t size, size_t count, void* stream) {
    const Bytes got = static_cast<Draws*>(stream)->bytes(size * count);
    std::copy(got.begin(), got.end(), static_cast<unsigned char*>(to));
    return got.size() / size;
}

// A header for each whole record, and what was read is written back.
void check_headers(Draws& draws, size_t size) {
    mfileio stream{read_draws, &draws};
    PKQ_RTP rtp{};
    rtp.sequence = -2;
    rtp.flags = size < 400 ? PKQ_FLAG_COMPLAIN | PKQ_FLAG_CHECK : 0;
    size_t headers = 0;
    while (pkq_get_header(&stream, &rtp) == 1) {
        require(++headers * sizeof(pkq_packet_record) <= size);
        PKQ_RTP copy = rtp;
        unsigned char record[sizeof(pkq_packet_record) + 4] = {};
        require(pkq_put_header(record, &copy) == sizeof(pkq_packet_record));
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const qlip_fuzz::Cost cost(size + 100000, 1);
    Draws draws(data, size);
    switch (draws.below(3)) {
        case 0:
            check_brands(draws);
            break;
        case 1:
            check_tracks(draws);
            break;
        default:
            check_headers(draws, size);
    }
    return 0;
}
