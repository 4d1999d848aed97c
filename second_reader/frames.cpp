// Building the next frame: a hint sample is fetched, the producer makes a frame of it, and the walk goes on.
#include "second_reader/producers/control_signals.h"
#include "second_reader/producers/reader_view.h"
#include "second_reader/walking.h"

using qlip::kReaderPath;

// False when the hint sample cannot be followed and its frame is to be dropped.
inline bool C3gpInterface::BuildFrame(double dSeconds) {
    PropFile* const producer = Producer();
    if (!producer) FailWithoutBuffers();
    try {
        producer->PacketizeFrame(m_pHintBuffer, dSeconds);
        return true;
    } catch (unsigned int signal) {
        DropFrame(signal);
        return false;
    }
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
        const bool there = m_bIndexedRead || !file || file->arrived() > 0;
        const uint64_t faults = file ? file->faults.faults() : 0;
        built = BuildFrame(seconds);
        if (file) {
            const bool sound = built && file->faults.faults() == faults;
            file->note_hint_sample(m_uHintFilePos, m_SampleSizes[m_itSampleSize], there, sound);
        }
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

// Inside a catch block: lets a signal that is no reason to drop the frame go on.
void C3gpInterface::DropFrame(unsigned int uSignal) {
    if (uSignal != qlip::kBadHintContent) {
        QLIP_LOG_FAULT(Faults(), qlip::Fault::Rethrown, kReaderPath,
                       "Received unexpected UInt32 exception. Rethrowing...");
        throw;
    }
    QLIP_LOG_FAULT(Faults(), qlip::Fault::DroppedFrame, kReaderPath, "Received invalid packet exception");
}
