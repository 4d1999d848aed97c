// Sample descriptions and their configuration boxes (ISO/IEC 14496-12, 8.5.2 and 12; 3GPP TS 26.244, clause
// 6; ISO/IEC 14496-14, 5.6; ISO/IEC 14496-15, 5.3).
//
// The visual entries take the box behind their fixed fields for their own configuration, whatever its type.
// Their Dump throws SimpleException, before anything is written, when they have no child. GetSize counts no
// child then.
#pragma once

#include "qlip/vorn3gp/box.h"

// The contents of "d263" (3GPP TS 26.244, 6.8).
struct tagH263_DEC_SPEC {
    unsigned int vendor;  // in file byte order
    unsigned char decoder_version;
    unsigned char h263_level;
    unsigned char h263_profile;
};

// The contents of "esds": an ES descriptor (ISO/IEC 14496-1, 7.2.6.5) with its three descriptors in the order
// of decoder configuration, decoder specific info, SL configuration, and no optional field.
struct tagESD_INFO {
    unsigned char es_tag = 3;
    unsigned int es_size = 23;
    unsigned short es_id = 1;
    unsigned char es_flags = 0;
    unsigned char dc_tag = 4;
    unsigned int dc_size = 15;
    unsigned char object_type = 0x20;  // 0x20, MPEG-4 visual
    unsigned char stream_type = 17;
    unsigned char buffer_size[3] = {};
    unsigned int max_bitrate = 0;  // bits a second
    unsigned int avg_bitrate = 0;
    unsigned char dsi_tag = 5;
    unsigned int dsi_size = 0;
    unsigned char dsi_size_byte = 0;  // low 8 bits of dsi_size
    unsigned char* dsi = nullptr;     // from malloc, owned by the box
    unsigned char sl_tag = 6;
    unsigned int sl_size = 1;
    unsigned char sl_value = 2;
};

// Reads a descriptor size of up to four bytes, 7 bits each, most significant first; the top bit says that
// another byte follows.
QLIP_API Vorn3gp::Stream& ReadDescriptorSize(Vorn3gp::Stream& stream, unsigned int& size);

namespace Vorn3gp {

// What all sample descriptions begin with.
class QLIP_API SampleEntry : public Box {
  public:
    SampleEntry(unsigned int type, unsigned short data_reference_index);
    ~SampleEntry() override;

    Stream& Dump(Stream& stream) const override;
    Stream& Read(Stream& stream, unsigned int limit) override;
    unsigned int GetSize() const override;

    unsigned char reserved[6] = {};
    unsigned short data_reference_index;  // from 1
};

// The fixed fields of a visual sample entry (ISO/IEC 14496-12, 12.1.3).
struct VisualFields {
    unsigned int reserved_words[4] = {};
    unsigned short width = 176;  // pixels
    unsigned short height = 144;
    unsigned int horizresolution = 0x480000;  // 16.16, dots an inch
    unsigned int vertresolution = 0x480000;
    unsigned int reserved_word = 0;
    unsigned short frame_count = 1;
    unsigned char compressorname[32] = {};
    unsigned short depth = 24;
    unsigned short pre_defined = 0xFFFF;
};

// "d263": H.263 configuration (3GPP TS 26.244, 6.8).
class QLIP_API H263SpecificBox : public Box {
  public:
    H263SpecificBox();
    ~H263SpecificBox() override;

    Stream& Dump(Stream& stream) const override;
    Stream& Read(Stream& stream, unsigned int limit) override;
    unsigned int GetSize() const override;

    void GetH263Specific(tagH263_DEC_SPEC* specific) const;

    unsigned int vendor = type_word("intc");
    unsigned char decoder_version = 5;
    unsigned char h263_level = 10;
    unsigned char h263_profile = 0;
};

// "damr": AMR configuration (3GPP TS 26.244, 6.7).
class QLIP_API AMRSpecificBox : public Box {
  public:
    AMRSpecificBox();
    ~AMRSpecificBox() override;

    Stream& Dump(Stream& stream) const override;
    Stream& Read(Stream& stream, unsigned int limit) override;
    unsigned int GetSize() const override;

