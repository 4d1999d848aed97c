// The second reader: one hinted track of a 3GP file (ISO/IEC 14496-12, 3GPP TS 26.244) as a byte stream of
// any request size, with seeking.
//
// Life: construct; Open; ReadChunk until it returns 1, with SeekTo at will in between; Close. Results are the
// status codes of qlip.h and three more, below; no exception leaves a public operation. Nothing is locked:
// one object belongs to one thread at a time. docs/second-reader.md tells when to use this class and when the
// C entry points.
#pragma once

#include <cstddef>
#include <map>
#include <vector>

#include "qlip/export.h"
#include "qlip/propfile.h"
#include "qlip/qlip.h"

struct tagSTSC_SAMPLE_ENTRY;
struct tagSTTS_SAMPLE_ENTRY;

namespace qlip {
class FaultLog;
struct ReaderView;
}  // namespace qlip

namespace Vorn3gp {
class Box;
class ElstBox;
class H263SampleEntry;
class MP4VisualSampleEntry;
class MdhdBox;
class Simple3gp;
class StblBox;
class StcoBox;
class StscBox;
class StssBox;
class StszBox;
class SttsBox;
class TrakBox;
}  // namespace Vorn3gp

// Statuses of this class alone; qlip_StatusString has no text for them.
enum {
    QLIP_DIVISION_REFUSED = 20,  // a table row or clock would have divided by zero
    QLIP_INDEX_REFUSED = 21,     // a sample number beyond the sample size table
    QLIP_NO_OFFSET = 22          // SeekTo found no file offset for its sample
};

// fFlags of a seek: one value of each group. Other bits are ignored.
enum {
    QLIP_SEEK_FROM_CURRENT = 0x10000,  // nTime counts from the current frame
    QLIP_SEEK_FROM_START = 0x20000,    // nTime counts from the start of the track

    QLIP_SEEK_NEXT_SYNC = 1,
    QLIP_SEEK_PREVIOUS_SYNC = 2,
    // Of the two sync samples around the target the one further away, the previous one when they are equally
    // far: kept for hosts that were built on it [seek-nearest-is-further].
    QLIP_SEEK_NEAREST_SYNC = 4
};

// A seek: what is wanted, and where it landed. On failure nothing in it changes.
struct _TAG_QLIP_SEEK_PARAMS {
    unsigned int uReserved;    // the caller's own; neither read nor written
    unsigned int nTime;        // in: milliseconds, by the time flag; out: time of the sample landed on
    unsigned int uFrameNum;    // out: hint sample landed on, from 1
    unsigned int uFileOffset;  // out: lowest file offset needed from there on; 0xFFFFFFFF when unknown
    unsigned int fFlags;       // in: one QLIP_SEEK_FROM_... and one QLIP_SEEK_..._SYNC
};

// The order of the data members is binary interface. Everything below "protected" is the machinery: open to
// derived classes, so that tests can look at it.
class QLIP_API C3gpInterface {
  public:
    // Makes room for video frames of 128 KiB.
    C3gpInterface();

    // `uMaxVideoFrameBytes` is the size of the buffer in which one video frame, with its record headers, is
    // built. It must hold the stream header (92 bytes; 440 for MPEG-4). Larger frames are dropped.
    explicit C3gpInterface(unsigned int uMaxVideoFrameBytes);

    C3gpInterface(const C3gpInterface&) = delete;
    C3gpInterface& operator=(const C3gpInterface&) = delete;
    ~C3gpInterface();

    // Reads the structure of the file behind `pIO`, from the host's current position on, and prepares one
    // track. The record is borrowed until Close. `pszMode` holds 'r' (required) and 'a' or 'v', in any order
    // and case; of 'a' and 'v' the later one counts. The track must be the only one of its kind and have a
    // hint track. Afterwards the host's position stands at 0.
    //
    // Reads the environment: QLIP_LOG_DEBUG=1 raises the log level sx_Debug to 4,
    // QLIP_LOG_DEBUG_VERBOSE=1 to 5, for the whole process.
    //
    // Results: 0; 9 already open; 7 mode not understood; 13 `pIO` or one of its functions is null; 4 a box is
    // missing or the file is damaged; 6 no memory; 11, 12, 14 too many tracks, no hint track, no track of the
    // kind; 15 unknown video coder; 2 other failures. After any failure but 7 and 9 the object counts as open
    // and must be closed. One 4 comes with a usable stream: that of an audio edit box without a list.
    unsigned int Open(_TAG_QLIP_IOSTREAM_CALLBACK_INTERFACE* pIO, const char* pszMode);

