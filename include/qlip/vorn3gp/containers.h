// The containers from "moov" down to "stbl" (ISO/IEC 14496-12, clause 8).
//
// Read gathers what the file holds and requires nothing: a child that is missing is null, and of duplicates
// the last wins. Dump requires the children that a file cannot do without: one that is missing ends the
// process, as a failed assertion does, before anything is written. GetSize counts nothing for it. Only
// StblBox writes and counts its optional boxes.
#pragma once

#include <vector>

#include "qlip/vorn3gp/header_boxes.h"
#include "qlip/vorn3gp/reference_boxes.h"
#include "qlip/vorn3gp/sample_tables.h"

namespace Vorn3gp {

// "stbl": sample table (8.5.1). Dump requires all but stss.
class QLIP_API StblBox : public ContainerBox {
  public:
    StblBox();
    ~StblBox() override;

    Stream& Dump(Stream& stream) const override;
    Stream& Read(Stream& stream, unsigned int limit) override;
    unsigned int GetSize() const override;

    void SetStsd(StsdBox* child, bool owned);
    void SetStts(SttsBox* child, bool owned);
    void SetStsc(StscBox* child, bool owned);
    void SetStsz(StszBox* child, bool owned);
    void SetStco(StcoBox* child, bool owned);
    void SetStss(StssBox* child, bool owned);

    StsdBox* GetStsd() const;
    SttsBox* GetStts() const;
    StscBox* GetStsc() const;
    StszBox* GetStsz() const;
    StcoBox* GetStco() const;
    StssBox* GetStss() const;

    StsdBox* stsd = nullptr;
    bool stsd_owned = false;
    SttsBox* stts = nullptr;
    bool stts_owned = false;
    StscBox* stsc = nullptr;
    bool stsc_owned = false;
    StszBox* stsz = nullptr;
    bool stsz_owned = false;
    StcoBox* stco = nullptr;
    bool stco_owned = false;
    StssBox* stss = nullptr;
    bool stss_owned = false;
};

// "minf": media information (8.4.4). Dump requires dinf and stbl. Here alone a Set* operation deletes the
// owned child that it replaces.
class QLIP_API MinfBox : public ContainerBox {
  public:
    MinfBox();
    ~MinfBox() override;

    Stream& Dump(Stream& stream) const override;
    Stream& Read(Stream& stream, unsigned int limit) override;
    unsigned int GetSize() const override;

    void SetVmhd(VmhdBox* child, bool owned);
    void SetSmhd(SmhdBox* child, bool owned);
    void SetHmhd(HmhdBox* child, bool owned);
    void SetDinf(DinfBox* child, bool owned);
    void SetStbl(StblBox* child, bool owned);

    StblBox* GetStbl() const;

    VmhdBox* vmhd = nullptr;
    bool vmhd_owned = false;
    SmhdBox* smhd = nullptr;
    bool smhd_owned = false;
    HmhdBox* hmhd = nullptr;
    bool hmhd_owned = false;
    DinfBox* dinf = nullptr;
    bool dinf_owned = false;
    StblBox* stbl = nullptr;
    bool stbl_owned = false;
};

// "mdia": media (8.4.1). Dump requires all three.
class QLIP_API MdiaBox : public ContainerBox {
  public:
    MdiaBox();
    ~MdiaBox() override;

    Stream& Dump(Stream& stream) const override;
    Stream& Read(Stream& stream, unsigned int limit) override;
    unsigned int GetSize() const override;

    void SetMdhd(MdhdBox* child, bool owned);
    void SetHdlr(HdlrBox* child, bool owned);
    void SetMinf(MinfBox* child, bool owned);

    MdhdBox* GetMdhd() const;
    HdlrBox* GetHdlr() const;
    MinfBox* GetMinf() const;

    MdhdBox* mdhd = nullptr;
    bool mdhd_owned = false;
    HdlrBox* hdlr = nullptr;
    bool hdlr_owned = false;
    MinfBox* minf = nullptr;
    bool minf_owned = false;
};

// "trak": track (8.3.1). Dump requires tkhd and mdia.
class QLIP_API TrakBox : public ContainerBox {
  public:
    TrakBox();
    ~TrakBox() override;

    Stream& Dump(Stream& stream) const override;
    Stream& Read(Stream& stream, unsigned int limit) override;
    unsigned int GetSize() const override;

    void SetTkhd(TkhdBox* child, bool owned);
    void SetMdia(MdiaBox* child, bool owned);
    void SetEdts(EdtsBox* child, bool owned);
    void SetTref(TrefBox* child, bool owned);

    TkhdBox* GetTkhd() const;
    MdiaBox* GetMdia() const;
    EdtsBox* GetEdts() const;
    TrefBox* GetTref() const;

    TkhdBox* tkhd = nullptr;
    bool tkhd_owned = false;
    MdiaBox* mdia = nullptr;
    bool mdia_owned = false;
    EdtsBox* edts = nullptr;
    bool edts_owned = false;
    TrefBox* tref = nullptr;
    bool tref_owned = false;
};

// "moov": movie (8.2.1). Dump requires mvhd.
class QLIP_API MoovBox : public ContainerBox {
  public:
    MoovBox();
    ~MoovBox() override;

    Stream& Dump(Stream& stream) const override;
    Stream& Read(Stream& stream, unsigned int limit) override;
    unsigned int GetSize() const override;

    void SetMvhd(MvhdBox* child, bool owned);
    void AddTrak(TrakBox* child, bool owned);

    MvhdBox* GetMvhd() const;                       // may be null
    const std::vector<TrakBox*>& GetTraks() const;  // in file order

    MvhdBox* mvhd = nullptr;
    bool mvhd_owned = false;
    std::vector<TrakBox*> traks;
    std::vector<bool> traks_owned;
};

}  // namespace Vorn3gp
