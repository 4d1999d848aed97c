// Codec configurations behind a sample entry's fixed fields, but for avcC.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <utility>

#include "boxes/fields.h"
#include "boxes/input.h"
#include "common/log.h"
#include "formats/mpeg4_descriptors.h"
#include "qlip/vorn3gp/sample_entries.h"

namespace {

constexpr const char* kPath = "filegen/src/configuration_boxes";
constexpr int kMostSizeBytes = 4;

constexpr auto kH263Specific = [](auto& box, auto& fields) {
    fields.raw32(box.vendor);
    fields.be8(box.decoder_version);
    fields.be8(box.h263_level);
    fields.be8(box.h263_profile);
};

constexpr auto kAmrSpecific = [](auto& box, auto& fields) {
    fields.raw32(box.vendor);
    fields.be8(box.decoder_version);
    fields.be16(box.mode_set);
    fields.be8(box.mode_change_period);
    fields.be8(box.frames_per_sample);
};

constexpr auto kTimescale = [](auto& box, auto& fields) { fields.be32(box.timescale); };

// Descriptor sizes are read in the long form and written as one byte, so they are visited apart from fields:
// `sizes` is called with each.
constexpr auto kEsdToObjectType = [](auto& info, auto& fields, auto&& sizes) {
    fields.be8(info.es_tag);
    sizes(info.es_size);
    fields.be16(info.es_id);
    fields.be8(info.es_flags);
    fields.be8(info.dc_tag);
    sizes(info.dc_size);
    fields.be8(info.object_type);
};

constexpr auto kEsdToSpecificInfo = [](auto& info, auto& fields, auto&& sizes) {
    fields.be8(info.stream_type);
    fields.be8(info.buffer_size);
    fields.be32(info.max_bitrate);
    fields.be32(info.avg_bitrate);
    fields.be8(info.dsi_tag);
    sizes(info.dsi_size);
};

constexpr auto kEsdEnd = [](auto& info, auto& fields, auto&& sizes) {
    fields.be8(info.sl_tag);
    sizes(info.sl_size);
    fields.be8(info.sl_value);
};

// A file in the wrong container is the one thing that ends the host's process, unless it set limits: kept for
// hosts that run each file in a process of its own [model-mp4v-exits].
void require_visual(Vorn3gp::Stream stream, unsigned char object_type) {
    if (object_type == qlip::kMpeg4VisualObject) return;
    constexpr const char* kRefusal = "Bad 3GP file, only MP4 Video codec accepted in mp4v box";
    if (qlip::limits_of(stream)) throw SimpleException(kPath, __LINE__, "%s", kRefusal);
    std::fprintf(stderr, "%s\n", kRefusal);
    std::exit(1);
}

void read_specific_info(Vorn3gp::Stream& stream, tagESD_INFO& info) {
    info.dsi_size_byte = static_cast<unsigned char>(info.dsi_size);
    const auto bytes = qlip::read_bytes(stream, info.dsi_size);
    info.dsi = static_cast<unsigned char*>(std::malloc(bytes.size() + 1));
    if (!info.dsi) throw std::bad_alloc();
    if (!bytes.empty()) std::memcpy(info.dsi, bytes.data(), bytes.size());
}

}  // namespace

Vorn3gp::Stream& ReadDescriptorSize(Vorn3gp::Stream& stream, unsigned int& size) {
    size = 0;
    for (int i = 0; i < kMostSizeBytes; ++i) {
        unsigned char byte = 0;
        var8_read(stream, byte);
        size = size * 128 + byte % 128;
        if (byte < 128) break;
    }
    return stream;
}

