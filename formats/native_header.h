// The values in the records of the native stream (qlip/native_stream.h) that its two makers, the session and
// the producers of the second reader, have in common.
#pragma once

#include "formats/rtp.h"
#include "qlip/native_stream.h"

// `type` of PROP_Header_Info, with a terminator that is not stored.
inline constexpr char pType[] = "AUDIO   ";
inline constexpr char pTypeVid[] = "VIDEO   ";

namespace qlip {

inline constexpr unsigned int kStreamVersion = 10;

// Bytes of the file-level header, for video without the codec's configuration record.
inline constexpr unsigned int kAudioHeaderBytes =
    sizeof(PROP_Header_Info) + sizeof(AUD_Codec_Header) + sizeof(AUD_Header_IndxInfo) + sizeof(VID_FileInfo);
inline constexpr unsigned int kVideoHeaderBytes = sizeof(PROP_Header_Info) + sizeof(VID_Header_NTSInfo) +
                                                  sizeof(VID_Header_IndxInfo) + sizeof(VID_Header_CodecInfo) +
                                                  sizeof(VID_FileInfo);

// `coding` of AUD_Codec_Header: of AMR-NB one for each mode, from the lowest bit rate up.
inline constexpr int kFirstNarrowbandCoding = 26;
inline constexpr int kWidebandCoding = 51;

// `rate_code` is in units of this many Hz.
inline constexpr unsigned int kRateUnit = 125;

// `frame_word` of AUD_AudFrame_Native.
inline constexpr unsigned int kNarrowbandFrameWord = 10;
inline constexpr unsigned int kWidebandFrameWord = 20;

// `magic` of the older packet header and of the packetisers' states.
inline constexpr int kPacketMagic = 13;

}  // namespace qlip
