// The properties of an AMR track: clock and duration from the media track, bit rate from its mode set.
#include "common/to_integer.h"
#include "formats/amr.h"
#include "formats/native_header.h"
#include "qlip/vorn3gp.h"
#include "second_reader/support.h"

using qlip::kReaderPath;
using qlip::required;

void C3gpInterface::ParseAudioBoxes() {
    m_uAudioTimescale = m_Boxes.m_pMdhd->GetTimescale();
    if (m_uAudioTimescale == 0) {
        m_uStatus = QLIP_CORRUPT_FILE;
        throw SimpleException(kReaderPath, __LINE__, "Error: Undefined sound timescale in source file");
    }
    m_AudioParams.uFrameCount = m_uHintSampleCount;
    QLIP_LOG_DEBUG(kReaderPath, "Audio frame count: %d", m_AudioParams.uFrameCount);
    ParseAudioCoder();
    m_AudioParams.uSampleRate = m_uAudioTimescale;
    QLIP_LOG_DEBUG(kReaderPath, "Audio timescale: %d  Audio bitrate: %d", m_uAudioTimescale,
                   m_AudioParams.uBitRate);
    m_uAudioLengthMs = qlip::to_u32(1000.0 * (static_cast<double>(m_Boxes.m_pMdhd->GetDuration()) /
                                              static_cast<double>(m_uAudioTimescale)));
    m_AudioParams.uLengthMs = m_uAudioLengthMs;
}

// The last AMR-NB entry counts.
void C3gpInterface::ParseAudioCoder() {
    const auto& entries = required(m_Boxes.m_pStbl->GetStsd(), "stsd", m_uStatus)->GetSampleEntries();
    if (entries.empty()) throw SimpleException(kReaderPath, __LINE__, "Audio codec information not found");
    m_AudioParams.uCoder = 0;
    for (Vorn3gp::Box* entry : entries) {
        if (entry->GetType() != Vorn3gp::type_word("samr")) continue;
        const auto* amr = required(dynamic_cast<Vorn3gp::AMRSampleEntry*>(entry), "samr", m_uStatus);
        const auto* specific = required(amr->GetAMRSpecific(), "damr", m_uStatus);
        m_AudioParams.uBitRate = GetAMRBitRate(specific->GetModeSet());
        m_AudioParams.uCoder = qlip::kNarrowbandFrameWord;
    }
    if (m_AudioParams.uCoder == 0)
        throw SimpleException(kReaderPath, __LINE__, "Unsupported audio coder type found");
}

// A mode set with exactly one bit names a mode; every other one counts as the highest.
unsigned int C3gpInterface::GetAMRBitRate(int iModeSet) {
    for (unsigned int mode = 0; mode < qlip::kAmrBitRates.size(); ++mode)
        if (iModeSet == 1 << mode) return static_cast<unsigned int>(qlip::kAmrBitRates[mode]);
    return static_cast<unsigned int>(qlip::kAmrBitRates.back());
}
