// The H.263 walker over any bytes, state and position: every operation ends within the data or where it
// began, and a search for start codes finds what it says.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "fuzz/cost.h"
#include "fuzz/require.h"
#include "qlip/h263_isoff.h"

namespace {

using qlip_fuzz::require;

using Operation = void (*)(tbq_state_t*, unsigned char*, unsigned long, const tbq_pos_t*, tbq_pos_t*, int*);

constexpr Operation kOperations[] = {
    tbq_picture_header_parse, tbq_plusptype_parse, tbq_gob_header_parse,  tbq_slice_header_parse,
    tbq_segment_header_parse, tbq_mb_parse,        tbq_block_layer_parse, tbq_mcbpc_p_parse,
    tbq_mcbpc_i_parse,        tbq_cbpy_parse,
};

constexpr size_t kMostPrinted = 256;  // more would only cost time

bool at_or_behind(const tbq_pos_t& one, const tbq_pos_t& other) {
    return one.byte > other.byte || (one.byte == other.byte && one.bit >= other.bit);
}

bool within(const tbq_pos_t& pos, unsigned long size) {
    return pos.bit < 8 && (pos.byte < size || (pos.byte == size && pos.bit == 0));
}

struct Input {
    std::vector<unsigned char> bytes;
    tbq_state_t state{};
    tbq_pos_t pos{};
};

// The first bytes choose modes and place, the rest is the data.
Input input_from(const uint8_t* data, size_t size) {
    Input input;
    unsigned char head[8] = {};
    const size_t taken = std::min(size, sizeof head);
    if (taken != 0) std::memcpy(head, data, taken);
    input.bytes.assign(data + taken, data + size);
    input.bytes.shrink_to_fit();
    tbq_picture_info_t& picture = input.state.picture;
    picture.coding_type = head[0] & 1;
    picture.mq = head[0] >> 1 & 1;
    picture.df = head[0] >> 2 & 1;
    picture.ss = head[0] >> 3 & 1;
    picture.cpm = head[0] >> 4 & 1;
    picture.first_segment = head[0] >> 5 & 1;
    picture.sss = head[1] & 3;
    picture.source_format = head[1] >> 2 & 7;
    if (size < kMostPrinted) {
        input.state.verbose = head[1] >> 5 & 1;
        input.state.trace = head[1] >> 6 & 1;
    }
    input.state.mb.cbpy = head[2] & 15;
    input.state.mb.mb_type = head[2] >> 4 & 7;
    input.pos = {(head[3] & 0x80U) != 0 ? ~0UL - head[4] : head[4], head[5] & 7U};
    return input;
}

void run_each_operation(const Input& input) {
    for (const Operation operation : kOperations) {
        Input run = input;
        tbq_pos_t out = input.pos;
        int err = 0;
        operation(&run.state, run.bytes.data(), run.bytes.size(), &run.pos, &out, &err);
        require(err == 0 ? at_or_behind(out, run.pos) : tbq_pos_eq(&out, &run.pos) == 1);
        require(within(out, run.bytes.size()) || tbq_pos_eq(&out, &run.pos) == 1);
    }
}

void walk_picture(Input input) {
    input.pos = {};
    const auto size = static_cast<int>(input.bytes.size());
    for (tbq_pos_t before{};
         get_start_of_mb(&input.state, input.bytes.data(), size, &input.pos, &input.pos) == 0;
         before = input.pos) {
        require(at_or_behind(input.pos, before) && tbq_pos_eq(&input.pos, &before) == 0);
        require(within(input.pos, input.bytes.size()));
    }
}

void search_boundaries(Input input) {
    const unsigned long size = input.bytes.size();
    int err = 0;
    tbq_pos_t from = input.pos;
    for (tbq_pos_t out; tbq_boundary_next(&input.state, input.bytes.data(), size, &from, &out, &err) != 0;) {
        tbq_pos_t behind;
        require(within(out, size));
        require(tbq_bits_get(input.bytes.data(), size, &out, &behind, 16, &err) == 0);
        require(tbq_bits_get(input.bytes.data(), size, &behind, &from, 1, &err) == 1 && err == 0);
    }
    require(err == 1);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const qlip_fuzz::Cost cost(size, 16, 64);
    const Input input = input_from(data, size);
    run_each_operation(input);
    walk_picture(input);
    search_boundaries(input);
    H263VCFG config{};
    std::vector<unsigned char> bytes = input.bytes;
    const int at = h263_get_config(bytes.data(), static_cast<int>(bytes.size()), &config);
    require(at == -1 || (at >= 0 && static_cast<size_t>(at) + 6 <= bytes.size()));
    return 0;
}
