// The byte stream: frames out of the producer's buffer, the next one built whenever the buffer is used up.
#include <cstring>

#include "second_reader/producers/frame_buffer.h"
#include "second_reader/walking.h"

using qlip::kReaderPath;

namespace {

unsigned int waiting_in(const PropFile* producer) {
    return producer ? qlip::waiting_bytes(*producer) : 0;
}

}  // namespace

// Returns the bytes delivered; the status tells why they are fewer. A wait does not take back what was copied
// before it.
unsigned int C3gpInterface::Deliver(unsigned char* pBuffer, unsigned int uToWrite, bool bIndexedRead) {
    if (!pBuffer && uToWrite > 0) RefuseBuffer();
    PropFile* const producer = Producer();
    unsigned int written = 0;
    unsigned int available = waiting_in(producer);
    QLIP_LOG_VERBOSE(kReaderPath, "%d bytes requested, %d bytes available", uToWrite, available);
    const auto take = [&](unsigned int count) {
        if (count > 0) std::memcpy(pBuffer + written, producer->m_pBuffer + producer->m_uOffset, count);
        if (producer) qlip::mark_read(*producer, count);
        uToWrite -= count;
        written += count;
        available -= count;
    };
    m_bIndexedRead = bIndexedRead;
    while (uToWrite > available) {
        QLIP_LOG_VERBOSE(kReaderPath, "In while loop.  uToWrite: %d  uBytesAvail: %d", uToWrite, available);
        if (available > 0) take(available);
        if (!GetNextFrame()) {
            QLIP_LOG_VERBOSE(kReaderPath, "EOF reached");
            m_uStatus = QLIP_END_OF_FILE;
            break;
        }
        if (m_uStatus == QLIP_NOT_AVAILABLE_YET) {
            QLIP_LOG_VERBOSE(kReaderPath, "Waiting for more FIO data...");
            break;
        }
        available = waiting_in(producer);
    }
    QLIP_LOG_VERBOSE(kReaderPath, "Exited while loop.  uToWrite: %d  uBytesAvail: %d", uToWrite, available);
    if (uToWrite <= available) take(uToWrite);
    return written;
}

unsigned int C3gpInterface::ReadChunk(unsigned char* pBuffer, unsigned int* puSize, bool bIndexedRead) {
    m_uStatus = QLIP_SUCCESS;
    if (m_uMode == 0) return m_uStatus = QLIP_NOT_OPEN;
    if (!puSize) return m_uStatus = QLIP_BAD_ARGUMENT;
    const bool delivered = qlip::guarded(
        m_uStatus, m_pSimple3gp, m_pIOCallback,
        [this, pBuffer, puSize, bIndexedRead] { *puSize = Deliver(pBuffer, *puSize, bIndexedRead); });
    if (!delivered) *puSize = 0;
    return m_uStatus;
}

void C3gpInterface::RefuseBuffer() {
    m_uStatus = QLIP_BAD_ARGUMENT;
    throw SimpleException(kReaderPath, __LINE__, "No buffer to read into");
}

unsigned char* C3gpInterface::GetPropBuffer(unsigned int* puAvail) {
    if (PropFile* producer = Producer()) return producer->GetBuffer(puAvail);
    *puAvail = 0;
    return nullptr;
}

void C3gpInterface::MarkPropBytesRead(unsigned int uBytes) {
    if (PropFile* producer = Producer()) producer->OffsetBytes(uBytes);
}
