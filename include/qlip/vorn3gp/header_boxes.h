// Boxes that describe the file, the movie, a track and a media (ISO/IEC 14496-12, 4.3 and clause 8).
//
// Read takes exactly the fields shown, whatever the box's size says; Dump writes them in the same order.
#pragma once

#include <string>
#include <vector>

#include "qlip/vorn3gp/box.h"

namespace Vorn3gp {

// The unity matrix.
inline constexpr unsigned int MATRIX_DEFAULT[9] = {0x00010000, 0, 0, 0, 0x00010000, 0, 0, 0, 0x40000000};

// "ftyp": file type (4.3). The number of compatible brands follows from the size in the file.
class QLIP_API FtypBox : public Box {
  public:
    FtypBox();
    ~FtypBox() override;

    Stream& Dump(Stream& stream) const override;
    Stream& Read(Stream& stream, unsigned int limit) override;
    unsigned int GetSize() const override;

    unsigned int GetMajorBrand() const;  // in file byte order

    unsigned int major_brand = type_word("3gp4");
    unsigned int minor_version = 1024;
    std::vector<unsigned int> compatible_brands;
};

// "mvhd": movie header (8.2.2).
class QLIP_API MvhdBox : public FullBox, public Timed, public FixupableTime {
  public:
    MvhdBox();
    ~MvhdBox() override;

    Stream& Dump(Stream& stream) const override;
    Stream& Read(Stream& stream, unsigned int limit) override;
    unsigned int GetSize() const override;

    // Stores the new timescale; nothing is converted.
    void SetTimescale(unsigned int new_timescale, unsigned int old_timescale) override;
    void SetDuration(unsigned int new_duration) override;
    unsigned int GetTimescale() const override;  // units a second
    unsigned int GetDuration() const override;   // in units of the timescale
    Stream& GoToStart(Stream& stream) override;

    unsigned int timescale = 10000;
    unsigned int duration = 0xFFFFFFFF;
    unsigned int rate = 0x10000;  // 16.16
    unsigned short volume = 256;  // 8.8
    unsigned short reserved = 0;
    unsigned int reserved_words[2] = {};
    unsigned int matrix[9];
    unsigned int pre_defined[6] = {};
    unsigned int next_track_ID = 0x10000;
};

// "tkhd": track header (8.3.2). Width and height stay in the 16.16 form of the file.
class QLIP_API TkhdBox : public FullBox, public FixupableDims, public FixupableTime, public Timed {
  public:
    TkhdBox();
    ~TkhdBox() override;

    Stream& Dump(Stream& stream) const override;
    Stream& Read(Stream& stream, unsigned int limit) override;
    unsigned int GetSize() const override;

    void SetDimensions(unsigned int new_width, unsigned int new_height) override;  // 16.16
    // A track header has no timescale: nothing happens.
    void SetTimescale(unsigned int new_timescale, unsigned int old_timescale) override;
    void SetDuration(unsigned int new_duration) override;
    virtual unsigned int GetTrackId() const;
    virtual unsigned short GetVolume() const;    // 8.8
    unsigned int GetTimescale() const override;  // always 0
    unsigned int GetDuration() const override;   // in units of the movie's timescale
    virtual unsigned int GetWidth() const;       // 16.16
    virtual unsigned int GetHeight() const;      // 16.16
    Stream& GoToStart(Stream& stream) override;

    unsigned int track_ID = 0;
    unsigned int reserved = 0;
    unsigned int duration = 0xFFFFFFFF;
    unsigned int reserved_words[2] = {};
    short layer = 0;
    short alternate_group = 0;
    unsigned short volume = 0;
    unsigned short reserved_half = 0;
    unsigned int matrix[9];
    unsigned int width = 0;
    unsigned int height = 0;
};

// "mdhd": media header (8.4.2).
class QLIP_API MdhdBox : public FullBox, public Timed, public FixupableTime {
  public:
    MdhdBox();
    ~MdhdBox() override;

    Stream& Dump(Stream& stream) const override;
    Stream& Read(Stream& stream, unsigned int limit) override;
    unsigned int GetSize() const override;

    // Stores the new timescale; nothing is converted.
    void SetTimescale(unsigned int new_timescale, unsigned int old_timescale) override;
    void SetDuration(unsigned int new_duration) override;
    unsigned int GetTimescale() const override;  // units a second
    unsigned int GetDuration() const override;   // in units of the timescale
    Stream& GoToStart(Stream& stream) override;

    unsigned int timescale = 299700;
    unsigned int duration = 0xFFFFFFFF;
    unsigned short language = 0x55C4;  // three letters of 5 bits (ISO 639-2/T): "und"
    unsigned short pre_defined = 0;
};

// "hdlr": handler reference (8.4.3). The length of the name follows from the size in the file.
class QLIP_API HdlrBox : public FullBox {
  public:
    HdlrBox();
    ~HdlrBox() override;

    Stream& Dump(Stream& stream) const override;
    Stream& Read(Stream& stream, unsigned int limit) override;
    unsigned int GetSize() const override;

    unsigned int GetHandlerType() const;  // in file byte order

    unsigned int pre_defined = 0;
    unsigned int handler_type = type_word("vide");
    unsigned int reserved[3] = {};
    std::string name;  // without its terminator
};

// "vmhd": video media header (12.1.2). The graphics mode of a file is passed over, so that a dump always
// writes 0.
class QLIP_API VmhdBox : public FullBox {
  public:
    VmhdBox();
    ~VmhdBox() override;

    Stream& Dump(Stream& stream) const override;
    Stream& Read(Stream& stream, unsigned int limit) override;
    unsigned int GetSize() const override;

    unsigned short graphicsmode = 0;
    unsigned short opcolor[3] = {};
};

// "smhd": sound media header (12.2.2).
class QLIP_API SmhdBox : public FullBox {
  public:
    SmhdBox();
    ~SmhdBox() override;

    Stream& Dump(Stream& stream) const override;
    Stream& Read(Stream& stream, unsigned int limit) override;
    unsigned int GetSize() const override;

    short balance = 0;  // 8.8
    unsigned short reserved = 0;
};

// "hmhd": hint media header (12.4.2).
class QLIP_API HmhdBox : public FullBox {
  public:
    HmhdBox();
    ~HmhdBox() override;

    Stream& Dump(Stream& stream) const override;
    Stream& Read(Stream& stream, unsigned int limit) override;
    unsigned int GetSize() const override;

    unsigned short maxPDUsize = 0;
    unsigned short avgPDUsize = 0;
    unsigned int maxbitrate = 0;  // bits a second
    unsigned int avgbitrate = 0;
    unsigned int reserved = 0;
};

}  // namespace Vorn3gp
