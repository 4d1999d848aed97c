// The producers of the second reader: each builds the native stream of one track, a frame at a time, from RTP
// hint samples (ISO/IEC 14496-12, RTP hint track format). C3gpInterface creates one, feeds it hint samples,
// and reads its buffer off.
//
// Hint samples are big-endian. What a producer writes is in the machine's byte order (little-endian); the
// records are those of native_stream.h, and docs/native-stream.md tells which fields differ from the stream
// of the C entry points.
//
// Failures are thrown. SimpleException ends the call that the host made. Two plain unsigned ints are signals
// between a producer and C3gpInterface and never reach a host: 22136, the hint sample cannot be followed, and
// 4660, the media sample that it names is not there yet.
//
// The order of the virtual operations and of the data members is binary interface. Data members are open: the
// builders inside the library work on them, a host looks at most.
#pragma once

#include "qlip/export.h"

class C3gpInterface;

// Header of a hint sample: 4 bytes in the file.
struct _TAG_RTPsample3gp {
    unsigned short packetcount;
    unsigned short reserved;
};

// Header of one packet in a hint sample: 12 bytes in the file, 16 with the length of extra information.
struct _TAG_RTPpacket3gp {
    unsigned int relative_time;
    unsigned short RTPheader;  // RFC 3550 5.1: P 0x2000, X 0x1000, M 0x0080, payload type in the low 7 bits
    unsigned short RTPsequenceseed;
    unsigned short RTPflags;                // 4 extra information follows, 2 B frame, 1 repeated packet
    unsigned short entrycount;              // constructors, 16 bytes each
    unsigned int extra_information_length;  // bytes, the 4 of this word included; 0 when there is none
};

// What an audio producer is opened with.
struct _TAG_AUDIO_OPEN_PARAMS {
    unsigned int uLengthMs;    // track duration in milliseconds
    unsigned int uFrameCount;  // hint samples
    unsigned int uCoder;       // 10 for AMR
    unsigned int uSampleRate;  // Hz
    unsigned int uBitRate;     // bit/s
};

// What a video producer is opened with.
struct _TAG_VIDEO_OPEN_PARAMS {
    unsigned int uCodec;     // 0 H.263, 1 H.263-1998, 2 MPEG-4 visual
    unsigned int uAudioNTS;  // start delay of the audio stream, ticks of the audio clock
    unsigned int uVideoNTS;  // start delay of the video stream, ticks of 90000 Hz
    unsigned int uLengthMs;  // track duration in milliseconds
    unsigned int uFrameCount;
    unsigned int uWidth;   // pixels
    unsigned int uHeight;  // pixels
    double dFramesPerSecond;
    unsigned int uBitRate;         // bit/s
    unsigned int uConfigSize;      // bytes of MPEG-4 decoder configuration, at most 350
    const unsigned char* pConfig;  // the configuration; borrowed for the length of Open
    unsigned char uH263Profile;
    unsigned char uH263Level;
    unsigned int uMaxFrameBytes;  // size of the frame buffer
};

// One frame in a byte buffer that is read off in pieces, and the reading of hint samples.
//
// Life: construct; Open of the derived class, which leaves the stream's header in the buffer; GetBuffer and
// OffsetBytes until ByteCount is 0; PacketizeFrame; and so on; Close of the derived class. Only Open
// allocates.
class QLIP_API PropFile {
  public:
    // The interface is borrowed: it answers for the media samples and must outlive the producer. It may be
    // null for hint samples that carry all their data.
    explicit PropFile(C3gpInterface* pInterface);
    PropFile(const PropFile&) = delete;
    PropFile& operator=(const PropFile&) = delete;
    virtual ~PropFile();

    virtual void FillOffsetTable() = 0;

    // Replaces the buffer's content by the frame of one hint sample. `dTime` is the frame's time in seconds.
    // A frame whose media is not there yet leaves the buffer empty and returns normally. Throws 22136 when
    // the hint sample cannot be followed; the bytes built until then stay.
    virtual void PacketizeFrame(const unsigned char* pHintSample, double dTime) = 0;

