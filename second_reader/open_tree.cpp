#include "second_reader/open_tree.h"

#include <utility>

#include "boxes/ownership.h"

namespace qlip {

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

void OpenTree::start_again() {
    dead_ends_ = 0;
    repeated_ = 0;
}

}  // namespace qlip
