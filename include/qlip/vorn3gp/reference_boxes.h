// Boxes that point elsewhere: data references, edits, track references (ISO/IEC
// 14496-12, 8.7.1, 8.6.5, 8.3.3).
#pragma once

#include <vector>

#include "qlip/vorn3gp/box.h"

// One row of an edit list (8.6.6), in version 0 form.
struct tagELST_EDIT_ENTRY {
    unsigned int segment_duration;  // in units of the movie's timescale
    int media_time;                 // in units of the media's timescale; -1 for an empty edit
    short media_rate_integer;
    short media_rate_fraction;
};

namespace Vorn3gp {

// "url ": an entry of a data reference (8.7.2). Type and size are those of the file, whatever kind of entry
// it is; its version, flags and location are skipped, so that it dumps as self-contained.
class QLIP_API DataEntryBox : public FullBox {
  public:
    DataEntryBox();
    ~DataEntryBox() override;

    Stream& Read(Stream& stream, unsigned int limit) override;
};

// "dref": data references (8.7.2).
class QLIP_API DrefBox : public FullBox {
  public:
    DrefBox();
    ~DrefBox() override;

    Stream& Dump(Stream& stream) const override;
    Stream& Read(Stream& stream, unsigned int limit) override;
    unsigned int GetSize() const override;

    void AddDataEntryBox(DataEntryBox* entry, bool owned);

    std::vector<DataEntryBox*> entries;
    std::vector<bool> entries_owned;
};

// "dinf": data information (8.7.1). Dump requires the child.
class QLIP_API DinfBox : public ContainerBox {
  public:
    DinfBox();
    ~DinfBox() override;

    Stream& Dump(Stream& stream) const override;
    Stream& Read(Stream& stream, unsigned int limit) override;
    unsigned int GetSize() const override;

    void SetDref(DrefBox* child, bool owned);

    DrefBox* dref = nullptr;
    bool dref_owned = false;
};

// "elst": edit list (8.6.6).
class QLIP_API ElstBox : public FullBox {
  public:
    ElstBox();
    ~ElstBox() override;

    Stream& Dump(Stream& stream) const override;
    Stream& Read(Stream& stream, unsigned int limit) override;
    unsigned int GetSize() const override;

    const std::vector<tagELST_EDIT_ENTRY>& GetEditEntries() const;

    std::vector<tagELST_EDIT_ENTRY> edit_entries;
};

// "edts": edits (8.6.5). Dump requires the child.
class QLIP_API EdtsBox : public ContainerBox {
  public:
    EdtsBox();
    ~EdtsBox() override;

    Stream& Dump(Stream& stream) const override;
    Stream& Read(Stream& stream, unsigned int limit) override;
    unsigned int GetSize() const override;

    void SetElst(ElstBox* child, bool owned);
    ElstBox* GetElst() const;  // may be null

    ElstBox* elst = nullptr;
    bool elst_owned = false;
};

// "hint": the track that a hint track refers to (8.3.3). Only the first ID of a box is read; the words behind
// it are taken as the header of the next box.
class QLIP_API TrackReferenceTypeBox : public Box {
  public:
    TrackReferenceTypeBox();
    ~TrackReferenceTypeBox() override;

    Stream& Dump(Stream& stream) const override;
    Stream& Read(Stream& stream, unsigned int limit) override;
    unsigned int GetSize() const override;

    // There is one ID, at index 0; any other index throws SimpleException.
    unsigned int GetTrackID(unsigned int index) const;

    unsigned int track_ID = 0;
};

// "tref": track references (8.3.3). References other than "hint" are skipped. Dump requires the child.
class QLIP_API TrefBox : public ContainerBox {
  public:
    TrefBox();
    ~TrefBox() override;

    Stream& Dump(Stream& stream) const override;
    Stream& Read(Stream& stream, unsigned int limit) override;
    unsigned int GetSize() const override;

    void SetTrackReferenceTypeBox(TrackReferenceTypeBox* child, bool owned);
    TrackReferenceTypeBox* GetTrackReferenceTypeBox() const;  // may be null

    TrackReferenceTypeBox* hint = nullptr;
    bool hint_owned = false;
};

}  // namespace Vorn3gp