namespace Vorn3gp {

H263SpecificBox::H263SpecificBox() : Box(type_word("d263")) {}

H263SpecificBox::~H263SpecificBox() = default;

Stream& H263SpecificBox::Dump(Stream& stream) const {
    Box::Dump(stream);
    return qlip::dump_fields(stream, *this, kH263Specific);
}

Stream& H263SpecificBox::Read(Stream& stream, unsigned int limit) {
    Box::Read(stream, limit);
    return qlip::read_fields(stream, *this, kH263Specific);
}

unsigned int H263SpecificBox::GetSize() const {
    return Box::GetSize() + qlip::size_of_fields(*this, kH263Specific);
}

void H263SpecificBox::GetH263Specific(tagH263_DEC_SPEC* specific) const {
    *specific = {vendor, decoder_version, h263_level, h263_profile};
}

AMRSpecificBox::AMRSpecificBox() : Box(type_word("damr")) {}

AMRSpecificBox::~AMRSpecificBox() = default;

Stream& AMRSpecificBox::Dump(Stream& stream) const {
    Box::Dump(stream);
    return qlip::dump_fields(stream, *this, kAmrSpecific);
}

Stream& AMRSpecificBox::Read(Stream& stream, unsigned int limit) {
    Box::Read(stream, limit);
    return qlip::read_fields(stream, *this, kAmrSpecific);
}

unsigned int AMRSpecificBox::GetSize() const {
    return Box::GetSize() + qlip::size_of_fields(*this, kAmrSpecific);
}

unsigned short AMRSpecificBox::GetModeSet() const {
    return mode_set;
}

TimeScaleEntry::TimeScaleEntry() : Box(type_word("tims")) {}

TimeScaleEntry::~TimeScaleEntry() = default;

Stream& TimeScaleEntry::Dump(Stream& stream) const {
    Box::Dump(stream);
    return qlip::dump_fields(stream, *this, kTimescale);
}

Stream& TimeScaleEntry::Read(Stream& stream, unsigned int limit) {
    Box::Read(stream, limit);
    return qlip::read_fields(stream, *this, kTimescale);
}

unsigned int TimeScaleEntry::GetSize() const {
    return Box::GetSize() + qlip::size_of_fields(*this, kTimescale);
}

ESDBox::ESDBox() : FullBox(type_word("esds"), 0, 0) {}

ESDBox::~ESDBox() {
    std::free(info.dsi);
}

Stream& ESDBox::Dump(Stream& stream) const {
    if (info.dsi_size > 0 && !info.dsi) {
        throw SimpleException(kPath, __LINE__, "Decoder specific info of %u bytes is missing", info.dsi_size);
    }
    FullBox::Dump(stream);
    qlip::FieldWriter writer(stream);
    const auto short_size = [&writer](unsigned int wide) { writer.be8(static_cast<unsigned char>(wide)); };
    kEsdToObjectType(info, writer, short_size);
    kEsdToSpecificInfo(info, writer, short_size);
    if (info.dsi_size > 0) macro_Write(stream, info.dsi, info.dsi_size);
    kEsdEnd(info, writer, short_size);
    return stream;
}

// The bytes of an earlier read go first: after a failure there are none, whatever their size says then.
Stream& ESDBox::Read(Stream& stream, unsigned int limit) {
    std::free(std::exchange(info.dsi, nullptr));
    FullBox::Read(stream, limit);
    qlip::FieldReader reader(stream);
    const auto descriptor_size = [&stream](unsigned int& wide) { ReadDescriptorSize(stream, wide); };
    kEsdToObjectType(info, reader, descriptor_size);
    require_visual(stream, info.object_type);
    kEsdToSpecificInfo(info, reader, descriptor_size);
    read_specific_info(stream, info);
    kEsdEnd(info, reader, descriptor_size);
    return stream;
}

// The header, es_tag and the byte of es_size.
unsigned int ESDBox::GetSize() const {
    return FullBox::GetSize() + 2 + info.es_size;
}

tagESD_INFO* ESDBox::GetESDInfo() {
    return &info;
}

const tagESD_INFO* ESDBox::GetESDInfo() const {
    return &info;
}

}  // namespace Vorn3gp