    // Delivers the next *puSize bytes of the stream into `pBuffer`, whatever the frame boundaries, and stores
    // the count delivered. `bIndexedRead` false reads through Seek and SeekNRead, true through IndexRead and
    // AdvanceRead; it may change from call to call.
    //
    // Results: 0 all bytes; 1 the end of the track, fewer bytes, possibly none; 17 fewer bytes, the host does
    // not have the data yet: call again (a hint sample is asked for again, a frame whose media sample was not
    // there is lost); 8 not open, *puSize untouched; 13 a null argument; 16 the callbacks reported a failure,
    // 4 the hint track is damaged, 2 any other failure: nothing delivered, and the next call goes on from
    // where this one stopped.
    unsigned int ReadChunk(unsigned char* pBuffer, unsigned int* puSize, bool bIndexedRead);

    // Moves reading to a hint sample by time. Bytes still waiting are delivered first. A stream that has
    // reached its end stays there.
    //
    // Results: 0; 8 not open; 13 null; 19 flags; 18 the time lies outside the track, or the flag asks for a
    // sync sample before the first; 4, 20, 21, 22 the tables do not allow it; 2 other failures. After a
    // failure reading goes on where it was, but for a failure of the last step, the host's Seek.
    unsigned int SeekTo(_TAG_QLIP_SEEK_PARAMS* pParams);

    // Releases everything and makes the object ready for another Open. Result: 0.
    unsigned int Close();

    // For the producers. A media sample's bytes, by number from 1. The two-argument form stores the buffer
    // through `ppData`. Result: bytes there, 0 when the host does not have them yet (status 17). Throws 22136
    // for a number that the file does not have.
    unsigned int GetMediaSample(unsigned int uSample);
    unsigned int GetMediaSample(unsigned int uSample, const unsigned char** ppData);

  protected:
    // Boxes of one track, borrowed from the tree.
    struct BaseBoxes {
        BaseBoxes() { Reset(); }
        void Reset();

        Vorn3gp::MdhdBox* m_pMdhd;
        Vorn3gp::StblBox* m_pStbl;
        Vorn3gp::ElstBox* m_pElst;  // may be null
        Vorn3gp::SttsBox* m_pStts;
        Vorn3gp::StszBox* m_pStsz;
        Vorn3gp::StscBox* m_pStsc;
        Vorn3gp::StcoBox* m_pStco;
        Vorn3gp::StssBox* m_pStss;  // may be null
    };

    struct HintBoxes : BaseBoxes {};

    // The media track's boxes, and its hint track's.
    struct AVBoxes : BaseBoxes {
        HintBoxes m_HintBoxes;
    };

    // Where a media sample lies.
    struct _TAG_SAMPLEINFO {
        unsigned int uOffset;
        unsigned int uSize;
    };

    // Opening. All of it throws SimpleException, with the status in m_uStatus.
    void ParseOpenMode(const char* pszMode);
    void Open3GPtoZVK();
    void Read3gpBoxes();
    void Parse3gpBoxes();
    void AllocBuffers();
    void FreeBuffers();
    void Reset();

    // Tracks and their properties.
    void ValidateTracks();
    void GetTrakData(BaseBoxes* pBoxes, const Vorn3gp::TrakBox* pTrak);
    void StoreTrackTables();
    void CalcSampleOffsets(const BaseBoxes* pBoxes, _TAG_SAMPLEINFO* pInfo);
    void ParseAudioBoxes();
    void ParseVideoBoxes();
    void ParseGenericVideoBoxes();
    void ParseCodecSpecificBoxes();
    void ParseEditBoxes();
    unsigned int PeekH263Track();
    void ParseH263Boxes(Vorn3gp::H263SampleEntry* pEntry);
    void ParseH263_1998Boxes(Vorn3gp::H263SampleEntry* pEntry);
    void ParseMPEG4Boxes(Vorn3gp::MP4VisualSampleEntry* pEntry);
    unsigned int GetAMRBitRate(int iModeSet);
    double CalcAvgBitRate(const Vorn3gp::StszBox* pStsz, unsigned int uLengthMs);

    // Writes one delta per sample of the track into `puDeltas`, which must hold as many as its stsz counts.
    void CalcTimeDeltas(const BaseBoxes* pBoxes, unsigned int* puDeltas);
    void CreateFileObjects();
    void CreateVideoObject();
    void CreateAudioObject();