    unsigned short GetModeSet() const;

    unsigned int vendor = type_word("intc");
    unsigned char decoder_version = 5;
    unsigned short mode_set = 128;
    unsigned char mode_change_period = 0;
    unsigned char frames_per_sample = 1;
};

// "esds": MPEG-4 visual configuration (ISO/IEC 14496-14, 5.6).
//
// Read ends the process with exit(1), after a line on standard error, when the object type is not MPEG-4
// visual; from a record with limits (limits.h) it throws SimpleException. Dump writes every descriptor size
// as one byte, so sizes of 128 and more do not survive.
class QLIP_API ESDBox : public FullBox {
  public:
    ESDBox();
    ~ESDBox() override;

    Stream& Dump(Stream& stream) const override;
    Stream& Read(Stream& stream, unsigned int limit) override;
    unsigned int GetSize() const override;

    // Good as long as the box. Whoever changes dsi or a size keeps the others in step.
    tagESD_INFO* GetESDInfo();
    const tagESD_INFO* GetESDInfo() const;

    tagESD_INFO info;
};

// "avcC": H.264 configuration (ISO/IEC 14496-15, 5.3.3).
//
// The parameter sets are held as an Annex B byte string, each behind 00 00 00 01, at most 255 bytes in all: a
// longer total wraps to the start, and a set of 256 bytes or more never ends but with the stream. Read makes
// no size check and keeps neither position nor size; GetSize is 12 at all times, and Dump writes that size
// whatever follows.
class QLIP_API AVCCBox : public FullBox {
  public:
    AVCCBox();
    ~AVCCBox() override;

    Stream& Dump(Stream& stream) const override;
    Stream& Read(Stream& stream, unsigned int limit) override;
    unsigned int GetSize() const override;

    unsigned char configuration_version = 1;
    unsigned char profile = 0;
    unsigned char profile_compatibility = 0;
    unsigned char level = 0;
    unsigned char length_reserved = 0;
    unsigned char nal_length_size = 4;  // 1 to 4
    unsigned char sps_reserved = 0;
    unsigned char sps_count = 0;
    unsigned char pps_count = 0;
    unsigned short sps_length = 0;  // of the last set read
    unsigned short pps_length = 0;
    unsigned char parameter_sets_size = 0;
    unsigned char* parameter_sets = nullptr;  // from malloc, owned by the box
    unsigned char unset[3] = {11, 0, 0};      // no operation sets these; GetSize adds the third
};

// "s263": an H.263 track.
class QLIP_API H263SampleEntry : public SampleEntry, public FixupableDims {
  public:
    H263SampleEntry();
    ~H263SampleEntry() override;

    Stream& Dump(Stream& stream) const override;
    Stream& Read(Stream& stream, unsigned int limit) override;
    unsigned int GetSize() const override;

    void SetDimensions(unsigned int width, unsigned int height) override;  // pixels, cut to 16 bits
    Stream& GoToStart(Stream& stream) override;

    unsigned short GetWidth() const;
    unsigned short GetHeight() const;
    void SetH263Specific(H263SpecificBox* child, bool owned);
    H263SpecificBox* GetH263Specific() const;

    VisualFields visual;
    H263SpecificBox* h263_specific = nullptr;
    bool h263_specific_owned = false;
};

// "avc1": an H.264 track.
class QLIP_API H264SampleEntry : public SampleEntry, public FixupableDims {
  public:
    H264SampleEntry();
    ~H264SampleEntry() override;

    Stream& Dump(Stream& stream) const override;
    Stream& Read(Stream& stream, unsigned int limit) override;
    unsigned int GetSize() const override;

    void SetDimensions(unsigned int width, unsigned int height) override;  // pixels, cut to 16 bits
    Stream& GoToStart(Stream& stream) override;

    void SetAVCCBox(AVCCBox* child, bool owned);

    VisualFields visual;
    AVCCBox* avcc = nullptr;
    bool avcc_owned = false;
};

// "mp4v": an MPEG-4 visual track.
class QLIP_API MP4VisualSampleEntry : public SampleEntry, public FixupableDims {
  public:
    MP4VisualSampleEntry();
    ~MP4VisualSampleEntry() override;