    // One constructor each, with the cursor behind the kind byte; the cursor ends behind the constructor.
    // Result: bytes added to the frame. Throw 22136 when the bytes do not exist or do not fit the frame
    // buffer; the sample constructor throws 4660 when its media sample is not there yet.
    virtual unsigned int ProcessRTPnoopconstructor(const unsigned char** ppCursor);
    virtual unsigned int ProcessRTPimmediateconstructor(const unsigned char** ppCursor) = 0;
    virtual unsigned int ProcessRTPsampleconstructor(const unsigned char** ppCursor) = 0;
    virtual unsigned int ProcessRTPsampledescriptionconstructor(const unsigned char** ppCursor) = 0;

    // Big-endian reads at the cursor, which moves on. The caller answers for the bytes being there.
    static unsigned char GetAndAdvance8(const unsigned char** ppCursor);
    static unsigned short GetAndAdvance16(const unsigned char** ppCursor);
    static unsigned int GetAndAdvance32(const unsigned char** ppCursor);

    // Read a header at the cursor, which moves behind it; behind the extra information, too, for a packet.
    // The caller answers for the bytes being there.
    static void GetRTPsample3gp(_TAG_RTPsample3gp* pSample, const unsigned char** ppCursor);
    static void GetRTPpacket3gp(_TAG_RTPpacket3gp* pPacket, const unsigned char** ppCursor);

    // Bytes from uSize up to the next multiple of 4: 0 to 3.
    unsigned int GetPadding(unsigned int uSize);

    // Rounds to hundredths: the whole part in the high 16 bits, the hundredths (0 to 99) in the low 16.
    static unsigned int To1616(double dValue);

    // Bytes waiting in the buffer.
    unsigned int ByteCount();

    // The first waiting byte. Stores ByteCount() through puAvail unless that is null.
    unsigned char* GetBuffer(unsigned int* puAvail);

    // Marks bytes as read. Throws SimpleException when there are fewer than uBytes.
    void OffsetBytes(unsigned int uBytes);

    // Empties and releases the buffer.
    void FreeBuffers();

    unsigned char* m_pBuffer;     // owned; null until AllocBuffers
    unsigned int m_uLength;       // bytes held, and the write position while a frame is built
    unsigned int m_uOffset;       // read position
    unsigned int m_uFrameCount;   // frames begun; video only
    C3gpInterface* m_pInterface;  // not owned
};

// AMR: all packets of a hint sample merged into one frame record.
class QLIP_API PropFileAudio : public PropFile {
  public:
    explicit PropFileAudio(C3gpInterface* pInterface);
    ~PropFileAudio() override;

    // Stores the offsets below.
    void FillOffsetTable() override;
    void PacketizeFrame(const unsigned char* pHintSample, double dTime) override;
    // A constructor that throws 22136 costs its own bytes only; the frame goes on without them.
    unsigned int ProcessRTPimmediateconstructor(const unsigned char** ppCursor) override;
    unsigned int ProcessRTPsampleconstructor(const unsigned char** ppCursor) override;
    unsigned int ProcessRTPsampledescriptionconstructor(const unsigned char** ppCursor) override;

    // Makes the buffer and writes the stream's header into it: 68 bytes. Returns true; throws SimpleException
    // without memory.
    virtual bool Open(_TAG_AUDIO_OPEN_PARAMS* pParams);
    virtual void Close();
    virtual void AllocBuffers();

    // One packet at the cursor. Result: payload bytes.
    unsigned int ProcessPacket(const unsigned char** ppCursor, double dTime);

    unsigned int m_uPropHeaderOffset = 0;
    unsigned int m_uCodecHeaderOffset = 0;
    unsigned int m_uIndexInfoOffset = 0;
    unsigned int m_uFileInfoOffset = 0;
    unsigned int m_uFrameHeaderOffset = 0;
    unsigned int m_uFrameZeroWordOffset = 0;
    unsigned int m_uFramePayloadOffset = 0;
    unsigned int m_uLastFrameType = 0;  // AMR frame type (3GPP TS 26.101) of the packet before
    unsigned int m_uCoder = 0;
    unsigned int m_uSampleRate = 0;  // Hz
};

