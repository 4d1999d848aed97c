#include "tests/support/memory_host.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace qlip_test {

const char* name_of(Slot slot) {
    constexpr const char* kNames[] = {"GetOffset", "Seek",      "SeekNRead",   "SeekNWrite",   "Tell",
                                      "IsEOF",     "IndexRead", "AdvanceRead", "ConvertStatus"};
    return kNames[static_cast<int>(slot)];
}

// The record's functions; each is one logged call.
struct MemoryHostSlots {
    static MemoryHost& host(void* context) { return *static_cast<MemoryHost*>(context); }

    static unsigned int GetOffset(void* context, unsigned int* offset) {
        MemoryHost& self = host(context);
        unsigned int status = 0;
        if (!self.fails(Slot::GetOffset, &status)) *offset = self.position;
        return self.finish(Slot::GetOffset, self.position, 0, 0, status);
    }

    static unsigned int Seek(void* context, unsigned int offset) {
        MemoryHost& self = host(context);
        unsigned int status = 0;
        if (!self.fails(Slot::Seek, &status)) {
            self.position = offset;
            self.came_back_short_ = false;
        }
        return self.finish(Slot::Seek, offset, 0, 0, status);
    }

    static unsigned int SeekNRead(void* context, unsigned char* data, unsigned int* count,
                                  unsigned int position) {
        MemoryHost& self = host(context);
        unsigned int status = 0;
        const unsigned int wanted = *count;
        unsigned int moved = 0;
        const unsigned int from = position == 0xFFFFFFFF ? self.position : position;
        if (!self.fails(Slot::SeekNRead, &status)) {
            status = self.deliver(data, from, wanted, &moved);
            self.position = from + moved;
            self.came_back_short_ = moved < wanted;
        }
        *count = moved;
        return self.finish(Slot::SeekNRead, from, wanted, moved, status);
    }

    static unsigned int SeekNWrite(void* context, unsigned char* data, unsigned int count,
                                   unsigned int position) {
        MemoryHost& self = host(context);
        unsigned int status = 0;
        const unsigned int to = position == 0xFFFFFFFF ? self.position : position;
        if (!self.fails(Slot::SeekNWrite, &status)) {
            if (self.bytes.size() < size_t{to} + count) self.bytes.resize(size_t{to} + count);
            if (count > 0) std::memcpy(self.bytes.data() + to, data, count);
            self.position = to + count;
        }
        return self.finish(Slot::SeekNWrite, to, count, status == 0 ? count : 0, status);
    }

    static unsigned int Tell(void* context, unsigned int* size) {
        MemoryHost& self = host(context);
        unsigned int status = 0;
        if (!self.fails(Slot::Tell, &status)) {
            self.position = *size = static_cast<unsigned int>(self.bytes.size());
        }
        return self.finish(Slot::Tell, 0, 0, 0, status);
    }

    static unsigned int IsEOF(void* context) {
        MemoryHost& self = host(context);
        unsigned int status = 0;
        self.fails(Slot::IsEOF, &status);
        const bool at_end = self.position >= self.bytes.size();
        const bool eof = self.eof_style == MemoryHost::EofStyle::AtEnd ? at_end : self.came_back_short_;
        return self.finish(Slot::IsEOF, self.position, 0, 0, eof ? 1 : 0);
    }

    static unsigned int IndexRead(void* context, unsigned char* data, unsigned int offset, unsigned int count,
                                  unsigned int* read) {
        MemoryHost& self = host(context);
        unsigned int status = 0;
        unsigned int moved = 0;
        if (!self.fails(Slot::IndexRead, &status)) status = self.deliver(data, offset, count, &moved);
        *read = moved;
        return self.finish(Slot::IndexRead, offset, count, moved, status);
    }

    static unsigned int AdvanceRead(void* context, unsigned int offset) {
        MemoryHost& self = host(context);
        unsigned int status = 0;
        self.fails(Slot::AdvanceRead, &status);
        return self.finish(Slot::AdvanceRead, offset, 0, 0, status);
    }

    // Takes no context; the host's statuses mean what they say.
    static unsigned int ConvertStatus(unsigned int* result, unsigned int status) {
        *result = status;
        return 0;
    }
};

MemoryHost::MemoryHost(Bytes content) : bytes(std::move(content)) {
    record_ = {this,
               MemoryHostSlots::GetOffset,
               MemoryHostSlots::Seek,
               MemoryHostSlots::SeekNRead,
               MemoryHostSlots::SeekNWrite,
               MemoryHostSlots::Tell,
               MemoryHostSlots::IsEOF,
               MemoryHostSlots::IndexRead,
               MemoryHostSlots::AdvanceRead,
               MemoryHostSlots::ConvertStatus};
}

bool MemoryHost::fails(Slot slot, unsigned int* status) {
    ++calls;
    const unsigned long of_slot = ++slot_calls_[static_cast<int>(slot)];
    if (!fault || (fault->slot && *fault->slot != slot)) return false;
    const unsigned long number = fault->slot ? of_slot : calls;
    const bool hit = fault->for_ever ? number >= fault->call : number == fault->call;
    if (hit && fault->thrown) throw fault->status;
    if (hit) *status = fault->status;
    return hit;
}

unsigned int MemoryHost::finish(Slot slot, unsigned int offset, unsigned int count_asked, unsigned int moved,
                                unsigned int status) {
    if (keep_log) log.push_back({slot, offset, count_asked, moved, status});
    return status;
}

unsigned int MemoryHost::deliver(unsigned char* data, unsigned int offset, unsigned int wanted,
                                 unsigned int* moved) {
    const uint64_t there = std::min<uint64_t>(arrived.value_or(0xFFFFFFFF), bytes.size());
    const bool still_arriving = there < bytes.size();
    if (still_arriving && uint64_t{offset} + wanted > there) return not_yet_status;
    const uint64_t left = offset < there ? there - offset : 0;
    uint64_t size = std::min<uint64_t>(wanted, left);
    if (most_per_read) size = std::min<uint64_t>(size, *most_per_read);
    if (size > 0) std::memcpy(data, bytes.data() + offset, size);
    *moved = static_cast<unsigned int>(size);
    return 0;
}

unsigned long MemoryHost::count(Slot slot) const {
    return static_cast<unsigned long>(
        std::count_if(log.begin(), log.end(), [slot](const Call& call) { return call.slot == slot; }));
}

void MemoryHost::clear_log() {
    log.clear();
    calls = 0;
    std::fill(std::begin(slot_calls_), std::end(slot_calls_), 0UL);
}

}  // namespace qlip_test
