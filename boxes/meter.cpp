#include "boxes/meter.h"

#include <algorithm>

namespace qlip {

namespace {

// A box of 8 bytes costs a sound file some 14 calls, twice its bytes, and up to 200 bytes of memory.
constexpr uint64_t kCallsPerByte = 8;
constexpr uint64_t kReadsPerByte = 4;
constexpr uint64_t kMemoryPerByte = 32;
constexpr uint64_t kFreeCalls = 8192;
constexpr uint64_t kFreeBytes = 64 * 1024;

constexpr size_t kBookkeeping = 32;  // of the heap and of the parent's sequences, for an object

void require(uint64_t spent, uint64_t per_byte, uint64_t delivered, uint64_t free) {
    if (spent > per_byte * delivered + free) throw OverBudget();
}

}  // namespace

struct MeterSlots {
    static Meter& meter(void* context) { return *static_cast<Meter*>(context); }

    static unsigned int get_offset(void* context, unsigned int* offset) {
        Meter& at = meter(context);
        at.count_call();
        const unsigned int status = at.host_->GetOffset(at.host_->pUserContext, offset);
        at.position_ = *offset;
        return status;
    }

    static unsigned int seek(void* context, unsigned int offset) {
        Meter& at = meter(context);
        at.count_call();
        at.position_ = offset;
        return at.host_->Seek(at.host_->pUserContext, offset);
    }

    static unsigned int seek_n_read(void* context, unsigned char* data, unsigned int* count,
                                    unsigned int position) {
        Meter& at = meter(context);
        at.count_call();
        const unsigned int wanted = *count;
        const unsigned int status = at.host_->SeekNRead(at.host_->pUserContext, data, count, position);
        at.count_read(std::min(*count, wanted));
        return status;
    }

    static unsigned int seek_n_write(void* context, unsigned char* data, unsigned int count,
                                     unsigned int position) {
        Meter& at = meter(context);
        return at.host_->SeekNWrite(at.host_->pUserContext, data, count, position);
    }

    static unsigned int tell(void* context, unsigned int* size) {
        Meter& at = meter(context);
        at.count_call();
        return at.host_->Tell(at.host_->pUserContext, size);
    }

    // Throws nothing: a call of another slot always follows.
    static unsigned int is_eof(void* context) {
        Meter& at = meter(context);
        ++at.calls_;
        return at.host_->IsEOF(at.host_->pUserContext);
    }

    static unsigned int index_read(void* context, unsigned char* data, unsigned int offset,
                                   unsigned int count, unsigned int* read) {
        Meter& at = meter(context);
        return at.host_->IndexRead(at.host_->pUserContext, data, offset, count, read);
    }

    static unsigned int advance_read(void* context, unsigned int offset) {
        Meter& at = meter(context);
        return at.host_->AdvanceRead(at.host_->pUserContext, offset);
    }
};

Meter::Meter(HostIo* host)
    : HostIo{this,
             MeterSlots::get_offset,
             MeterSlots::seek,
             MeterSlots::seek_n_read,
             MeterSlots::seek_n_write,
             MeterSlots::tell,
             MeterSlots::is_eof,
             MeterSlots::index_read,
             MeterSlots::advance_read,
             host->ConvertStatus},
      host_(host),
      limits_(LimitedCallbacks::of(host)) {}

Meter* Meter::of(Vorn3gp::Stream stream) {
    return stream->SeekNRead == MeterSlots::seek_n_read ? static_cast<Meter*>(stream) : nullptr;
}

void Meter::take_memory(uint64_t bytes) {
    memory_ += bytes;
    require(memory_, kMemoryPerByte, delivered_, kFreeBytes);
    if (limits_ && !limits_->take_memory(bytes)) throw OverBudget();
}

bool Meter::may_reserve(uint64_t bytes, uint64_t file_size) {
    if (bytes > file_size || reserved_ > file_size - bytes) return false;
    reserved_ += bytes;
    return true;
}

void Meter::count_call() {
    ++calls_;
    require(calls_, kCallsPerByte, delivered_, kFreeCalls);
}

void Meter::count_read(uint64_t bytes) {
    const uint64_t end = position_ + bytes;
    if (end > furthest_) {
        delivered_ += end - std::max(furthest_, position_);
        furthest_ = end;
    }
    position_ = end;
    read_ += bytes;
    require(read_, kReadsPerByte, delivered_, kFreeBytes);
}

LimitedCallbacks* limits_of(Vorn3gp::Stream stream) {
    const Meter* meter = Meter::of(stream);
    return meter ? meter->limits() : LimitedCallbacks::of(stream);
}

void take_box(Vorn3gp::Stream stream, size_t bytes) {
    Meter* meter = Meter::of(stream);
    if (!meter) return;
    if (meter->limits() && !meter->limits()->take_box()) throw OverBudget();
    meter->take_memory(bytes + kBookkeeping);
}

}  // namespace qlip
