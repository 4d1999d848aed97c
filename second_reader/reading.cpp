// The byte stream: frames out of the producer's buffer, the next one built whenever the buffer is used up.
#include <cstring>

#include "second_reader/checks.h"
#include "second_reader/producers/control_signals.h"
#include "second_reader/producers/frame_buffer.h"
#include "second_reader/producers/reader_view.h"

using qlip::kReaderPath;

namespace {

unsigned int waiting_in(const PropFile* producer) {
    return producer ? qlip::waiting_bytes(*producer) : 0;
}

}  // namespace

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

// Builds the next frame that its hint sample allows. False at the end of the track. True without a frame when
// the hint sample is not there yet: nothing has moved, and the next call asks for it again.
bool C3gpInterface::GetNextFrame() {
    qlip::OpenTree* const file = qlip::open_file(m_pSimple3gp);
    for (bool built = false; !built;) {
        QLIP_LOG_VERBOSE(kReaderPath, "In do loop in GetNextFrame()");
        if (!m_bEof && file && file->leads_nowhere()) EndTrack();
        if (m_bEof) {
            QLIP_LOG_VERBOSE(kReaderPath, "Exiting GetNextFrame() due to EOF");
            return false;
        }
        const double seconds = static_cast<double>(m_uFrameTime) / static_cast<double>(*m_puTimescale);
        RequireCurrentSample();
        if (ReadHintSample() == 0) {
            WaitForHintSample();
            break;
        }
        built = BuildFrame(seconds);
        if (file) file->note_hint_sample(m_uHintFilePos, m_SampleSizes[m_itSampleSize], built);
        m_uFrameTime += m_TimeToSample[m_itTimeToSample].sample_delta;
        m_bEof = !StepToNextHintSample();
    }
    QLIP_LOG_VERBOSE(kReaderPath, "Exiting GetNextFrame() with valid packet.");
    return true;
}

void C3gpInterface::NoteDeadEnd() const {
    if (m_pSimple3gp) qlip::open_file(m_pSimple3gp)->note_dead_end();
}

// A track of which nothing more can come ends, so that a host which reads to the end gets there.
void C3gpInterface::EndTrack() {
    QLIP_LOG_WARNING(kReaderPath, "%s: Nothing comes of the hint samples any more, the track ends",
                     m_pszModeName);
    m_bEof = true;
}

// Nothing came of a hint sample. A sample without bytes would be tried for ever, and is refused; a host that
// reports success and delivers nothing is waited for like one that says so.
void C3gpInterface::WaitForHintSample() {
    if (m_uStatus == QLIP_NOT_AVAILABLE_YET) return;
    const qlip::ReaderView view{*this};
    if (view.hint_sample() == view.hint_sample_end()) {
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
