#include "second_reader/open_tree.h"

#include <utility>

#include "boxes/ownership.h"

namespace qlip {

namespace {

constexpr unsigned int kMostDeadEnds = 64;
constexpr uint64_t kRepeatsPerByte = 4;
constexpr uint64_t kFreeRepeats = 1024 * 1024;  // bytes

}  // namespace

void OpenTree::release_boxes() {
    Simple3gp gone;
    std::swap(gone.ftyp, ftyp);
    std::swap(gone.ftyp_owned, ftyp_owned);
    std::swap(gone.moov, moov);
    std::swap(gone.moov_owned, moov_owned);
    gone.mdats.swap(mdats);
    gone.mdats_owned.swap(mdats_owned);
    gone.optional_boxes.swap(optional_boxes);
    gone.optional_owned.swap(optional_owned);
    delete_replaced_of(this);
}

void OpenTree::note_hint_sample(unsigned int end, unsigned int bytes, bool built) {
    if (built) repeated_ = 0;
    if (end > furthest_) {
        furthest_ = end;
        forward_ += bytes;
    } else if (!built) {
        repeated_ += bytes;
    }
}

bool OpenTree::leads_nowhere() const {
    return dead_ends_ >= kMostDeadEnds || repeated_ > kRepeatsPerByte * forward_ + kFreeRepeats;
}

void OpenTree::start_again() {
    dead_ends_ = 0;
    repeated_ = 0;
}

}  // namespace qlip
