// A source behind the callback record that the engine reads through: one per stream, with a position of its
// own.
#pragma once

#include <cstdint>

#include "kit/structure.h"

namespace qlip::kit {

class EngineIo {
  public:
    explicit EngineIo(Source& source);
    EngineIo(const EngineIo&) = delete;
    EngineIo& operator=(const EngineIo&) = delete;

    _TAG_QLIP_IOSTREAM_CALLBACK_INTERFACE*& record() { return record_pointer_; }

    // Where structure is read: from the start of moov to its end. Behind it the file ends, as far as the
    // parse goes; indexed reads, which are for media data, see all of it.
    void stand_before(const Structure& structure);

    // What the last refused read came to: 17, 4 or 16. While structure is read, what a short file holds is
    // enough; an indexed read is refused unless it is served whole.
    int refusal() const { return refusal_; }
    void forget_refusal() { refusal_ = QLIP_SUCCESS; }
    uint64_t needed() const { return needed_; }  // how long the file must be for that read
    unsigned int refuse(int status, uint64_t needed);

  private:
    friend struct EngineSlots;

    int64_t read(void* to, uint32_t size, uint64_t offset);

    Source& source_;
    uint32_t position_ = 0;
    uint32_t structure_end_ = 0;
    int refusal_ = QLIP_SUCCESS;
    uint64_t needed_ = 0;
    _TAG_QLIP_IOSTREAM_CALLBACK_INTERFACE record_;
    _TAG_QLIP_IOSTREAM_CALLBACK_INTERFACE* record_pointer_ = &record_;
};

}  // namespace qlip::kit