    // Walking the hint track.
    unsigned int GetCurrentHintSample();
    bool AdvanceToNextHintSample();
    // The lowest media sample that a hint sample refers to; 0xFFFFFFFF when it carries all its data.
    unsigned int GetMediaSample(unsigned int uHintSample, unsigned int uOffset, unsigned int uSize);
    unsigned int CalcHintOffset(unsigned int uSample, unsigned int* puSize);
    unsigned int CalcMediaOffset(unsigned int uSample);
    bool ResetInternals(unsigned int uSample, unsigned int uOffset);
    void IOFileStreamRead(_TAG_QLIP_IOSTREAM_CALLBACK_INTERFACE*& pIO, unsigned char* pData,
                          unsigned int nBytes, unsigned int uOffset, unsigned int* pnRead);
    void IOFileStreamAdvance(_TAG_QLIP_IOSTREAM_CALLBACK_INTERFACE*& pIO, unsigned int uOffset);

    // Times and samples. All of it truncates.
    unsigned int ConvertMsTimeToMdhdTime(unsigned int uMs);
    unsigned int ConvertMdhdTimeToSample(unsigned int uMdhd);
    unsigned int GetSyncSample(unsigned int uSample, unsigned int uFlags);
    unsigned int GetTimestampInMs(unsigned int uSample);

    // Reading.
    bool GetNextFrame();
    unsigned char* GetPropBuffer(unsigned int* puAvail);
    void MarkPropBytesRead(unsigned int uBytes);

    using TrackMap = std::map<unsigned int, Vorn3gp::TrakBox*>;
    using Words = std::vector<unsigned int>;

    AVBoxes m_Boxes;                             // good while the file is being opened
    Vorn3gp::Simple3gp* m_pSimple3gp = nullptr;  // owned; empty once the file is open
    TrackMap m_VideoTracks;                      // by track ID; null once the tree is gone
    TrackMap m_AudioTracks;
    TrackMap m_HintTracks;  // by the ID of the track referred to
    unsigned int m_uStatus;
    unsigned int m_uMode;       // 0 not open, 1 audio, 16 video
    unsigned int m_uDirection;  // 0 unset, 1 read
    _TAG_QLIP_IOSTREAM_CALLBACK_INTERFACE* m_pIOCallback;
    unsigned int m_uVideoCodec;  // 0 H.263, 1 H.263-1998, 2 MPEG-4, 3 none
    unsigned int m_uAudioTimescale;
    unsigned int m_uVideoTimescale;
    unsigned int m_uMovieTimescale;  // 1000 for every file; mvhd is not consulted
    unsigned int m_uAudioLengthMs = 0;
    unsigned int m_uVideoLengthMs = 0;
    unsigned int* m_puTimescale = &m_uAudioTimescale;  // the clock of the mode
    _TAG_VIDEO_OPEN_PARAMS m_VideoParams{};
    _TAG_AUDIO_OPEN_PARAMS m_AudioParams{};
    PropFileVideo* m_pVideoFile = nullptr;
    PropFileAudio* m_pAudioFile = nullptr;
    _TAG_SAMPLEINFO* m_pSampleInfo = nullptr;  // one entry per media sample
    unsigned int m_uFrameTime;                 // of the current hint sample, in ticks
    unsigned int m_iHintSample;                // from 1
    unsigned int m_uChunk;                     // from 1
    unsigned int m_uCachedMediaSample;         // 0 none
    unsigned char* m_pMediaBuffer = nullptr;   // one media sample
    unsigned char* m_pHintBuffer = nullptr;    // one hint sample

    // Copies of the hint track's tables. Each cursor is an index; the table's size says "at the end".
    Words m_ChunkOffsets;
    std::size_t m_itChunkOffset = 0;
    std::vector<tagSTSC_SAMPLE_ENTRY> m_SampleToChunk;
    std::size_t m_itSampleToChunk = 0;  // the next run, not yet taken up
    Words m_SampleSizes;                // one element: all samples have that size
    std::size_t m_itSampleSize = 0;
    std::vector<tagSTTS_SAMPLE_ENTRY> m_TimeToSample;
    std::size_t m_itTimeToSample = 0;
    Words m_SyncSamples;
    std::size_t m_itSyncSample = 0;

    unsigned int m_uCurChunkBytes;  // bytes of the chunk's samples before the current one
    unsigned int m_uSampleOffsetInChunk;
    unsigned int m_uSamplesPerChunk = 0;
    unsigned int m_uTimeToSampleIndex;
    bool m_bEof;
    unsigned int m_uMediaBufferBytes = 0;  // of m_pMediaBuffer
    const char* m_pszModeName = "";
    unsigned int m_uMediaSampleCount;
    unsigned int m_uHintSampleCount;
    bool m_bHasStss;
    unsigned int m_uChunkCount = 0;
    unsigned int m_uHintFilePos = 0;  // just behind the latest hint sample read
    unsigned int m_uMediaFilePos;     // just behind the latest media sample read
    bool m_bIndexedRead;
    unsigned int m_uIOStatus;  // raw result of the latest callback

