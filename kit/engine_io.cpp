#include "kit/engine_io.h"

#include <algorithm>

namespace qlip::kit {

struct EngineSlots {
    static EngineIo& io(void* context) { return *static_cast<EngineIo*>(context); }

    static unsigned int GetOffset(void* context, unsigned int* offset) {
        *offset = io(context).position_;
        return QLIP_SUCCESS;
    }

    static unsigned int Seek(void* context, unsigned int offset) {
        io(context).position_ = offset;
        return QLIP_SUCCESS;
    }

    static unsigned int SeekNRead(void* context, unsigned char* data, unsigned int* count, unsigned int) {
        EngineIo& from = io(context);
        const uint32_t left = from.structure_end_ - std::min(from.position_, from.structure_end_);
        const int64_t got = from.read(data, std::min(*count, left), from.position_);
        *count = 0;
        if (got < 0) return QLIP_FAILURE;
        *count = static_cast<unsigned int>(got);
        from.position_ += *count;
        return QLIP_SUCCESS;
    }

    static unsigned int SeekNWrite(void*, unsigned char*, unsigned int, unsigned int) { return QLIP_FAILURE; }

    static unsigned int Tell(void* context, unsigned int* size) {
        *size = static_cast<unsigned int>(std::min(io(context).source_.size(), kMostBytes));
        return QLIP_SUCCESS;
    }

    static unsigned int IsEOF(void* context) {
        return io(context).position_ >= io(context).source_.size() ? 1 : 0;
    }

    static unsigned int IndexRead(void* context, unsigned char* data, unsigned int offset, unsigned int count,
                                  unsigned int* read) {
        EngineIo& from = io(context);
        *read = 0;
        const int64_t got = from.read(data, count, offset);
        if (got < 0) return QLIP_FAILURE;
        *read = static_cast<unsigned int>(got);
        if (*read == count) return QLIP_SUCCESS;
        const bool more_may_come = from.source_.growing();
        return from.refuse(more_may_come ? QLIP_NOT_AVAILABLE_YET : QLIP_CORRUPT_FILE,
                           uint64_t{offset} + count);
    }

    static unsigned int AdvanceRead(void*, unsigned int) { return QLIP_SUCCESS; }

    static unsigned int ConvertStatus(unsigned int* result, unsigned int status) {
        *result = status;
        return QLIP_SUCCESS;
    }
};

EngineIo::EngineIo(Source& source)
    : source_(source),
      record_{this,
              EngineSlots::GetOffset,
              EngineSlots::Seek,
              EngineSlots::SeekNRead,
              EngineSlots::SeekNWrite,
              EngineSlots::Tell,
              EngineSlots::IsEOF,
              EngineSlots::IndexRead,
              EngineSlots::AdvanceRead,
              EngineSlots::ConvertStatus} {}

void EngineIo::stand_before(const Structure& structure) {
    position_ = static_cast<uint32_t>(structure.offset);
    structure_end_ = static_cast<uint32_t>(structure.offset + structure.size);
    forget_refusal();
}

int64_t EngineIo::read(void* to, uint32_t size, uint64_t offset) {
    const int64_t got = source_.read_at(to, size, offset);
    if (got == QLIP_READ_WAIT) refuse(QLIP_NOT_AVAILABLE_YET, offset + size);
    if (got == QLIP_READ_FAILED) refuse(QLIP_IO_CALLBACK_FAILED, offset + size);
    return got;
}

unsigned int EngineIo::refuse(int status, uint64_t needed) {
    refusal_ = status;
    needed_ = needed;
    return static_cast<unsigned int>(status);
}

}  // namespace qlip::kit
