// The start delays of the two streams: the first empty edit of an edit list (ISO/IEC 14496-12, edit list
// box), in ticks of the stream's clock.
#include <algorithm>

#include "common/to_integer.h"
#include "formats/rtp.h"
#include "qlip/vorn3gp.h"
#include "second_reader/support.h"

using qlip::kReaderPath;
using qlip::required;

namespace {

constexpr int kEmptyEdit = -1;

const tagELST_EDIT_ENTRY* first_empty_edit(const Vorn3gp::ElstBox* elst) {
    const auto& edits = elst->GetEditEntries();
    const auto found = std::find_if(edits.begin(), edits.end(),
                                    [](const auto& edit) { return edit.media_time == kEmptyEdit; });
    return found == edits.end() ? nullptr : &*found;
}

// A clock of 0 ticks a second makes the quotient infinite and the delay 0.
unsigned int to_ticks(unsigned int duration, unsigned int movie_timescale, unsigned int clock) {
    return qlip::to_u32(duration / (static_cast<double>(movie_timescale) / static_cast<double>(clock)));
}

}  // namespace

void C3gpInterface::ParseEditBoxes() {
    m_VideoParams.uAudioNTS = 0;
    m_VideoParams.uVideoNTS = 0;
    if (m_Boxes.m_pElst) ParseVideoDelay();
    try {
        ParseAudioDelay();
    } catch (const SimpleException&) {  // the status stays, and the open goes on with it
    }
    if (m_VideoParams.uAudioNTS == 0 || m_VideoParams.uVideoNTS == 0) return;
    const unsigned int common = std::min(m_VideoParams.uAudioNTS, m_VideoParams.uVideoNTS);
    m_VideoParams.uAudioNTS -= common;
    m_VideoParams.uVideoNTS -= common;
}

void C3gpInterface::ParseVideoDelay() {
    const auto* edit = first_empty_edit(m_Boxes.m_pElst);
    if (!edit) return;
    m_VideoParams.uVideoNTS = to_ticks(edit->segment_duration, m_uMovieTimescale, qlip::kVideoClock);
    QLIP_LOG_DEBUG(kReaderPath, "VideoNTS: %d  In 3gp file: %d  timescale_mvhd: %d  ClockFreq: %d",
                   m_VideoParams.uVideoNTS, edit->segment_duration, m_uMovieTimescale, qlip::kVideoClock);
}

// The audio track's edit list must be there, but the numbers are those of the video track: kept
// for readers of the stream [delays-from-video].
void C3gpInterface::ParseAudioDelay() {
    const auto audio = m_AudioTracks.begin();
    if (audio == m_AudioTracks.end() || !audio->second || !audio->second->GetEdts()) return;
    required(audio->second->GetEdts()->GetElst(), "elst", m_uStatus);
    required(required(audio->second->GetMdia(), "mdia", m_uStatus)->GetMdhd(), "mdhd", m_uStatus);
    m_uAudioTimescale = m_Boxes.m_pMdhd->GetTimescale();
    const auto* edit = m_Boxes.m_pElst ? first_empty_edit(m_Boxes.m_pElst) : nullptr;
    if (!edit) return;
    m_VideoParams.uAudioNTS = to_ticks(edit->segment_duration, m_uMovieTimescale, m_uAudioTimescale);
    QLIP_LOG_DEBUG(kReaderPath, "AudioNTS: %d  In 3gp file: %d  timescale_mvhd: %d  ClockFreq: %d",
                   m_VideoParams.uAudioNTS, edit->segment_duration, m_uMovieTimescale, m_uAudioTimescale);
}
