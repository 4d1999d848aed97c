// What applications set and ask: the element's properties.
#pragma once

#include <gst/gst.h>

#include <string>

#include "qlip/host.h"

namespace qlip::gst {

inline constexpr guint kRandom = G_MAXUINT;  // of the properties that start numbers
inline constexpr gint kRandomSequence = -1;

enum Property {
    kLocation = 1,
    kTrack,
    kPayloadType,
    kSsrc,
    kGrowing,
    kLead,
    kMaxMemory,
    kMaxBoxes,
    kMaxSamples,
    kTimestampOffset,
    kSequenceOffset,
    kStats,
};

// What the application asked for.
struct Settings {
    std::string location;
    qlip_medium track = QLIP_VIDEO;
    guint payload_type = 0;
    guint ssrc = kRandom;
    guint timestamp_offset = kRandom;
    gint sequence_offset = kRandomSequence;
    bool growing = false;
    guint64 lead = 0;
    guint64 max_memory = 0, max_boxes = 0, max_samples = 0;
};

// Of the newest frame, and of the stream.
struct Stats {
    uint32_t clock_rate = 0, ssrc = 0, payload_type = 0, first_timestamp = 0, timestamp = 0;
    uint16_t first_sequence = 0, sequence = 0;
};

void add_properties(GObjectClass* klass);

// One property. False for an id that is none.
bool set_setting(Settings& settings, guint id, const GValue* value);
bool get_setting(const Settings& settings, const Stats& stats, guint id, GValue* value);

}  // namespace qlip::gst
