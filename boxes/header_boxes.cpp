#include "qlip/vorn3gp/header_boxes.h"

#include <algorithm>
#include <iterator>

#include "boxes/fields.h"
#include "boxes/input.h"

namespace {

constexpr auto kFtyp = [](auto& box, auto& fields) {
    fields.raw32(box.major_brand);
    fields.be32(box.minor_version);
};

// Behind the times.
constexpr auto kMvhd = [](auto& box, auto& fields) {
    fields.be32(box.timescale);
    fields.be32(box.duration);
    fields.be32(box.rate);
    fields.be16(box.volume);
    fields.be16(box.reserved);
    fields.raw32(box.reserved_words);
    fields.be32(box.matrix);
    fields.be32(box.pre_defined);
    fields.be32(box.next_track_ID);
};

// Behind the times.
constexpr auto kTkhd = [](auto& box, auto& fields) {
    fields.be32(box.track_ID);
    fields.be32(box.reserved);
    fields.be32(box.duration);
    fields.raw32(box.reserved_words);
    fields.be16(box.layer);
    fields.be16(box.alternate_group);
    fields.be16(box.volume);
    fields.be16(box.reserved_half);
    fields.be32(box.matrix);
    fields.be32(box.width);
    fields.be32(box.height);
};

// Behind the times.
constexpr auto kMdhd = [](auto& box, auto& fields) {
    fields.be32(box.timescale);
    fields.be32(box.duration);
    fields.be16(box.language);
    fields.be16(box.pre_defined);
};

constexpr auto kHdlr = [](auto& box, auto& fields) {
    fields.be32(box.pre_defined);
    fields.raw32(box.handler_type);
    fields.be32(box.reserved);
};

// The graphics mode of a file is dropped on purpose: a dump writes 0.
constexpr auto kVmhd = [](auto& box, auto& fields) {
    fields.kept16(box.graphicsmode);
    fields.be16(box.opcolor);
};

constexpr auto kSmhd = [](auto& box, auto& fields) {
    fields.be16(box.balance);
    fields.be16(box.reserved);
};

constexpr auto kHmhd = [](auto& box, auto& fields) {
    fields.be16(box.maxPDUsize);
    fields.be16(box.avgPDUsize);
    fields.be32(box.maxbitrate);
    fields.be32(box.avgbitrate);
    fields.be32(box.reserved);
};

// The three headers with times share their order: full header, times, fields.

template <class HeaderBox, class Description>
Vorn3gp::Stream& dump_timed(Vorn3gp::Stream& stream, const HeaderBox& box, Description describe) {
    box.Vorn3gp::FullBox::Dump(stream);
    box.Vorn3gp::Timed::Dump(stream);
    return qlip::dump_fields(stream, box, describe);
}

template <class HeaderBox, class Description>
Vorn3gp::Stream& read_timed(Vorn3gp::Stream& stream, unsigned int limit, HeaderBox& box,
                            Description describe) {
    box.Vorn3gp::FullBox::Read(stream, limit);
    box.Vorn3gp::Timed::Read(stream, limit);
    return qlip::read_fields(stream, box, describe);
}

template <class HeaderBox, class Description>
unsigned int size_of_timed(const HeaderBox& box, Description describe) {
    return box.Vorn3gp::FullBox::GetSize() + box.Vorn3gp::Timed::GetSize() +
           qlip::size_of_fields(box, describe);
}

}  // namespace

