#include "boxes/container.h"
#include "boxes/meter.h"
#include "common/log.h"
#include "qlip/vorn3gp/containers.h"
#include "qlip/vorn3gp/file.h"

using qlip::child;
using enum qlip::Presence;

namespace Vorn3gp {

namespace {

constexpr const char* kPath = "filegen/src/simple3gp";

constexpr qlip::Child kFile[] = {
    child<&Simple3gp::ftyp, &Simple3gp::ftyp_owned, &Simple3gp::SetFtyp>("ftyp", Required),
    child<&Simple3gp::moov, &Simple3gp::moov_owned, &Simple3gp::SetMoov>("moov", Required),
    child<&Simple3gp::mdats, &Simple3gp::mdats_owned, &Simple3gp::AddMdat>("mdat"),
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

Simple3gp::Simple3gp() = default;

Simple3gp::~Simple3gp() {
    qlip::delete_children(*this, kFile);
}

Stream& Simple3gp::Dump(Stream& stream) const {
    return qlip::dump_children(*this, stream, kFile);
}

Stream& Simple3gp::Read(Stream& stream, unsigned int /*limit*/) {
    qlip::Metered metered(stream);
    Stream& from = metered.stream();
    const unsigned int file_size = GetFileSize(from);
    const Box* last = nullptr;
    unsigned int before = 0;
    unsigned int next = peek_box(from, file_size);
    while (!macro_IsEOF(from)) {
        const unsigned int at = macro_Tell(from);
        if (at >= file_size || (last && qlip::is_at_end(*last, before, at))) break;
        QLIP_LOG_DEBUG(kPath, "Simple3gp::Read() Creating %s", class_name(next));
        Box& box = qlip::make_child(*this, from, next, kFile);
        box.Read(from, file_size);
        last = &box;
        before = at;
        next = peek_box(from, file_size);
    }
    return stream;
}

QLIP_CHILD(Simple3gp, Ftyp, ftyp)
QLIP_CHILD(Simple3gp, Moov, moov)

void Simple3gp::AddMdat(MdatBox* child, bool owned) {
    qlip::append_child(mdats, mdats_owned, child, owned);
}

}  // namespace Vorn3gp
