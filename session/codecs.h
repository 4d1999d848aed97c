// The codecs that a session delivers: all that differs between them outside their readers.
#pragma once

#include "session/session.h"

namespace qlip {

struct SessionCodec {
    iso_codec entry;              // the sample entry's kind
    int medium;                   // kModeAudio or kModeVideo
    SessionReader reader;         // what qlip_ReadChunk calls for it
    bool (*prepare)(iso_track*);  // at open, null for nothing; false without memory
};

// The row of a track's codec, or null for one that is not delivered.
const SessionCodec* find_codec(const iso_track* track);

}  // namespace qlip
