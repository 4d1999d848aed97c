#include "qlip/vorn3gp/containers.h"

#include "boxes/container.h"

using qlip::make_child;
using Vorn3gp::type_word;

namespace {

constexpr auto kStbl = [](auto& box, auto&& member) {
    member(box.stsd, box.stsd_owned, "stsd != __null");
    member(box.stts, box.stts_owned, "stts != __null");
    member(box.stsc, box.stsc_owned, "stsc != __null");
    member(box.stsz, box.stsz_owned, "stsz != __null");
    member(box.stco, box.stco_owned, "stco != __null");
    member(box.stss, box.stss_owned, nullptr);
};

constexpr auto kMinf = [](auto& box, auto&& member) {
    member(box.vmhd, box.vmhd_owned, nullptr);
    member(box.smhd, box.smhd_owned, nullptr);
    member(box.hmhd, box.hmhd_owned, nullptr);
    member(box.dinf, box.dinf_owned, "dinf != __null");
    member(box.stbl, box.stbl_owned, "stbl != __null");
};

constexpr auto kMdia = [](auto& box, auto&& member) {
    member(box.mdhd, box.mdhd_owned, "mdhd != __null");
    member(box.hdlr, box.hdlr_owned, "hdlr != __null");
    member(box.minf, box.minf_owned, "minf != __null");
};

constexpr auto kTrak = [](auto& box, auto&& member) {
    member(box.tkhd, box.tkhd_owned, "tkhd != __null");
    member(box.mdia, box.mdia_owned, "mdia != __null");
    member(box.edts, box.edts_owned, nullptr);
    member(box.tref, box.tref_owned, nullptr);
};

constexpr auto kMoov = [](auto& box, auto&& member) { member(box.mvhd, box.mvhd_owned, "mvhd != __null"); };

constexpr qlip::ChildRow kStblChildren[] = {
    {type_word("stsd"), make_child<&Vorn3gp::StblBox::SetStsd>},
    {type_word("stts"), make_child<&Vorn3gp::StblBox::SetStts>},
    {type_word("stsc"), make_child<&Vorn3gp::StblBox::SetStsc>},
    {type_word("stsz"), make_child<&Vorn3gp::StblBox::SetStsz>},
    {type_word("stco"), make_child<&Vorn3gp::StblBox::SetStco>},
    {type_word("stss"), make_child<&Vorn3gp::StblBox::SetStss>},
};

constexpr qlip::ChildRow kMinfChildren[] = {
    {type_word("vmhd"), make_child<&Vorn3gp::MinfBox::SetVmhd>},
    {type_word("smhd"), make_child<&Vorn3gp::MinfBox::SetSmhd>},
    {type_word("hmhd"), make_child<&Vorn3gp::MinfBox::SetHmhd>},
    {type_word("dinf"), make_child<&Vorn3gp::MinfBox::SetDinf>},
    {type_word("stbl"), make_child<&Vorn3gp::MinfBox::SetStbl>},
};

constexpr qlip::ChildRow kMdiaChildren[] = {
    {type_word("mdhd"), make_child<&Vorn3gp::MdiaBox::SetMdhd>},
    {type_word("hdlr"), make_child<&Vorn3gp::MdiaBox::SetHdlr>},
    {type_word("minf"), make_child<&Vorn3gp::MdiaBox::SetMinf>},
};

constexpr qlip::ChildRow kTrakChildren[] = {
    {type_word("tkhd"), make_child<&Vorn3gp::TrakBox::SetTkhd>},
    {type_word("mdia"), make_child<&Vorn3gp::TrakBox::SetMdia>},
    {type_word("tref"), make_child<&Vorn3gp::TrakBox::SetTref>},
    {type_word("edts"), make_child<&Vorn3gp::TrakBox::SetEdts>},
};

constexpr qlip::ChildRow kMoovChildren[] = {
    {type_word("mvhd"), make_child<&Vorn3gp::MoovBox::SetMvhd>},
    {type_word("trak"), make_child<&Vorn3gp::MoovBox::AddTrak>},
};

// Of all containers the media information alone deletes what it replaces.
template <class Child>
void replace_child(Child*& member, bool& flag, Child* child, bool owned) {
    if (member && flag && member != child) delete member;
    member = child;
    flag = owned;
}

}  // namespace

