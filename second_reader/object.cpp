// The object itself: birth, reset, closing, and what its operations do with exceptions.
#include <cstdint>
#include <new>
#include <utility>

#include "boxes/meter.h"
#include "qlip/vorn3gp.h"
#include "second_reader/support.h"

namespace {

constexpr unsigned int kDefaultVideoFrameBytes = 128 * 1024;
constexpr unsigned int kDefaultTimescale = 1000;

template <class Producer>
void dispose(Producer*& producer) {
    if (!producer) return;
    producer->Close();
    delete producer;
    producer = nullptr;
}

void write_refusal(qlip::FaultLog* log) {
    try {
        throw;
    } catch (const SimpleException& exception) {
        if (sx_Debug > 1 &&
            qlip::FaultLog::admits(log, qlip::Fault::Refusal, qlip::kErrorPrefix, qlip::kReaderPath))
            exception.Log(qlip::kErrorPrefix);
    } catch (...) {
        SimpleException(qlip::kReaderPath, __LINE__, "%s\n", qlip::kUnhandledException).Log("");
    }
}

}  // namespace

namespace qlip {

unsigned int printed(const void* pointer) {
    return static_cast<unsigned int>(reinterpret_cast<uintptr_t>(pointer));
}

void log_refusal(FaultLog* log) noexcept {
    try {
        write_refusal(log);
    } catch (...) {  // no memory for the line: it stays unwritten
    }
}

unsigned int status_in_flight(unsigned int other) {
    try {
        throw;
    } catch (const OverBudget&) {
        return other;
    } catch (const std::bad_alloc&) {
        return QLIP_NO_MEMORY;
    } catch (...) {
        return other;
    }
}

void settle_failure(unsigned int& status, Vorn3gp::Simple3gp* root) noexcept {
    log_refusal(faults_of(root));
    if (status == QLIP_SUCCESS) status = status_in_flight(QLIP_FAILURE);
}

void rethrow_as_simple() {
    try {
        throw;
    } catch (const SimpleException& exception) {
        if (sx_Debug > 3) exception.Log(kDebugPrefix);
        throw;
    } catch (...) {
        throw SimpleException(kReaderPath, __LINE__, kUnhandledException);
    }
}

}  // namespace qlip

C3gpInterface::C3gpInterface() : C3gpInterface(kDefaultVideoFrameBytes) {}

C3gpInterface::C3gpInterface(unsigned int uMaxVideoFrameBytes) : m_uMaxVideoFrameBytes(uMaxVideoFrameBytes) {
    Reset();
}

C3gpInterface::~C3gpInterface() {
    try {
        dispose(m_pVideoFile);
        dispose(m_pAudioFile);
        FreeBuffers();
        delete m_pSimple3gp;
    } catch (...) {
        qlip::log_refusal(Faults());
    }
}

unsigned int C3gpInterface::Close() {
    m_uStatus = QLIP_SUCCESS;
    try {
        dispose(m_pVideoFile);
        dispose(m_pAudioFile);
        delete std::exchange(m_pSimple3gp, nullptr);
        Reset();
    } catch (...) {
        qlip::log_refusal(Faults());
    }
    return m_uStatus;
}

qlip::FaultLog* C3gpInterface::Faults() const {
    return qlip::faults_of(m_pSimple3gp);
}

// The track maps, the tables and the properties of the track stay; the next open replaces them.
void C3gpInterface::Reset() {
    FreeBuffers();
    m_uStatus = QLIP_SUCCESS;
    m_uMode = 0;
    m_uDirection = 0;
    m_pIOCallback = nullptr;
    m_uVideoCodec = qlip::kCodecNone;
    m_uAudioTimescale = kDefaultTimescale;
    m_uVideoTimescale = kDefaultTimescale;
    m_uMovieTimescale = kDefaultTimescale;
    m_pVideoFile = nullptr;
    m_pAudioFile = nullptr;
    m_uFrameTime = 0;
    m_iHintSample = 1;
    m_uChunk = 1;
    m_uCachedMediaSample = 0;
    m_uCurChunkBytes = 0;
    m_uSampleOffsetInChunk = 0;
    m_uTimeToSampleIndex = 0;
    m_bEof = false;
    m_uMediaSampleCount = 0;
    m_uHintSampleCount = 0;
    m_bHasStss = false;
    m_uMediaFilePos = 0;
    m_bIndexedRead = false;
    m_uIOStatus = 0;
}

void C3gpInterface::BaseBoxes::Reset() {
    m_pMdhd = nullptr;
    m_pStbl = nullptr;
    m_pElst = nullptr;
    m_pStts = nullptr;
    m_pStsz = nullptr;
    m_pStsc = nullptr;
    m_pStco = nullptr;
    m_pStss = nullptr;
}
