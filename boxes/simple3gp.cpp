#include "boxes/container.h"
#include "common/log.h"
#include "qlip/vorn3gp/containers.h"
#include "qlip/vorn3gp/file.h"

using qlip::make_child;
using Vorn3gp::type_word;

namespace {

constexpr const char* kPath = "filegen/src/simple3gp";

constexpr auto kMembers = [](auto& file, auto&& member) {
    member(file.ftyp, file.ftyp_owned, "ftyp != __null");
    member(file.moov, file.moov_owned, "moov != __null");
};

constexpr qlip::ChildRow kChildren[] = {
    {type_word("mdat"), make_child<&Vorn3gp::Simple3gp::AddMdat>},
    {type_word("moov"), make_child<&Vorn3gp::Simple3gp::SetMoov>},
    {type_word("ftyp"), make_child<&Vorn3gp::Simple3gp::SetFtyp>},
};

const char* class_name(unsigned int type) {
    switch (type) {
        case type_word("mdat"):
            return "MdatBox";
        case type_word("moov"):
            return "MoovBox";
        case type_word("ftyp"):
            return "FtypBox";
        default:
            return "UnknownBox";
    }
}

}  // namespace

namespace Vorn3gp {

Simple3gp::Simple3gp() = default;

Simple3gp::~Simple3gp() {
    qlip::delete_members(*this, kMembers);
    qlip::delete_owned(mdats, mdats_owned);
}

Stream& Simple3gp::Dump(Stream& stream) const {
    qlip::require_members(*this, kMembers);
    qlip::dump_members(stream, *this, kMembers);
    return qlip::dump_children(stream, mdats);
}

Stream& Simple3gp::Read(Stream& stream, unsigned int /*limit*/) {
    const unsigned int file_size = GetFileSize(stream);
    qlip::WalkGuard guard;
    const Box* last = nullptr;
    unsigned int before = 0;
    unsigned int next = peek_box(stream, file_size);
    while (!macro_IsEOF(stream)) {
        const unsigned int at = macro_Tell(stream);
        if (at >= file_size || (last && !guard.goes_on(*last, before, at))) break;
        QLIP_LOG_DEBUG(kPath, "Simple3gp::Read() Creating %s", class_name(next));
        Box& box = qlip::make_child_of(*this, next, kChildren);
        box.Read(stream, file_size);
        last = &box;
        before = at;
        next = peek_box(stream, file_size);
    }
    return stream;
}

void Simple3gp::SetFtyp(FtypBox* child, bool owned) {
    qlip::set_child(ftyp, ftyp_owned, child, owned);
}

void Simple3gp::SetMoov(MoovBox* child, bool owned) {
    qlip::set_child(moov, moov_owned, child, owned);
}

void Simple3gp::AddMdat(MdatBox* child, bool owned) {
    qlip::append_child(mdats, mdats_owned, child, owned);
}

FtypBox* Simple3gp::GetFtyp() const {
    return ftyp;
}

MoovBox* Simple3gp::GetMoov() const {
    return moov;
}

}  // namespace Vorn3gp
