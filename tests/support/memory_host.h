// A host over bytes in memory: a complete callback record with a log of its calls, and knobs to make any call
// fail, to deliver short, and to let the file arrive little by little.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "qlip/qlip.h"

namespace qlip_test {

using Bytes = std::vector<unsigned char>;

enum class Slot {
    GetOffset,
    Seek,
    SeekNRead,
    SeekNWrite,
    Tell,
    IsEOF,
    IndexRead,
    AdvanceRead,
    ConvertStatus
};

const char* name_of(Slot slot);

class MemoryHost {
  public:
    struct Call {
        Slot slot;
        unsigned int
            offset;  // Seek, IndexRead, AdvanceRead: as given; SeekNRead, SeekNWrite: the current position
        unsigned int count;  // bytes asked for, or 0
        unsigned int moved;  // bytes delivered, or 0
        unsigned int status;
        bool operator==(const Call&) const = default;
    };

    // Makes call number `call` (from 1) fail: of `slot`, or of any slot when that is empty; only once, or for
    // ever after.
    struct Fault {
        std::optional<Slot> slot;
        unsigned long call = 0;
        bool for_ever = false;
        unsigned int status = 5;
        bool thrown = false;
    };

    enum class EofStyle { AtEnd, AfterShortRead };

    explicit MemoryHost(Bytes bytes = {});
    MemoryHost(const MemoryHost&) = delete;
    MemoryHost& operator=(const MemoryHost&) = delete;

    // The record to hand to the library; lives as long as the host.
    _TAG_QLIP_IOSTREAM_CALLBACK_INTERFACE* record() { return &record_; }

    Bytes bytes;
    unsigned int position = 0;

    // Knobs.
    std::optional<Fault> fault;
    std::optional<unsigned int> arrived;        // bytes there so far; reads beyond fail with not_yet_status
    unsigned int not_yet_status = 5;            // also what ConvertStatus makes of it
    std::optional<unsigned int> most_per_read;  // reads deliver no more than this
    EofStyle eof_style = EofStyle::AtEnd;
    bool keep_log = true;

    // What happened.
    std::vector<Call> log;
    unsigned long calls = 0;

    unsigned long count(Slot slot) const;
    void clear_log();

  private:
    friend struct MemoryHostSlots;
    bool fails(Slot slot, unsigned int* status);
    unsigned int finish(Slot slot, unsigned int offset, unsigned int count, unsigned int moved,
                        unsigned int status);
    unsigned int deliver(unsigned char* data, unsigned int offset, unsigned int wanted, unsigned int* moved);

    _TAG_QLIP_IOSTREAM_CALLBACK_INTERFACE record_;
    unsigned long slot_calls_[9] = {};
    bool came_back_short_ = false;
};

}  // namespace qlip_test