    Stream& Dump(Stream& stream) const override;
    Stream& Read(Stream& stream, unsigned int limit) override;
    unsigned int GetSize() const override;

    void SetDimensions(unsigned int width, unsigned int height) override;  // pixels, cut to 16 bits
    Stream& GoToStart(Stream& stream) override;

    unsigned short GetWidth() const;
    unsigned short GetHeight() const;
    void SetESDBox(ESDBox* child, bool owned);
    ESDBox* GetESDBox() const;

    VisualFields visual;
    ESDBox* esd = nullptr;
    bool esd_owned = false;
};

// "samr", "sawb": an AMR-NB or AMR-WB track (3GPP TS 26.244, 6.5). A file without the "damr" box is read all
// the same, with a log line.
class QLIP_API AMRSampleEntry : public SampleEntry {
  public:
    explicit AMRSampleEntry(unsigned int type);
    ~AMRSampleEntry() override;

    Stream& Dump(Stream& stream) const override;
    Stream& Read(Stream& stream, unsigned int limit) override;
    unsigned int GetSize() const override;

    void SetAMRSpecific(AMRSpecificBox* child, bool owned);
    AMRSpecificBox* GetAMRSpecific() const;  // may be null

    unsigned int reserved_words[2] = {};
    unsigned short channelcount = 2;
    unsigned short samplesize = 16;
    unsigned int reserved_word = 0;
    unsigned short samplerate_high = 8000;  // integer part of the rate
    unsigned short samplerate_low = 0;
    AMRSpecificBox* amr_specific = nullptr;
    bool amr_specific_owned = false;
};

// A sample description that the model does not know. The payload is all behind the box header. GetSize is 16
// whatever the payload, so the size that a dump writes is wrong for most.
class QLIP_API NullSampleEntry : public SampleEntry {
  public:
    NullSampleEntry();
    ~NullSampleEntry() override;

    Stream& Dump(Stream& stream) const override;
    Stream& Read(Stream& stream, unsigned int limit) override;
    unsigned int GetSize() const override;

    unsigned char* payload = nullptr;  // from new[], owned by the box
    int payload_size = 0;
};

// A hint sample description with its contents unparsed. Read takes 8 bytes more than the box holds, since the
// payload's length does not count the fields in front of it.
class QLIP_API HintSampleEntry : public SampleEntry {
  public:
    explicit HintSampleEntry(unsigned int type);
    ~HintSampleEntry() override;

    Stream& Dump(Stream& stream) const override;
    Stream& Read(Stream& stream, unsigned int limit) override;
    unsigned int GetSize() const override;

    unsigned char* payload = nullptr;  // from new[], owned by the box
    int payload_size = 0;
};

// "tims": the RTP timescale of a hint track (ISO/IEC 14496-12, 9.1.2).
class QLIP_API TimeScaleEntry : public Box {
  public:
    TimeScaleEntry();
    ~TimeScaleEntry() override;

    Stream& Dump(Stream& stream) const override;
    Stream& Read(Stream& stream, unsigned int limit) override;
    unsigned int GetSize() const override;

    unsigned int timescale = 0;
};

// "rtp ": an RTP hint sample description (ISO/IEC 14496-12, 9.1.2). The child must be attached before Read,
// which throws SimpleException without it.
class QLIP_API RTPHintSampleEntry : public SampleEntry {
  public:
    RTPHintSampleEntry();
    ~RTPHintSampleEntry() override;

    Stream& Dump(Stream& stream) const override;
    Stream& Read(Stream& stream, unsigned int limit) override;
    unsigned int GetSize() const override;

    void SetTimeScaleEntry(TimeScaleEntry* child, bool owned);

    unsigned short hinttrackversion = 0;
    unsigned short highestcompatibleversion = 0;
    unsigned int maxpacketsize = 0;
    TimeScaleEntry* timescale_entry = nullptr;
    bool timescale_entry_owned = false;
};

}  // namespace Vorn3gp
