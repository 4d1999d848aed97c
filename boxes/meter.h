// What reading a tree may cost, whatever the file says.
//
// The outermost read puts a meter between the boxes and the host's record. Calls, bytes read and memory taken
// may each be a small multiple of the bytes that the file has delivered for the first time, and a constant;
// bytes that are read again earn nothing. A sound file stays far below; sizes that lead back, and counts that
// nothing backs, end where memory would have ended without it.
#pragma once

#include <cstdint>

#include "common/line_limit.h"
#include "host/limited_callbacks.h"
#include "qlip/vorn3gp/stream.h"

namespace qlip {

// A record whose calls go to the host's and are counted.
class Meter : public HostIo {
  public:
    explicit Meter(HostIo* host);

    // Null for a stream without one.
    static Meter* of(Vorn3gp::Stream stream);

    HostIo* host() const { return host_; }
    LimitedCallbacks* limits() const { return limits_; }  // the host's record, when it has any

    void take_memory(uint64_t bytes);

    // Whether a table may have its memory at once: all of these together have as much as the file has bytes.
    bool may_reserve(uint64_t bytes, uint64_t file_size);

    LineLimit missing_configurations;  // that are logged

  private:
    friend struct MeterSlots;

    void count_call();
    void count_read(uint64_t bytes);

    HostIo* host_;
    LimitedCallbacks* limits_;
    uint64_t position_ = 0;
    uint64_t furthest_ = 0;
    uint64_t delivered_ = 0;  // bytes of the file, each once
    uint64_t calls_ = 0;
    uint64_t read_ = 0;
    uint64_t memory_ = 0;
    uint64_t reserved_ = 0;
};

// The limits of a stream, with a meter or without; null for one that has none.
LimitedCallbacks* limits_of(Vorn3gp::Stream stream);

// The stream to read from: one with a meter.
class Metered {
  public:
    explicit Metered(Vorn3gp::Stream stream)
        : meter_(stream), stream_(Meter::of(stream) ? stream : &meter_), call_(meter_.limits()) {}
    Metered(const Metered&) = delete;
    Metered& operator=(const Metered&) = delete;

    Vorn3gp::Stream& stream() { return stream_; }

    void take_memory(uint64_t bytes) { Meter::of(stream_)->take_memory(bytes); }

  private:
    Meter meter_;
    Vorn3gp::Stream stream_;
    LimitedCall call_;
};

// Charges a box, an object of so many bytes, to the stream's meter.
void take_box(Vorn3gp::Stream stream, size_t bytes);

}  // namespace qlip