namespace Vorn3gp {

FtypBox::FtypBox() : Box(type_word("ftyp")) {}

FtypBox::~FtypBox() = default;

Stream& FtypBox::Dump(Stream& stream) const {
    Box::Dump(stream);
    qlip::dump_fields(stream, *this, kFtyp);
    for (const unsigned int brand : compatible_brands)
        var32_write_noswap(stream, brand);
    return stream;
}

// A box of less than 16 bytes wraps the count.
Stream& FtypBox::Read(Stream& stream, unsigned int limit) {
    Box::Read(stream, limit);
    qlip::read_fields(stream, *this, kFtyp);
    const unsigned int brands = (GetSizeWhole() - 16) / 4;
    qlip::Metered metered(stream);
    for (unsigned int i = 0; i < brands; ++i) {
        unsigned int brand = 0;
        var32_read_noswap(metered.stream(), brand);
        metered.take_memory(sizeof brand);
        compatible_brands.push_back(brand);
    }
    return stream;
}

unsigned int FtypBox::GetSize() const {
    return Box::GetSize() + qlip::size_of_fields(*this, kFtyp) +
           4 * static_cast<unsigned int>(compatible_brands.size());
}

unsigned int FtypBox::GetMajorBrand() const {
    return major_brand;
}

MvhdBox::MvhdBox() : FullBox(type_word("mvhd"), 0, 0) {
    std::copy(std::begin(MATRIX_DEFAULT), std::end(MATRIX_DEFAULT), matrix);
}

MvhdBox::~MvhdBox() = default;

Stream& MvhdBox::Dump(Stream& stream) const {
    return dump_timed(stream, *this, kMvhd);
}

Stream& MvhdBox::Read(Stream& stream, unsigned int limit) {
    return read_timed(stream, limit, *this, kMvhd);
}

unsigned int MvhdBox::GetSize() const {
    return size_of_timed(*this, kMvhd);
}

void MvhdBox::SetTimescale(unsigned int new_timescale, unsigned int /*old_timescale*/) {
    timescale = new_timescale;
}

void MvhdBox::SetDuration(unsigned int new_duration) {
    duration = new_duration;
}

unsigned int MvhdBox::GetTimescale() const {
    return timescale;
}

unsigned int MvhdBox::GetDuration() const {
    return duration;
}

Stream& MvhdBox::GoToStart(Stream& stream) {
    return qlip::go_to_start(stream, *this);
}

TkhdBox::TkhdBox() : FullBox(type_word("tkhd"), 0, 7) {
    std::copy(std::begin(MATRIX_DEFAULT), std::end(MATRIX_DEFAULT), matrix);
}

TkhdBox::~TkhdBox() = default;

Stream& TkhdBox::Dump(Stream& stream) const {
    return dump_timed(stream, *this, kTkhd);
}

Stream& TkhdBox::Read(Stream& stream, unsigned int limit) {
    return read_timed(stream, limit, *this, kTkhd);
}

unsigned int TkhdBox::GetSize() const {
    return size_of_timed(*this, kTkhd);
}

void TkhdBox::SetDimensions(unsigned int new_width, unsigned int new_height) {
    width = new_width;
    height = new_height;
}

void TkhdBox::SetTimescale(unsigned int /*new_timescale*/, unsigned int /*old_timescale*/) {}

void TkhdBox::SetDuration(unsigned int new_duration) {
    duration = new_duration;
}

unsigned int TkhdBox::GetTrackId() const {
    return track_ID;
}

unsigned short TkhdBox::GetVolume() const {
    return volume;
}

unsigned int TkhdBox::GetTimescale() const {
    return 0;
}

unsigned int TkhdBox::GetDuration() const {
    return duration;
}

unsigned int TkhdBox::GetWidth() const {
    return width;
}

unsigned int TkhdBox::GetHeight() const {
    return height;
}

Stream& TkhdBox::GoToStart(Stream& stream) {
    return qlip::go_to_start(stream, *this);
}

MdhdBox::MdhdBox() : FullBox(type_word("mdhd"), 0, 0) {}

MdhdBox::~MdhdBox() = default;

Stream& MdhdBox::Dump(Stream& stream) const {
    return dump_timed(stream, *this, kMdhd);
}

Stream& MdhdBox::Read(Stream& stream, unsigned int limit) {
    return read_timed(stream, limit, *this, kMdhd);
}

unsigned int MdhdBox::GetSize() const {
    return size_of_timed(*this, kMdhd);
}

void MdhdBox::SetTimescale(unsigned int new_timescale, unsigned int /*old_timescale*/) {
    timescale = new_timescale;
}

void MdhdBox::SetDuration(unsigned int new_duration) {
    duration = new_duration;
}

unsigned int MdhdBox::GetTimescale() const {
    return timescale;
}

unsigned int MdhdBox::GetDuration() const {
    return duration;
}

Stream& MdhdBox::GoToStart(Stream& stream) {
    return qlip::go_to_start(stream, *this);
}

HdlrBox::HdlrBox() : FullBox(type_word("hdlr"), 0, 0) {}

HdlrBox::~HdlrBox() = default;

Stream& HdlrBox::Dump(Stream& stream) const {
    FullBox::Dump(stream);
    qlip::dump_fields(stream, *this, kHdlr);
    for (const char character : name)
        var8_write(stream, static_cast<unsigned char>(character));
    return var8_write(stream, 0);
}

// The last byte of the box is dropped as the terminator, whatever it is. A box of less than 33 bytes wraps
// the name's length.
Stream& HdlrBox::Read(Stream& stream, unsigned int limit) {
    FullBox::Read(stream, limit);
    qlip::read_fields(stream, *this, kHdlr);
    const auto bytes = qlip::read_bytes(stream, GetSizeWhole() - 33);
    name.append(bytes.begin(), bytes.end());
    unsigned char terminator = 0;
    return var8_read(stream, terminator);
}

unsigned int HdlrBox::GetSize() const {
    return FullBox::GetSize() + qlip::size_of_fields(*this, kHdlr) + static_cast<unsigned int>(name.size()) +
           1;
}

unsigned int HdlrBox::GetHandlerType() const {
    return handler_type;
}

VmhdBox::VmhdBox() : FullBox(type_word("vmhd"), 0, 1) {}

VmhdBox::~VmhdBox() = default;

Stream& VmhdBox::Dump(Stream& stream) const {
    FullBox::Dump(stream);
    return qlip::dump_fields(stream, *this, kVmhd);
}

Stream& VmhdBox::Read(Stream& stream, unsigned int limit) {
    FullBox::Read(stream, limit);
    return qlip::read_fields(stream, *this, kVmhd);
}

unsigned int VmhdBox::GetSize() const {
    return FullBox::GetSize() + qlip::size_of_fields(*this, kVmhd);
}

SmhdBox::SmhdBox() : FullBox(type_word("smhd"), 0, 0) {}

SmhdBox::~SmhdBox() = default;

Stream& SmhdBox::Dump(Stream& stream) const {
    FullBox::Dump(stream);
    return qlip::dump_fields(stream, *this, kSmhd);
}

Stream& SmhdBox::Read(Stream& stream, unsigned int limit) {
    FullBox::Read(stream, limit);
    return qlip::read_fields(stream, *this, kSmhd);
}

unsigned int SmhdBox::GetSize() const {
    return FullBox::GetSize() + qlip::size_of_fields(*this, kSmhd);
}

HmhdBox::HmhdBox() : FullBox(type_word("hmhd"), 0, 0) {}

HmhdBox::~HmhdBox() = default;

Stream& HmhdBox::Dump(Stream& stream) const {
    FullBox::Dump(stream);
    return qlip::dump_fields(stream, *this, kHmhd);
}

Stream& HmhdBox::Read(Stream& stream, unsigned int limit) {
    FullBox::Read(stream, limit);
    return qlip::read_fields(stream, *this, kHmhd);
}

unsigned int HmhdBox::GetSize() const {
    return FullBox::GetSize() + qlip::size_of_fields(*this, kHmhd);
}

}  // namespace Vorn3gp
