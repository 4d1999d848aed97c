// Opening and closing a session: mode, choice of the track, hint track.
#include "session/session.h"

#include <cctype>
#include <cstdlib>

#include "common/log.h"
#include "formats/rtp.h"
#include "host/open_mode.h"
#include "iso/play/armed_hint.h"
#include "session/codecs.h"

using namespace qlip;

namespace {

constexpr const char* kPath = kSessionPath;

void parse_mode_switch(mm_Interface* session, const char character) {
    const int letter = std::tolower(static_cast<unsigned char>(character));
    switch (letter) {
        case 'r':
            session->read_mode = kDirectionRead;
            return;
        case 'a':
            session->media_kind = kModeAudio;
            session->media_name = "AUDIO";
            return;
        case 'v':
            session->media_kind = kModeVideo;
            session->media_name = "VIDEO";
            return;
        default:
            session->status = QLIP_BAD_MODE;
            throw SimpleException(kPath, __LINE__, "Invalid/unsupported mode switch [%c] specified", letter);
    }
}

void clear_mode(mm_Interface* session) {
    session->media_kind = 0;
    session->read_mode = 0;
}

void parse_mode(mm_Interface* session, const char* mode) {
    for (; *mode != '\0'; ++mode)
        parse_mode_switch(session, *mode);
    if (session->media_kind == 0) {
        session->status = QLIP_BAD_MODE;
        throw SimpleException(kPath, __LINE__, "Mode not specified");
    }
    if (session->read_mode == 0) {
        session->status = QLIP_BAD_MODE;
        throw SimpleException(kPath, __LINE__, "Direction not specified");
    }
}

bool acceptable(const iso_track* track, int media_kind) {
    const SessionCodec* codec = find_codec(track);
    return codec && codec->medium == media_kind;
}

iso_track* first_track(const mm_Interface* session) {
    return session->file ? session->file->tracks : nullptr;
}

bool has_aac_track(const mm_Interface* session) {
    for (const iso_track* track = first_track(session); track; track = track->next) {
        if (track->codec == ISO_CODEC_MP4A) return true;
    }
    return false;
}

[[noreturn]] void refuse_file(mm_Interface* session) {
    session->status = QLIP_FAILURE;
    if (session->media_kind == kModeVideo) {
        throw SimpleException(kPath, __LINE__, "Valid video track (MPEG4, H263, H264) not found.");
    }
    if (has_aac_track(session)) throw SimpleException(kPath, __LINE__, "Unsupported track: AAC.");
    throw SimpleException(kPath, __LINE__, "Valid audio track (AMR-NB, AMR-WB) not found.");
}

// The id of the last acceptable track decides; where several tracks share it, the first of them is taken.
iso_track* choose_track(mm_Interface* session) {
    bool found = false;
    for (const iso_track* track = first_track(session); track; track = track->next) {
        if (!acceptable(track, session->media_kind)) continue;
        session->track_id = track->track_id;
        found = true;
    }
    if (!found) refuse_file(session);
    iso_track* chosen = first_track(session);
    while (chosen && (!acceptable(chosen, session->media_kind) || chosen->track_id != session->track_id))
        chosen = chosen->next;
    return chosen;
}

// A hint track that names no packet size cannot be replayed. The choice holds for the file, so that the
// readers need not look for the track again.
iso_track* arm_hint_track(mm_Interface* session, iso_track* media) {
    const bool armed = isoFFrtpHinter(media, kPacketBytes);
    iso_track* hint = isoFFfindHintTrack(media, kPacketBytes);
    // Memory that only the second operation found is nobody's.
    if (hint && !armed) session->hint_memory = armed_hint(hint);
    return hint && hint->max_packet_size != 0 ? hint : nullptr;
}

void open_track(mm_Interface* session, const char* mode) {
    mmfiParseModeInfo(session, mode);
    if (session->read_mode != 1) {
        session->status = QLIP_FAILURE;
        throw SimpleException(kPath, __LINE__, "Unsupported conversion type");
    }
    iso_track* track = choose_track(session);
    const SessionCodec* codec = find_codec(track);
    if (codec->prepare && !codec->prepare(track)) {
        session->status = QLIP_NO_MEMORY;
        throw SimpleException(kPath, __LINE__, "%s", qlip_StatusString(QLIP_NO_MEMORY));
    }
    session->track = track;
    session->reader = codec->reader;
    session->hint = arm_hint_track(session, track);
}

void reset(mm_Interface* session) {
    session->open_word = 1;
    session->zero_word = 0;
    session->status = QLIP_SUCCESS;
    session->ready_word = 1;
    session->stage = 0;
    session->read_calls = 0;
    session->pending_size = 0;
    session->carry_size = 0;
    session->carry_run = 0;
    session->audio_clock = session->audio_sequence = 0;
    session->last_cmr = 0;
    session->dsi_sent = 0;
}

}  // namespace

int mmfiParseModeInfo(mm_Interface* session, const char* mode) {
    clear_mode(session);
    try {
        parse_mode(session, mode);
    } catch (const SimpleException& failure) {
        clear_mode(session);
        if (sx_Debug > 3) failure.Log(kDebugPrefix);
        throw;
    } catch (...) {
        clear_mode(session);
        throw SimpleException(kPath, __LINE__, "%s", kUnhandledException);
    }
    return 1;
}

int mmfi_Open(mm_Interface* session, const char* mode) {
    reset(session);
    try {
        open_track(session, mode);
        return session->status;
    } catch (const SimpleException& failure) {
        if (sx_Debug > 1) failure.Log(kErrorPrefix);
    } catch (...) {
        SimpleException(kPath, __LINE__, "%s\n", kUnhandledException).Log("");
    }
    if (session->status == QLIP_SUCCESS) session->status = QLIP_FAILURE;
    return session->status;
}

int mmfi_Close(mm_Interface* session) {
    isoFFclose(session->file);
    std::free(session->hint_memory);
    return QLIP_SUCCESS;
}