namespace Vorn3gp {

StblBox::StblBox() : ContainerBox(type_word("stbl")) {}

StblBox::~StblBox() {
    qlip::delete_members(*this, kStbl);
}

Stream& StblBox::Dump(Stream& stream) const {
    qlip::dump_container(stream, *this, kStbl);
    return qlip::dump_children(stream, optional_boxes);
}

Stream& StblBox::Read(Stream& stream, unsigned int limit) {
    return qlip::read_container(*this, stream, limit, kStblChildren);
}

unsigned int StblBox::GetSize() const {
    return qlip::size_of_container(*this, kStbl) + qlip::size_of_children(optional_boxes);
}

void StblBox::SetStsd(StsdBox* child, bool owned) {
    qlip::set_child(stsd, stsd_owned, child, owned);
}

void StblBox::SetStts(SttsBox* child, bool owned) {
    qlip::set_child(stts, stts_owned, child, owned);
}

void StblBox::SetStsc(StscBox* child, bool owned) {
    qlip::set_child(stsc, stsc_owned, child, owned);
}

void StblBox::SetStsz(StszBox* child, bool owned) {
    qlip::set_child(stsz, stsz_owned, child, owned);
}

void StblBox::SetStco(StcoBox* child, bool owned) {
    qlip::set_child(stco, stco_owned, child, owned);
}

void StblBox::SetStss(StssBox* child, bool owned) {
    qlip::set_child(stss, stss_owned, child, owned);
}

StsdBox* StblBox::GetStsd() const {
    return stsd;
}

SttsBox* StblBox::GetStts() const {
    return stts;
}

StscBox* StblBox::GetStsc() const {
    return stsc;
}

StszBox* StblBox::GetStsz() const {
    return stsz;
}

StcoBox* StblBox::GetStco() const {
    return stco;
}

StssBox* StblBox::GetStss() const {
    return stss;
}

MinfBox::MinfBox() : ContainerBox(type_word("minf")) {}

MinfBox::~MinfBox() {
    qlip::delete_members(*this, kMinf);
}

Stream& MinfBox::Dump(Stream& stream) const {
    return qlip::dump_container(stream, *this, kMinf);
}

Stream& MinfBox::Read(Stream& stream, unsigned int limit) {
    return qlip::read_container(*this, stream, limit, kMinfChildren);
}

unsigned int MinfBox::GetSize() const {
    return qlip::size_of_container(*this, kMinf);
}

void MinfBox::SetVmhd(VmhdBox* child, bool owned) {
    replace_child(vmhd, vmhd_owned, child, owned);
}

void MinfBox::SetSmhd(SmhdBox* child, bool owned) {
    replace_child(smhd, smhd_owned, child, owned);
}

void MinfBox::SetHmhd(HmhdBox* child, bool owned) {
    replace_child(hmhd, hmhd_owned, child, owned);
}

void MinfBox::SetDinf(DinfBox* child, bool owned) {
    replace_child(dinf, dinf_owned, child, owned);
}

void MinfBox::SetStbl(StblBox* child, bool owned) {
    replace_child(stbl, stbl_owned, child, owned);
}

StblBox* MinfBox::GetStbl() const {
    return stbl;
}

MdiaBox::MdiaBox() : ContainerBox(type_word("mdia")) {}

MdiaBox::~MdiaBox() {
    qlip::delete_members(*this, kMdia);
}

Stream& MdiaBox::Dump(Stream& stream) const {
    return qlip::dump_container(stream, *this, kMdia);
}

Stream& MdiaBox::Read(Stream& stream, unsigned int limit) {
    return qlip::read_container(*this, stream, limit, kMdiaChildren);
}

unsigned int MdiaBox::GetSize() const {
    return qlip::size_of_container(*this, kMdia);
}

void MdiaBox::SetMdhd(MdhdBox* child, bool owned) {
    qlip::set_child(mdhd, mdhd_owned, child, owned);
}

void MdiaBox::SetHdlr(HdlrBox* child, bool owned) {
    qlip::set_child(hdlr, hdlr_owned, child, owned);
}

void MdiaBox::SetMinf(MinfBox* child, bool owned) {
    qlip::set_child(minf, minf_owned, child, owned);
}

MdhdBox* MdiaBox::GetMdhd() const {
    return mdhd;
}

HdlrBox* MdiaBox::GetHdlr() const {
    return hdlr;
}

MinfBox* MdiaBox::GetMinf() const {
    return minf;
}

TrakBox::TrakBox() : ContainerBox(type_word("trak")) {}

TrakBox::~TrakBox() {
    qlip::delete_members(*this, kTrak);
}

Stream& TrakBox::Dump(Stream& stream) const {
    return qlip::dump_container(stream, *this, kTrak);
}

Stream& TrakBox::Read(Stream& stream, unsigned int limit) {
    return qlip::read_container(*this, stream, limit, kTrakChildren);
}

unsigned int TrakBox::GetSize() const {
    return qlip::size_of_container(*this, kTrak);
}

void TrakBox::SetTkhd(TkhdBox* child, bool owned) {
    qlip::set_child(tkhd, tkhd_owned, child, owned);
}

void TrakBox::SetMdia(MdiaBox* child, bool owned) {
    qlip::set_child(mdia, mdia_owned, child, owned);
}

void TrakBox::SetEdts(EdtsBox* child, bool owned) {
    qlip::set_child(edts, edts_owned, child, owned);
}

void TrakBox::SetTref(TrefBox* child, bool owned) {
    qlip::set_child(tref, tref_owned, child, owned);
}

TkhdBox* TrakBox::GetTkhd() const {
    return tkhd;
}

MdiaBox* TrakBox::GetMdia() const {
    return mdia;
}

EdtsBox* TrakBox::GetEdts() const {
    return edts;
}

TrefBox* TrakBox::GetTref() const {
    return tref;
}

MoovBox::MoovBox() : ContainerBox(type_word("moov")) {}

MoovBox::~MoovBox() {
    qlip::delete_members(*this, kMoov);
    qlip::delete_owned(traks, traks_owned);
}

Stream& MoovBox::Dump(Stream& stream) const {
    qlip::dump_container(stream, *this, kMoov);
    return qlip::dump_children(stream, traks);
}

Stream& MoovBox::Read(Stream& stream, unsigned int limit) {
    return qlip::read_container(*this, stream, limit, kMoovChildren);
}

unsigned int MoovBox::GetSize() const {
    return qlip::size_of_container(*this, kMoov) + qlip::size_of_children(traks);
}

void MoovBox::SetMvhd(MvhdBox* child, bool owned) {
    qlip::set_child(mvhd, mvhd_owned, child, owned);
}

void MoovBox::AddTrak(TrakBox* child, bool owned) {
    qlip::append_child(traks, traks_owned, child, owned);
}

MvhdBox* MoovBox::GetMvhd() const {
    return mvhd;
}

const std::vector<TrakBox*>& MoovBox::GetTraks() const {
    return traks;
}

}  // namespace Vorn3gp
