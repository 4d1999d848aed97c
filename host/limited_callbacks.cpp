#include "host/limited_callbacks.h"

#include <algorithm>
#include <cstring>
#include <initializer_list>

#include "common/log.h"

namespace qlip {

namespace {

constexpr const char* kPath = "interface/src/libqlip";
constexpr size_t kLargestRecord = 4096;  // of any age to come

}  // namespace

struct LimitedSlots {
    // Counts a step, and calls the host's function outside the book of this call.
    template <typename Function, typename... Values>
    static unsigned int forward(void* context, Function HostIo::*slot, Values... values) {
        auto* limited = static_cast<LimitedCallbacks*>(context);
        limited->take_step();
        const LineScope outside(nullptr);
        return (limited->host_->*slot)(limited->host_->pUserContext, values...);
    }

    static unsigned int get_offset(void* context, unsigned int* offset) {
        return forward(context, &HostIo::GetOffset, offset);
    }
    static unsigned int seek(void* context, unsigned int offset) {
        return forward(context, &HostIo::Seek, offset);
    }
    static unsigned int seek_n_read(void* context, unsigned char* data, unsigned int* count,
                                    unsigned int position) {
        return forward(context, &HostIo::SeekNRead, data, count, position);
    }
    static unsigned int seek_n_write(void* context, unsigned char* data, unsigned int count,
                                     unsigned int position) {
        return forward(context, &HostIo::SeekNWrite, data, count, position);
    }
    static unsigned int tell(void* context, unsigned int* size) {
        return forward(context, &HostIo::Tell, size);
    }
    // Never throws, for callers that do not count on it; a call of another slot always follows.
    static unsigned int is_eof(void* context) {
        auto* limited = static_cast<LimitedCallbacks*>(context);
        ++limited->steps_;
        const LineScope outside(nullptr);
        return limited->host_->IsEOF(limited->host_->pUserContext);
    }
    static unsigned int index_read(void* context, unsigned char* data, unsigned int offset,
                                   unsigned int count, unsigned int* read) {
        return forward(context, &HostIo::IndexRead, data, offset, count, read);
    }
    static unsigned int advance_read(void* context, unsigned int offset) {
        return forward(context, &HostIo::AdvanceRead, offset);
    }
};

bool take_limits(const qlip_limits* given, qlip_limits* limits) {
    if (!given || given->record_size <= sizeof given->record_size || given->record_size > kLargestRecord)
        return false;
    *limits = QLIP_LIMITS_INIT;
    std::memcpy(limits, given, std::min(given->record_size, sizeof *limits));
    return true;
}

// ConvertStatus takes no context, so it stays the host's own.
LimitedCallbacks::LimitedCallbacks(HostIo* host, const qlip_limits& limits)
    : HostIo{this,
             LimitedSlots::get_offset,
             LimitedSlots::seek,
             LimitedSlots::seek_n_read,
             LimitedSlots::seek_n_write,
             LimitedSlots::tell,
             LimitedSlots::is_eof,
             LimitedSlots::index_read,
             LimitedSlots::advance_read,
             host->ConvertStatus},
      host_(host),
      limits_(limits),
      lines_(limits) {
    for (uint64_t* limit : {&limits_.boxes, &limits_.memory, &limits_.samples, &limits_.steps}) {
        if (*limit == 0) *limit = kNone;
    }
}

constinit const decltype(HostIo::GetOffset) LimitedCallbacks::kMark = LimitedSlots::get_offset;

bool LimitedCallbacks::take_box() {
    return keeps(++boxes_, limits_.boxes, "boxes");
}

bool LimitedCallbacks::take_memory(uint64_t bytes) {
    memory_ += bytes;
    return keeps(memory_, limits_.memory, "bytes of memory");
}

bool LimitedCallbacks::take_samples(uint64_t count) {
    return keeps(count, limits_.samples, "samples in a track");
}

void LimitedCallbacks::take_step() {
    if (!keeps(++steps_, limits_.steps, "steps in one call")) throw OverBudget();
}

bool LimitedCallbacks::keeps(uint64_t count, uint64_t limit, const char* what) {
    if (count <= limit) return true;
    was_passed_ = true;
    QLIP_LOG_ERROR(kPath, "The file passes a limit: it takes more than %llu %s",
                   static_cast<unsigned long long>(limit), what);
    return false;
}

LimitedCall::LimitedCall(LimitedCallbacks* limited)
    : begun_(limited && !limited->in_call_ ? limited : nullptr),
      lines_(limited ? &limited->lines_ : LineBook::current()) {
    if (!begun_) return;
    begun_->in_call_ = true;
    begun_->steps_ = 0;
}

LimitedCall::~LimitedCall() {
    if (begun_) begun_->in_call_ = false;
}

}  // namespace qlip

using namespace qlip;

HostIo* qlip_LimitCallbacks(HostIo* callbacks, const qlip_limits* limits) {
    qlip_limits taken;
    if (!complete(callbacks) || !take_limits(limits, &taken)) return nullptr;
    return new (std::nothrow) LimitedCallbacks(callbacks, taken);
}

void qlip_FreeLimitedCallbacks(HostIo* limited) {
    delete LimitedCallbacks::of(limited);
}
