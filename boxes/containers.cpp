#include "qlip/vorn3gp/containers.h"

#include "boxes/container.h"

using qlip::child;
using enum qlip::Presence;

namespace Vorn3gp {

namespace {

constexpr qlip::Child kStbl[] = {
    child<&StblBox::stsd, &StblBox::stsd_owned, &StblBox::SetStsd>("stsd", Required),
    child<&StblBox::stts, &StblBox::stts_owned, &StblBox::SetStts>("stts", Required),
    child<&StblBox::stsc, &StblBox::stsc_owned, &StblBox::SetStsc>("stsc", Required),
    child<&StblBox::stsz, &StblBox::stsz_owned, &StblBox::SetStsz>("stsz", Required),
    child<&StblBox::stco, &StblBox::stco_owned, &StblBox::SetStco>("stco", Required),
    child<&StblBox::stss, &StblBox::stss_owned, &StblBox::SetStss>("stss"),
};

constexpr qlip::Child kMinf[] = {
    child<&MinfBox::vmhd, &MinfBox::vmhd_owned, &MinfBox::SetVmhd>("vmhd"),
    child<&MinfBox::smhd, &MinfBox::smhd_owned, &MinfBox::SetSmhd>("smhd"),
    child<&MinfBox::hmhd, &MinfBox::hmhd_owned, &MinfBox::SetHmhd>("hmhd"),
    child<&MinfBox::dinf, &MinfBox::dinf_owned, &MinfBox::SetDinf>("dinf", Required),
    child<&MinfBox::stbl, &MinfBox::stbl_owned, &MinfBox::SetStbl>("stbl", Required),
};

constexpr qlip::Child kMdia[] = {
    child<&MdiaBox::mdhd, &MdiaBox::mdhd_owned, &MdiaBox::SetMdhd>("mdhd", Required),
    child<&MdiaBox::hdlr, &MdiaBox::hdlr_owned, &MdiaBox::SetHdlr>("hdlr", Required),
    child<&MdiaBox::minf, &MdiaBox::minf_owned, &MdiaBox::SetMinf>("minf", Required),
};

constexpr qlip::Child kTrak[] = {
    child<&TrakBox::tkhd, &TrakBox::tkhd_owned, &TrakBox::SetTkhd>("tkhd", Required),
    child<&TrakBox::mdia, &TrakBox::mdia_owned, &TrakBox::SetMdia>("mdia", Required),
    child<&TrakBox::edts, &TrakBox::edts_owned, &TrakBox::SetEdts>("edts"),
    child<&TrakBox::tref, &TrakBox::tref_owned, &TrakBox::SetTref>("tref"),
};

constexpr qlip::Child kMoov[] = {
    child<&MoovBox::mvhd, &MoovBox::mvhd_owned, &MoovBox::SetMvhd>("mvhd", Required),
    child<&MoovBox::traks, &MoovBox::traks_owned, &MoovBox::AddTrak>("trak"),
};

}  // namespace

StblBox::StblBox() : ContainerBox(type_word("stbl")) {}

StblBox::~StblBox() {
    qlip::delete_children(*this, kStbl);
}

Stream& StblBox::Dump(Stream& stream) const {
    qlip::dump_container(*this, stream, kStbl);
    return qlip::dump(stream, optional_boxes);
}

Stream& StblBox::Read(Stream& stream, unsigned int limit) {
    return qlip::read_container(*this, stream, limit, kStbl);
}

unsigned int StblBox::GetSize() const {
    return qlip::size_of_container(*this, kStbl) + qlip::size_of(optional_boxes);
}

QLIP_CHILD(StblBox, Stsd, stsd)
QLIP_CHILD(StblBox, Stts, stts)
QLIP_CHILD(StblBox, Stsc, stsc)
QLIP_CHILD(StblBox, Stsz, stsz)
QLIP_CHILD(StblBox, Stco, stco)
QLIP_CHILD(StblBox, Stss, stss)

MinfBox::MinfBox() : ContainerBox(type_word("minf")) {}

MinfBox::~MinfBox() {
    qlip::delete_children(*this, kMinf);
}

Stream& MinfBox::Dump(Stream& stream) const {
    return qlip::dump_container(*this, stream, kMinf);
}

Stream& MinfBox::Read(Stream& stream, unsigned int limit) {
    return qlip::read_container(*this, stream, limit, kMinf);
}

unsigned int MinfBox::GetSize() const {
    return qlip::size_of_container(*this, kMinf);
}

// Of all containers the media information alone deletes what it replaces.
QLIP_CHILD_SETTER(MinfBox, Vmhd, vmhd, replace_child)
QLIP_CHILD_SETTER(MinfBox, Smhd, smhd, replace_child)
QLIP_CHILD_SETTER(MinfBox, Hmhd, hmhd, replace_child)
QLIP_CHILD_SETTER(MinfBox, Dinf, dinf, replace_child)
QLIP_CHILD_SETTER(MinfBox, Stbl, stbl, replace_child)
QLIP_CHILD_GETTER(MinfBox, Stbl, stbl)

MdiaBox::MdiaBox() : ContainerBox(type_word("mdia")) {}

MdiaBox::~MdiaBox() {
    qlip::delete_children(*this, kMdia);
}

Stream& MdiaBox::Dump(Stream& stream) const {
    return qlip::dump_container(*this, stream, kMdia);
}

Stream& MdiaBox::Read(Stream& stream, unsigned int limit) {
    return qlip::read_container(*this, stream, limit, kMdia);
}

unsigned int MdiaBox::GetSize() const {
    return qlip::size_of_container(*this, kMdia);
}

QLIP_CHILD(MdiaBox, Mdhd, mdhd)
QLIP_CHILD(MdiaBox, Hdlr, hdlr)
QLIP_CHILD(MdiaBox, Minf, minf)

TrakBox::TrakBox() : ContainerBox(type_word("trak")) {}

TrakBox::~TrakBox() {
    qlip::delete_children(*this, kTrak);
}

Stream& TrakBox::Dump(Stream& stream) const {
    return qlip::dump_container(*this, stream, kTrak);
}

Stream& TrakBox::Read(Stream& stream, unsigned int limit) {
    return qlip::read_container(*this, stream, limit, kTrak);
}

unsigned int TrakBox::GetSize() const {
    return qlip::size_of_container(*this, kTrak);
}

QLIP_CHILD(TrakBox, Tkhd, tkhd)
QLIP_CHILD(TrakBox, Mdia, mdia)
QLIP_CHILD(TrakBox, Edts, edts)
QLIP_CHILD(TrakBox, Tref, tref)

MoovBox::MoovBox() : ContainerBox(type_word("moov")) {}

MoovBox::~MoovBox() {
    qlip::delete_children(*this, kMoov);
}

Stream& MoovBox::Dump(Stream& stream) const {
    return qlip::dump_container(*this, stream, kMoov);
}

Stream& MoovBox::Read(Stream& stream, unsigned int limit) {
    return qlip::read_container(*this, stream, limit, kMoov);
}

unsigned int MoovBox::GetSize() const {
    return qlip::size_of_container(*this, kMoov);
}

QLIP_CHILD(MoovBox, Mvhd, mvhd)

void MoovBox::AddTrak(TrakBox* child, bool owned) {
    qlip::append_child(traks, traks_owned, child, owned);
}

const std::vector<TrakBox*>& MoovBox::GetTraks() const {
    return traks;
}

}  // namespace Vorn3gp
