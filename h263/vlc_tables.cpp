#include "h263/vlc_tables.h"

#include <iterator>

using namespace qlip;

using namespace vlc;

static_assert(std::size(kMcbpcP) == 25 && within_width(kMcbpcP, 13) && prefix_free(kMcbpcP));
static_assert(std::size(kMcbpcI) == 9 && within_width(kMcbpcI, 9) && prefix_free(kMcbpcI));
static_assert(std::size(kCbpy) == 16 && within_width(kCbpy, 6) && prefix_free(kCbpy));
static_assert(std::size(kMvd) == 64 && within_width(kMvd, 13) && prefix_free(kMvd));
static_assert(std::size(kTcoef) == 103 && within_width(kTcoef, 13) && prefix_free(kTcoef));
static_assert(sizeof(tbq_xvlc_entry) == 2);

constexpr tbq_xvlc_table<13> tbq_xvlc_mcbpc_p = make_sparse<13>(kMcbpcP);
constexpr tbq_xvlc_table<9> tbq_xvlc_mcbpc_i = make_sparse<9>(kMcbpcI);
constexpr tbq_xvlc_table<6> tbq_xvlc_cbpy = make_sparse<6>(kCbpy);
constexpr tbq_xvlc_table<13> tbq_xvlc_mvd = make_sparse<13>(kMvd);
constexpr tbq_xvlc_table<13> tbq_xvlc_tcoef = make_sparse<13>(kTcoef);

namespace qlip::vlc {

constexpr tbq_xvlc_table<13> filled_mcbpc_p = make_filled<13>(kMcbpcP);
constexpr tbq_xvlc_table<9> filled_mcbpc_i = make_filled<9>(kMcbpcI);
constexpr tbq_xvlc_table<6> filled_cbpy = make_filled<6>(kCbpy);
constexpr tbq_xvlc_table<13> filled_mvd = make_filled<13>(kMvd);
constexpr tbq_xvlc_table<13> filled_tcoef = make_filled<13>(kTcoef);

}  // namespace qlip::vlc