    // Where a seek is about to go.
    std::size_t m_itSeekTimeToSample = 0;
    std::size_t m_itSeekSampleToChunk = 0;
    unsigned int m_uSeekChunk = 0;
    unsigned int m_uSeekSampleOffsetInChunk = 0;
    unsigned int m_uSeekChunkBytes = 0;
    unsigned int m_uSeekTimeToSampleIndex = 0;
    unsigned int m_uSeekFrameTime = 0;

    unsigned int m_uMaxVideoFrameBytes;

  private:
    friend struct qlip::ReaderView;

    // The bounds of the object's log; null before Open.
    QLIP_LOCAL qlip::FaultLog* Faults() const;
    QLIP_LOCAL void NoteDeadEnd() const;
    QLIP_LOCAL void EndTrack();
    QLIP_LOCAL void TakeModeSwitch(int iSwitch);
    QLIP_LOCAL void SortTrack(Vorn3gp::TrakBox* pTrak);
    QLIP_LOCAL void SortHintTrack(Vorn3gp::TrakBox* pTrak);
    QLIP_LOCAL void ForgetTracks();
    [[noreturn]] QLIP_LOCAL void FailWithoutTrack(const char* pszKind);
    QLIP_LOCAL void ParseAudioCoder();
    QLIP_LOCAL Vorn3gp::Box* FindVideoEntry();
    QLIP_LOCAL void ParseVideoDelay();
    QLIP_LOCAL void ParseAudioDelay();
    QLIP_LOCAL void AllocHintBuffer();
    QLIP_LOCAL void RequireBuffers() const;
    [[noreturn]] QLIP_LOCAL void FailWithoutBuffers() const;
    QLIP_LOCAL void RequireCurrentSample() const;
    [[noreturn]] QLIP_LOCAL void FailAtTableEnd(const char* pszTable) const;
    QLIP_LOCAL unsigned int ReadHintSample();
    QLIP_LOCAL bool StepToNextHintSample();
    QLIP_LOCAL unsigned int ReadSample(unsigned char* pData, unsigned int nBytes, unsigned int uOffset);
    QLIP_LOCAL unsigned int ReadIndexed(unsigned char* pData, unsigned int nBytes, unsigned int uOffset);
    [[noreturn]] QLIP_LOCAL void FailRead(const _TAG_QLIP_IOSTREAM_CALLBACK_INTERFACE* pIO,
                                          const unsigned char* pData, unsigned int nBytes,
                                          unsigned int uOffset);
    [[noreturn]] QLIP_LOCAL void FailAdvance(const _TAG_QLIP_IOSTREAM_CALLBACK_INTERFACE* pIO,
                                             unsigned int uOffset);
    [[noreturn]] QLIP_LOCAL void RefuseMediaSample(unsigned int uSample) const;
    QLIP_LOCAL void AdvanceSampleSize();
    QLIP_LOCAL void AdvanceChunk();
    QLIP_LOCAL void AdvanceTime();
    QLIP_LOCAL unsigned int Deliver(unsigned char* pBuffer, unsigned int uToWrite, bool bIndexedRead);
    [[noreturn]] QLIP_LOCAL void RefuseBuffer();
    QLIP_LOCAL void WaitForHintSample();
    QLIP_LOCAL bool BuildFrame(double dSeconds);
    QLIP_LOCAL void DropFrame(unsigned int uSignal);
    QLIP_LOCAL PropFile* Producer() const;
    QLIP_LOCAL unsigned int FindSeekSample(const _TAG_QLIP_SEEK_PARAMS& Params);
    QLIP_LOCAL void SeekToSample(_TAG_QLIP_SEEK_PARAMS* pParams, unsigned int uSample);
    QLIP_LOCAL void RequireOffset(unsigned int uOffset, const char* pszTrack);
    QLIP_LOCAL unsigned int CurrentMs();
    [[noreturn]] QLIP_LOCAL void FailWithTimestamp();
    QLIP_LOCAL unsigned int FindSyncSample(unsigned int uSample, unsigned int uFlags) const;
    QLIP_LOCAL unsigned int NoteSeekTime(std::size_t uRow, unsigned int uIndex, unsigned int uTicks);
    QLIP_LOCAL bool FindHintChunk(unsigned int uSample, unsigned int* puFirstInChunk);
    QLIP_LOCAL unsigned int EnterHintChunk(unsigned int uSample, unsigned int uFirstInRun,
                                           const tagSTSC_SAMPLE_ENTRY& Entry);
    QLIP_LOCAL unsigned int BytesBefore(unsigned int uSample, unsigned int uFirstInChunk,
                                        unsigned int* puSize);
    QLIP_LOCAL unsigned int SizeOfHintSample(unsigned int uSample);
};
