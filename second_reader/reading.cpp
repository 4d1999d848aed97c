// The byte stream: frames out of the producer's buffer, the next one built whenever the buffer is used up.
#include <cstring>

#include "qlip/vorn3gp.h"
#include "second_reader/producers/control_signals.h"
#include "second_reader/support.h"

using qlip::kReaderPath;

unsigned int C3gpInterface::ReadChunk(unsigned char* pBuffer, unsigned int* puSize, bool bIndexedRead) {
    m_uStatus = QLIP_SUCCESS;
    if (m_uMode == 0) return m_uStatus = QLIP_NOT_OPEN;
    if (!puSize) return m_uStatus = QLIP_BAD_ARGUMENT;
    const bool delivered = qlip::guarded(m_uStatus, m_pSimple3gp, m_pIOCallback, [&] {
        if (!pBuffer && *puSize > 0) {
            m_uStatus = QLIP_BAD_ARGUMENT;
            throw SimpleException(kReaderPath, __LINE__, "No buffer to read into");
        }
        *puSize = Deliver(pBuffer, *puSize, bIndexedRead);
    });
    if (!delivered) *puSize = 0;
    return m_uStatus;
}

// Returns the bytes delivered; the status tells why they are fewer. A wait does not take back what was copied
// before it.
unsigned int C3gpInterface::Deliver(unsigned char* pBuffer, unsigned int uToWrite, bool bIndexedRead) {
    unsigned int written = 0;
    unsigned int available = 0;
    const unsigned char* from = GetPropBuffer(&available);
    QLIP_LOG_VERBOSE(kReaderPath, "%d bytes requested, %d bytes available", uToWrite, available);
    const auto take = [&](unsigned int count) {
        if (count > 0) std::memcpy(pBuffer + written, from, count);
        MarkPropBytesRead(count);
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
        from = GetPropBuffer(&available);
    }
    QLIP_LOG_VERBOSE(kReaderPath, "Exited while loop.  uToWrite: %d  uBytesAvail: %d", uToWrite, available);
    if (uToWrite <= available) take(uToWrite);
    return written;
}

// Builds the next frame that its hint sample allows. False at the end of the track. True without a frame when
// the hint sample is not there yet: nothing has moved, and the next call asks for it again.
bool C3gpInterface::GetNextFrame() {
    for (bool built = false; !built;) {
        QLIP_LOG_VERBOSE(kReaderPath, "In do loop in GetNextFrame()");
        if (m_bEof || LeadsNowhere()) {
            QLIP_LOG_VERBOSE(kReaderPath, "Exiting GetNextFrame() due to EOF");
            return false;
        }
        const double seconds = static_cast<double>(m_uFrameTime) / static_cast<double>(*m_puTimescale);
        if (GetCurrentHintSample() == 0) {
            WaitForHintSample();
            break;
        }
        built = BuildFrame(seconds);
        if (m_pSimple3gp)
            qlip::open_file(m_pSimple3gp)
                ->note_hint_sample(m_uHintFilePos, m_SampleSizes[m_itSampleSize], built);
        m_uFrameTime += m_TimeToSample[m_itTimeToSample].sample_delta;
        m_bEof = !AdvanceToNextHintSample();
    }
    QLIP_LOG_VERBOSE(kReaderPath, "Exiting GetNextFrame() with valid packet.");
    return true;
}

void C3gpInterface::NoteDeadEnd() const {
    if (m_pSimple3gp) qlip::open_file(m_pSimple3gp)->note_dead_end();
}

// A track of which nothing more can come ends, so that a host which reads to the end gets there.
bool C3gpInterface::LeadsNowhere() {
    if (!m_pSimple3gp || !qlip::open_file(m_pSimple3gp)->leads_nowhere()) return false;
    if (sx_Debug > 2) {
        SimpleException(kReaderPath, __LINE__,
                        "%s: Nothing comes of the hint samples any more, the track ends", m_pszModeName)
            .Log(qlip::kWarningPrefix);
    }
    return m_bEof = true;
}

// Nothing came of a hint sample. A sample without bytes would be tried for ever, and is refused; a host that
// reports success and delivers nothing is waited for like one that says so.
void C3gpInterface::WaitForHintSample() {
    if (m_uStatus == QLIP_NOT_AVAILABLE_YET) return;
    if (HintSample() == HintSampleEnd()) {
        m_uStatus = QLIP_CORRUPT_FILE;
        NoteDeadEnd();
        throw SimpleException(kReaderPath, __LINE__, "%s: Hint sample %d is empty", m_pszModeName,
                              m_iHintSample);
    }
    m_uStatus = QLIP_NOT_AVAILABLE_YET;
}

// False when the hint sample cannot be followed and its frame is to be dropped.
bool C3gpInterface::BuildFrame(double dSeconds) {
    PropFile* producer = Producer();
    if (!producer) throw SimpleException(kReaderPath, __LINE__, "%s: No track was opened", m_pszModeName);
    try {
        producer->PacketizeFrame(m_pHintBuffer, dSeconds);
    } catch (unsigned int signal) {
        if (signal != qlip::kBadHintContent) {
            QLIP_LOG_FAULT(Faults(), qlip::Fault::Rethrown, kReaderPath,
                           "Received unexpected UInt32 exception. Rethrowing...");
            throw;
        }
        QLIP_LOG_FAULT(Faults(), qlip::Fault::DroppedFrame, kReaderPath, "Received invalid packet exception");
        return false;
    }
    return true;
}

PropFile* C3gpInterface::Producer() const {
    if (m_uMode == qlip::kModeAudio) return m_pAudioFile;
    if (m_uMode == qlip::kModeVideo) return m_pVideoFile;
    return nullptr;
}

unsigned char* C3gpInterface::GetPropBuffer(unsigned int* puAvail) {
    if (PropFile* producer = Producer()) return producer->GetBuffer(puAvail);
    *puAvail = 0;
    return nullptr;
}

void C3gpInterface::MarkPropBytesRead(unsigned int uBytes) {
    if (PropFile* producer = Producer()) producer->OffsetBytes(uBytes);
}
