#include "qlip/vorn3gp/box.h"

#include <sys/time.h>

#include "boxes/fields.h"
#include "boxes/meter.h"
#include "boxes/ownership.h"
#include "common/log.h"

namespace {

constexpr const char* kPath = "filegen/src/box";
constexpr unsigned int kSecondsFrom1904To1970 = 2082844800;

constexpr auto kHeader = [](auto& box, auto& fields) {
    fields.be32(box.size);
    fields.raw32(box.type);
};

constexpr auto kFullHeader = [](auto& box, auto& fields) {
    fields.be8(box.version);
    fields.be24(box.flags);
};

constexpr auto kTimes = [](auto& times, auto& fields) {
    fields.be32(times.creation_time);
    fields.be32(times.modification_time);
};

}  // namespace

namespace Vorn3gp {

Archivable::~Archivable() = default;

Rewindable::~Rewindable() = default;

Box::Box() : Box(qlip::kNoType) {}

Box::Box(unsigned int type_) : type(type_) {}

Box::~Box() {
    qlip::delete_replaced_of(this);
}

Stream& Box::Dump(Stream& stream) const {
    position = macro_Tell(stream);
    var32_write(stream, GetSize());
    return var32_write_noswap(stream, type);
}

Stream& Box::Read(Stream& stream, unsigned int limit) {
    const qlip::LimitedCall call(qlip::limits_of(stream));
    const unsigned int offset = macro_Tell(stream);
    position = offset;
    if (offset >= limit) {
        QLIP_LOG_DEBUG(kPath, "Box::Read() resetting box...");
        Reset();
        return stream;
    }
    qlip::read_fields(stream, *this, kHeader);
    const unsigned int end = offset + size;
    if (end > limit) {
        throw SimpleException(
            kPath, __LINE__,
            "Invalid size found in box.  Current file position is %u, box size is %u, total "
            "offset is %u.  File size is %u.",
            offset, size, end, limit);
    }
    if (macro_IsEOF(stream)) {
        QLIP_LOG_DEBUG(kPath, "Box::Read() resetting box due to EOF");
        Reset();
    }
    return stream;
}

void Box::Reset() {
    size = 0;
    type = qlip::kNoType;
}

unsigned int Box::GetSize() const {
    return qlip::size_of_fields(*this, kHeader);
}

unsigned int Box::GetSizeWhole() const {
    return size;
}

Stream& Box::Peek(Stream& stream, unsigned int limit) {
    Read(stream, limit);
    return qlip::go_to_start(stream, *this);
}

Stream& Box::Skip(Stream& stream) {
    qlip::go_to_start(stream, *this);
    macro_SeekRel(stream, static_cast<int>(size));
    return stream;
}

Stream& operator<<(Stream& stream, const Box& box) {
    return box.Dump(stream);
}

unsigned int peek_box(Stream& stream, unsigned int limit) {
    const qlip::LimitedCall call(qlip::limits_of(stream));
    if (macro_Tell(stream) < limit) {
        Box box;
        box.Peek(stream, limit);
        return box.GetType();
    }
    QLIP_LOG_DEBUG(kPath, "peek_box() returning unknown box due to EOF or stream position past file size");
    return qlip::kNoType;
}

Timed::Timed() : creation_time(GetCurrentTimestamp()), modification_time(creation_time) {}

Timed::~Timed() = default;

Stream& Timed::Dump(Stream& stream) const {
    return qlip::dump_fields(stream, *this, kTimes);
}

Stream& Timed::Read(Stream& stream, unsigned int /*limit*/) {
    return qlip::read_fields(stream, *this, kTimes);
}

unsigned int Timed::GetSize() const {
    return qlip::size_of_fields(*this, kTimes);
}

std::streampos Timed::GetPosition() const {
    return 0;
}

unsigned int Timed::GetCurrentTimestamp() {
    timeval now = {};
    gettimeofday(&now, nullptr);
    return static_cast<unsigned int>(now.tv_sec) + kSecondsFrom1904To1970;
}

FullBox::FullBox(unsigned int type_, unsigned char version_, unsigned int flags_)
    : Box(type_), version(version_), flags(flags_) {}

FullBox::~FullBox() = default;

Stream& FullBox::Dump(Stream& stream) const {
    Box::Dump(stream);
    return qlip::dump_fields(stream, *this, kFullHeader);
}

Stream& FullBox::Read(Stream& stream, unsigned int limit) {
    Box::Read(stream, limit);
    return qlip::read_fields(stream, *this, kFullHeader);
}

unsigned int FullBox::GetSize() const {
    return Box::GetSize() + qlip::size_of_fields(*this, kFullHeader);
}

ContainerBox::ContainerBox() = default;

ContainerBox::ContainerBox(unsigned int type_) : Box(type_) {}

ContainerBox::~ContainerBox() {
    qlip::delete_owned(optional_boxes, optional_owned);
}

void ContainerBox::AddOptionalBox(Box* box, bool owned) {
    qlip::append_child(optional_boxes, optional_owned, box, owned);
}

UnknownBox::UnknownBox() = default;

UnknownBox::~UnknownBox() = default;

Stream& UnknownBox::Read(Stream& stream, unsigned int limit) {
    Box::Read(stream, limit);
    return Skip(stream);
}

}  // namespace Vorn3gp
