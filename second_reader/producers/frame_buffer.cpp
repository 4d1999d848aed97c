#include "second_reader/producers/frame_buffer.h"

#include <new>

#include "common/log.h"
#include "second_reader/producers/control_signals.h"
#include "second_reader/producers/fault_log.h"
#include "second_reader/producers/reader_view.h"

namespace qlip {

namespace {

void allocate(PropFile& file, unsigned int bytes, const ProducerTexts& texts) {
    file.FreeBuffers();
    QLIP_LOG_DEBUG(texts.path, "Allocating %d bytes for %s frame", bytes, texts.kind);
    file.m_pBuffer = new (std::nothrow) unsigned char[bytes]();
    if (!file.m_pBuffer) {
        throw SimpleException(texts.path, __LINE__, "Unable to allocate %d bytes for %s frame", bytes,
                              texts.capitalised);
    }
}

// Logs the exception in hand and lets it go on as a SimpleException.
[[noreturn]] void pass_on(const char* path) {
    try {
        throw;
    } catch (const SimpleException& failure) {
        if (sx_Debug > 3) failure.Log(kDebugPrefix);
        throw;
    } catch (...) {
        throw SimpleException(path, __LINE__, kUnhandledException);
    }
}

}  // namespace

void allocate_frame_buffer(PropFile& file, unsigned int bytes, const ProducerTexts& texts) {
    try {
        allocate(file, bytes, texts);
    } catch (...) {
        file.FreeBuffers();
        pass_on(texts.path);
    }
}

void refuse_room(const PropFile& file, unsigned int usable) {
    QLIP_LOG_FAULT(ReaderView::faults(file), Fault::FrameRoom, kBasePath,
                   "Frame does not fit its buffer of %d bytes", usable);
    throw kBadHintContent;
}

void refuse_offset(const PropFile& file, unsigned int bytes) {
    throw SimpleException(kBasePath, __LINE__, "Invalid offset - %d bytes requested, %d available", bytes,
                          waiting_bytes(file));
}

void log_rethrowing(const PropFile& file, const ProducerTexts& texts) {
    QLIP_LOG_FAULT(ReaderView::faults(file), Fault::Rethrown, texts.path, "%s", texts.rethrowing);
}

void settle_frame_failure(PropFile& file, const ProducerTexts& texts) {
    try {
        throw;
    } catch (unsigned int signal) {
        if (signal != kMediaNotAvailable) {
            log_rethrowing(file, texts);
            throw;
        }
        QLIP_LOG_VERBOSE(texts.path, "Waiting for more FIO data...");
        file.m_uLength = 0;
    } catch (...) {
        pass_on(texts.path);
    }
}

}  // namespace qlip