// Number of an AMR-NB bit rate (bit/s) in the stream: 26 for 4750 up to 33 for 12200; 0 for any other.
QLIP_API int GetAMRCoding(int iBitRate);

// A sampling rate in units of 125 Hz, for 6000, 8000 and 11000 Hz; 0 for any other.
QLIP_API unsigned int SampleRateHZ_to_MM(unsigned int uRate);

// Always 0: compressed speech has none.
QLIP_API int GetAMRBitsPerSample(int iBitRate);

// Video: one frame record per hint sample, one packet record in it per RTP packet.
class QLIP_API PropFileVideo : public PropFile {
  public:
    explicit PropFileVideo(C3gpInterface* pInterface);
    ~PropFileVideo() override;

    // Stores the offsets below, by the size of the codec's record.
    void FillOffsetTable() override;
    void PacketizeFrame(const unsigned char* pHintSample, double dTime) override;
    unsigned int ProcessRTPimmediateconstructor(const unsigned char** ppCursor) override;
    unsigned int ProcessRTPsampleconstructor(const unsigned char** ppCursor) override;
    unsigned int ProcessRTPsampledescriptionconstructor(const unsigned char** ppCursor) override;

    // Makes the buffer and writes the stream's header into it. Returns true; throws SimpleException without
    // memory, and when the header or the configuration does not fit.
    virtual bool Open(_TAG_VIDEO_OPEN_PARAMS* pParams);
    virtual void Close();

    // Bytes of the codec's configuration record.
    virtual unsigned int GetCodecHeaderSize() = 0;

    // Writes VID_Header_CodecInfo and the configuration record into the buffer. Returns true.
    virtual bool SetupCodecHeaders(_TAG_VIDEO_OPEN_PARAMS* pParams) = 0;
    virtual void AllocBuffers();

    // One packet at the cursor. Result: `size` of its record.
    unsigned int ProcessPacket(const unsigned char** ppCursor, double dTime);

    unsigned int m_uPropHeaderOffset = 0;
    unsigned int m_uNtsInfoOffset = 0;
    unsigned int m_uIndexInfoOffset = 0;
    unsigned int m_uCodecInfoOffset = 0;
    unsigned int m_uCodecConfigOffset = 0;
    unsigned int m_uFileInfoOffset = 0;
    unsigned int m_uFrameHeaderOffset = 0;
    unsigned int m_uFrameWord4Offset = 0;
    unsigned int m_uFrameZeroWordOffset = 0;
    unsigned int m_uFramePacketsOffset = 0;
    unsigned int m_uPacketHeaderOffset = 0;  // this and the next two count from the packet record's start
    unsigned int m_uPacketZeroWordOffset = 0;
    unsigned int m_uPacketPayloadOffset = 0;
    unsigned int m_uFirstTimestamp = 0;  // of the first frame built, ticks of 90000 Hz
    unsigned int m_uBufferBytes = 0;
};

// H.263 in the payload format of RFC 2190.
class QLIP_API PropFileVideoH263 : public PropFileVideo {
  public:
    explicit PropFileVideoH263(C3gpInterface* pInterface);
    unsigned int GetCodecHeaderSize() override;
    bool SetupCodecHeaders(_TAG_VIDEO_OPEN_PARAMS* pParams) override;
};

// H.263 in the payload format of RFC 4629.
class QLIP_API PropFileVideoH263_1998 : public PropFileVideo {
  public:
    explicit PropFileVideoH263_1998(C3gpInterface* pInterface);
    unsigned int GetCodecHeaderSize() override;
    bool SetupCodecHeaders(_TAG_VIDEO_OPEN_PARAMS* pParams) override;
};

// MPEG-4 visual (ISO/IEC 14496-2).
class QLIP_API PropFileVideoMPEG4 : public PropFileVideo {
  public:
    explicit PropFileVideoMPEG4(C3gpInterface* pInterface);
    unsigned int GetCodecHeaderSize() override;
    bool SetupCodecHeaders(_TAG_VIDEO_OPEN_PARAMS* pParams) override;
};
