// What the reader keeps for a file from Open to Close, besides its members: the root of the tree, which is
// empty once the file is open, the bounds of its log, and whether its hint track still leads anywhere.
#pragma once

#include <cstdint>

#include "qlip/vorn3gp/file.h"
#include "second_reader/producers/fault_log.h"

namespace qlip {

class OpenTree : public Vorn3gp::Simple3gp {
  public:
    // Deletes the tree below the root.
    void release_boxes();

    // A call that failed at a place of the hint track which nothing leads away from.
    void note_dead_end() { ++dead_ends_; }

    // A read by position brought so many bytes.
    void note_arrival(unsigned int bytes) { arrived_ = bytes; }
    unsigned int arrived() const { return arrived_; }

    // A hint sample of so many bytes was read, up to an offset. Those that could not be followed to their
    // end, and lie where others were read before or behind the end of the file, cost the same again and
    // again.
    void note_hint_sample(unsigned int end, unsigned int bytes, bool there, bool sound) {
        if (sound) repeated_ = 0;
        if (there && end > furthest_) {
            furthest_ = end;
            forward_ += bytes;
        } else if (!sound) {
            repeated_ += kCostOfARead + bytes;
        }
    }

    // Whether it is time to end the track.
    bool leads_nowhere() const {
        return dead_ends_ >= kMostDeadEnds || repeated_ > kRepeatsPerByte * forward_ + kFreeRepeats;
    }

    // After a seek.
    void start_again();

    FaultLog faults;
    double media_bytes = 0;  // of all samples; asked for when their table of sizes is used up

  private:
    static constexpr unsigned int kMostDeadEnds = 64;
    static constexpr uint64_t kRepeatsPerByte = 4;
    static constexpr uint64_t kFreeRepeats = 1024 * 1024;  // bytes
    static constexpr uint64_t kCostOfARead = 128;          // in bytes

    unsigned int dead_ends_ = 0;
    unsigned int arrived_ = 0;
    unsigned int furthest_ = 0;
    uint64_t forward_ = 0;   // bytes of hint samples, each once
    uint64_t repeated_ = 0;  // bytes since the last frame that were not
};

// Null for an object that was never opened.
inline OpenTree* open_file(Vorn3gp::Simple3gp* root) {
    return static_cast<OpenTree*>(root);
}

inline FaultLog* faults_of(Vorn3gp::Simple3gp* root) {
    return root ? &open_file(root)->faults : nullptr;
}

}  // namespace qlip
