#include "lint/rules.h"

#include <array>

namespace qlip_tool {
namespace {

using enum Severity;

constexpr const char* kMakeAgain = "Write the file again, with `qlip copy` or the program that made it.";
constexpr const char* kMakeHints =
    "Make the hint track again, or remove it: the library then cuts the packets itself.";
constexpr const char* kTellUs = "Receivers may drop such packets; `--diff` and `qlip records` show them.";

constexpr std::array<Rule, static_cast<size_t>(RuleId::Count)> kRules = {{
    {RuleId::StructureCut, "structure-cut", Error, "The structure (the moov box) is missing or cut.",
     "ISO/IEC 14496-12 8.2.1", "Copy or record the file again; `qlip info` tells what is missing."},
    {RuleId::BoxFault, "box-fault", Error, "A box does not fit into the box around it.",
     "ISO/IEC 14496-12 4.2", kMakeAgain},
    {RuleId::Fragmented, "fragmented", Error,
     "The film is in movie fragments, which the library does not read.", "ISO/IEC 14496-12 8.8",
     "Write it with one moov box that lists all samples."},
    {RuleId::LargeOffsets, "co64", Error, "Chunk offsets of 64 bits: the track has nothing to play.",
     "ISO/IEC 14496-12 8.7.5", "Write chunk offsets as stco; a file below 4 GiB never needs co64."},
    {RuleId::TablesDisagree, "tables-disagree", Error, "The sample tables of a track contradict each other.",
     "ISO/IEC 14496-12 8.6.1, 8.6.2, 8.7.3, 8.7.4", kMakeAgain},
    {RuleId::TrackNotRead, "track-not-read", Error,
     "The library finds fewer tracks, or fewer samples, than the file has.", "ISO/IEC 14496-12 8.3.1",
     "Mend what other findings name; the tracks behind it are lost with it."},
    {RuleId::SamplesBeyondFile, "samples-beyond-file", Error,
     "The file is too short for the samples that it lists.", "ISO/IEC 14496-12 8.7.2, 8.7.5",
     "Copy or record the file again: a stream of it ends early."},
    {RuleId::SampleTooLarge, "sample-too-large", Error,
     "A sample above 64,000 bytes ends the native stream where it stands.", "libqlip, docs/native-stream.md",
     "Encode with smaller pictures or a lower rate."},
    {RuleId::CodecNotDelivered, "codec-not-delivered", Note, "The codec of the track is not delivered.",
     "libqlip, README.md", "Use AMR-NB, AMR-WB, H.263, MPEG-4 visual or H.264."},
    {RuleId::SeveralDescriptions, "several-descriptions", Warning,
     "Sample descriptions beyond the first are not used: samples of the others decode wrongly.",
     "ISO/IEC 14496-12 8.5.2", "Write the track with one sample description."},
    {RuleId::StructureBehindMedia, "moov-behind-mdat", Warning,
     "The structure stands behind the media: a server reads the media at every open, and a file "
     "that arrives plays only when it is whole.",
     "3GPP TS 26.244 5.4 (progressive-download profile)", "`qlip copy` writes the structure first."},
    {RuleId::Interleaving, "interleaving", Warning,
     "More than a second of one track lies in one run, with another track's same time elsewhere: a server "
     "that plays both jumps.",
     "3GPP TS 26.244 5.4 (progressive-download profile)", "Write the file with chunks of a second or less."},
    {RuleId::NoSyncTable, "no-sync-table", Warning,
     "No table of sync samples: every picture counts as one to start at, although most need those before.",
     "ISO/IEC 14496-12 8.6.2", "Write an stss box; without it seeks land on pictures that do not decode."},
    {RuleId::EditList, "edit-list", Note,
     "An edit list moves or cuts the track; only its shift is kept, and the native stream has the whole "
     "media.",
     "ISO/IEC 14496-12 8.6.6", "Nothing to do for a plain delay; write other edits into the media."},

    {RuleId::HintUnused, "hint-unused", Warning, "A hint track is not used.",
     "ISO/IEC 14496-12 9.1.2 (maxpacketsize); libqlip, docs/native-stream.md", kMakeHints},
    {RuleId::HintDamaged, "hint-damaged", Error,
     "A hint sample cannot be followed: it is cut, or points outside the media.", "ISO/IEC 14496-12 9.1.3",
     kMakeHints},
    {RuleId::HintMarker, "hint-marker", Warning,
     "Markers of the hint track are not on the last packet of each picture, and only there.",
     "RFC 3550 5.1; RFC 4629 3.1; RFC 6416 5.1; RFC 6184 5.1",
     "`qlip rtp` and the host kit set them right; a server of its own must, too."},
    {RuleId::HintAggregatedIdr, "hint-stap-idr", Warning,
     "An IDR picture comes in an aggregation packet: no parameter sets are put in front of it.",
     "RFC 6184 5.7.1", "Hint IDR pictures as single NAL unit packets or fragments."},
    {RuleId::HintParameterSets, "hint-parameter-sets", Error,
     "Parameter sets stand inside a picture, behind its first slice.", "ITU-T H.264 7.4.1.2.3",
     "Put them in front of the picture, or leave them out."},
    {RuleId::HintPayloadType, "hint-payload-type", Warning,
     "The payload type of the hint track changes, or is one that means something else.", "RFC 3551 3, 6",
     "Hint with one payload type: 34 for RFC 2190, else one of 96 to 127."},
    {RuleId::HintTimestamps, "hint-timestamps", Warning,
     "RTP timestamps of the hint track do not follow the media's times.", "RFC 3550 5.1", kMakeHints},
    {RuleId::HintCoverage, "hint-coverage", Warning, "Bytes of the media are in no packet of the hint track.",
     "ISO/IEC 14496-12 9.1.3.2", kMakeHints},
    {RuleId::HintSdp, "hint-sdp", Warning, "The hint track's session description disagrees with the track.",
     "RFC 8866 5.14, 6.6", "Take the description that `qlip rtp --sdp` writes."},

    {RuleId::DeliveryFailed, "delivery-failed", Error, "The library cannot deliver the track to its end.",
     "libqlip, docs/native-stream.md", "Mend what other findings name."},
    {RuleId::RtpSequence, "rtp-sequence", Error, "Sequence numbers do not run on by one.", "RFC 3550 5.1",
     kTellUs},
    {RuleId::RtpTimestamp, "rtp-timestamp", Error, "Packets of one picture have different timestamps.",
     "RFC 3550 5.1", kTellUs},
    {RuleId::RtpMarker, "rtp-marker", Warning, "The marker is not on the last packet of a picture alone.",
     "RFC 2190 3; RFC 4629 3.1; RFC 6416 5.1; RFC 6184 5.1; RFC 4867 4.1",
     "`qlip rtp` and the host kit set it right; so must a server that sends the native stream's records."},
    {RuleId::RtpSize, "rtp-size", Warning,
     "A packet passes 1,400 bytes of payload: on most paths it is fragmented, and lost with any fragment.",
     "RFC 8085 3.2", "Encode with smaller units or hint with smaller packets."},
    {RuleId::H263ModeHeader, "h263-rfc2190-header", Error, "The header of an RFC 2190 packet is wrong.",
     "RFC 2190 5.1, 5.2, 5.3", kTellUs},
    {RuleId::H263Continuity, "h263-rfc2190-bits", Error,
     "RFC 2190 packets do not join: the bits that one leaves out are not the first of the next.",
     "RFC 2190 5.1", kTellUs},
    {RuleId::H263PlusHeader, "h263-rfc4629-header", Error, "The header of an RFC 4629 packet is wrong.",
     "RFC 4629 5.1", kTellUs},
    {RuleId::H263PlusStart, "h263-rfc4629-start", Error,
     "A picture does not begin in a packet of its own with P set, or P is set where no start code is.",
     "RFC 4629 6.1, 6.2", kTellUs},
    {RuleId::Mpeg4Start, "mpeg4-start", Error, "A picture's first packet does not begin with a start code.",
     "RFC 6416 5.2", kTellUs},
    {RuleId::Mpeg4SplitHeader, "mpeg4-header-inside", Warning,
     "A header starts inside a packet, behind part of a picture.", "RFC 6416 5.2", kTellUs},
    {RuleId::H264UnitType, "h264-unit-type", Error,
     "A packet is of a type that non-interleaved mode does not have, or its forbidden bit is set.",
     "RFC 6184 5.2, 6.3", kTellUs},
    {RuleId::H264Fragments, "h264-fragments", Error, "Fragments of a NAL unit do not join.", "RFC 6184 5.8",
     kTellUs},
    {RuleId::H264Aggregates, "h264-aggregates", Error, "An aggregation packet does not hold what it says.",
     "RFC 6184 5.7.1", kTellUs},
    {RuleId::H264ParameterSets, "h264-parameter-sets", Error,
     "Parameter sets are sent behind a slice of the same picture.", "ITU-T H.264 7.4.1.2.3",
     "Leave out sets that do not stand at a frame's start, and number anew, as `qlip rtp` does."},
    {RuleId::AmrHeader, "amr-header", Error, "The header or contents list of an AMR packet is wrong.",
     "RFC 4867 4.4.1, 4.4.2", kTellUs},
    {RuleId::AmrContents, "amr-contents", Error,
     "An AMR frame has a type that the codec does not define, or not the length of its type.",
     "RFC 4867 4.4.2, 5.3; 3GPP TS 26.101 annex A", "Record the track again."},
    {RuleId::AmrNoData, "amr-no-data", Note,
     "AMR frames that hold nothing (NO_DATA): a sender leaves them out, so timestamps have gaps.",
     "RFC 4867 4.5.1", "Nothing to do with `qlip rtp` and the host kit."},

    {RuleId::LongFrame, "long-frame", Note,
     "One picture takes more than 32 packets, which leave in one burst.", "RFC 8085 3.1.1",
     "Pace the packets of large pictures, or encode with a lower peak rate."},
    {RuleId::RatePeak, "rate-peak", Warning, "A second of the track has over four times its average rate.",
     "3GPP TS 26.234 annex G", "Encode with a tighter rate control, or give receivers a larger buffer."},
    {RuleId::Jitter, "jitter", Note,
     "Pacing by frame gives more than 100 ms of interarrival jitter: pictures leave in decoding order.",
     "RFC 3550 6.4.1, A.8", "Give receivers a buffer of that length."},
    {RuleId::OpenMemory, "open-memory", Warning, "An open file takes over a megabyte of memory.",
     "libqlip, docs/server.md",
     "Leave out of moov what players do not need: padding, metadata, tracks that nobody plays."},
    {RuleId::ManyReads, "many-reads", Note,
     "Reading the track makes more than 1,000 calls of the host for a second of play.",
     "libqlip, docs/callbacks.md", "Read through a buffer or a mapping."},
}};

constexpr bool in_order() {
    for (size_t i = 0; i < kRules.size(); ++i) {
        if (kRules[i].id != static_cast<RuleId>(i)) return false;
    }
    return true;
}
static_assert(in_order());

}  // namespace

std::string_view severity_name(Severity severity) {
    constexpr std::array<std::string_view, 3> kNames = {"note", "warning", "error"};
    return kNames[static_cast<size_t>(severity)];
}

std::span<const Rule> all_rules() {
    return kRules;
}

const Rule& rule(RuleId id) {
    return kRules[static_cast<size_t>(id)];
}

}  // namespace qlip_tool
