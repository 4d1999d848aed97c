// The rules of `qlip lint`: what each looks at, what it goes back to, and what helps. One table, from which
// the reports and docs/lint.md are made.
#pragma once

#include <cstddef>
#include <span>
#include <string_view>

namespace qlip_tool {

enum class Severity { Note, Warning, Error };

std::string_view severity_name(Severity severity);

// In the order of the table.
enum class RuleId : size_t {
    StructureCut,
    BoxFault,
    Fragmented,
    LargeOffsets,
    TablesDisagree,
    TrackNotRead,
    SamplesBeyondFile,
    SampleTooLarge,
    CodecNotDelivered,
    SeveralDescriptions,
    StructureBehindMedia,
    Interleaving,
    NoSyncTable,
    EditList,

    HintUnused,
    HintDamaged,
    HintMarker,
    HintAggregatedIdr,
    HintParameterSets,
    HintPayloadType,
    HintTimestamps,
    HintCoverage,
    HintSdp,

    DeliveryFailed,
    RtpSequence,
    RtpTimestamp,
    RtpMarker,
    RtpSize,
    H263ModeHeader,
    H263Continuity,
    H263PlusHeader,
    H263PlusStart,
    Mpeg4Start,
    Mpeg4SplitHeader,
    H264UnitType,
    H264Fragments,
    H264Aggregates,
    H264ParameterSets,
    AmrHeader,
    AmrContents,
    AmrNoData,

    LongFrame,
    RatePeak,
    Jitter,
    OpenMemory,
    ManyReads,

    Count
};

struct Rule {
    RuleId id;
    const char* name;
    Severity severity;
    const char* says;       // what is wrong when it is found
    const char* published;  // the rule behind it, with its clause
    const char* remedy;
};

std::span<const Rule> all_rules();
const Rule& rule(RuleId id);

}  // namespace qlip_tool
