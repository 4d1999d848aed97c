#include "qlip/vorn3gp/sample_entries.h"

#include <algorithm>
#include <memory>
#include <utility>

#include "boxes/fields.h"
#include "boxes/input.h"
#include "boxes/ownership.h"
#include "common/log.h"

namespace {

constexpr const char* kPath = "filegen/src/sample_entries";
constexpr int kHeaderSize = 8;

constexpr auto kSampleEntry = [](auto& box, auto& fields) {
    fields.be8(box.reserved);
    fields.be16(box.data_reference_index);
};

constexpr auto kVisual = [](auto& visual, auto& fields) {
    fields.be32(visual.reserved_words);
    fields.be16(visual.width);
    fields.be16(visual.height);
    fields.be32(visual.horizresolution);
    fields.be32(visual.vertresolution);
    fields.be32(visual.reserved_word);
    fields.be16(visual.frame_count);
    fields.be8(visual.compressorname);
    fields.be16(visual.depth);
    fields.be16(visual.pre_defined);
};

constexpr auto kAmr = [](auto& box, auto& fields) {
    fields.be32(box.reserved_words);
    fields.be16(box.channelcount);
    fields.be16(box.samplesize);
    fields.be32(box.reserved_word);
    fields.be16(box.samplerate_high);
    fields.be16(box.samplerate_low);
};

constexpr auto kRtpHint = [](auto& box, auto& fields) {
    fields.be16(box.hinttrackversion);
    fields.be16(box.highestcompatibleversion);
    fields.be32(box.maxpacketsize);
};

unsigned int size_of_child(const Vorn3gp::Box* child) {
    return child ? child->GetSize() : 0;
}

void require_child(const Vorn3gp::Box* child) {
    if (!child) throw SimpleException(kPath, __LINE__, "Sample entry has no configuration box");
}

// Makes the child that an entry takes for granted, attaches and reads it.
template <class Entry, class Child>
Vorn3gp::Stream& read_child(Vorn3gp::Stream& stream, unsigned int limit, Entry& entry,
                            void (Entry::*attach)(Child*, bool)) {
    auto* const child = new Child;
    (entry.*attach)(child, true);
    return child->Read(stream, limit);
}

// The three visual entries are the same but for their child.

Vorn3gp::Stream& dump_visual(Vorn3gp::Stream& stream, const Vorn3gp::SampleEntry& entry,
                             const Vorn3gp::VisualFields& visual, const Vorn3gp::Box* child) {
    require_child(child);
    entry.SampleEntry::Dump(stream);
    qlip::dump_fields(stream, visual, kVisual);
    return child->Dump(stream);
}

void read_visual(Vorn3gp::Stream& stream, unsigned int limit, Vorn3gp::SampleEntry& entry,
                 Vorn3gp::VisualFields& visual) {
    entry.SampleEntry::Read(stream, limit);
    qlip::read_fields(stream, visual, kVisual);
}

unsigned int size_of_visual(const Vorn3gp::SampleEntry& entry, const Vorn3gp::VisualFields& visual,
                            const Vorn3gp::Box* child) {
    return entry.SampleEntry::GetSize() + qlip::size_of_fields(visual, kVisual) + size_of_child(child);
}

void set_dimensions(Vorn3gp::VisualFields& visual, unsigned int width, unsigned int height) {
    visual.width = static_cast<unsigned short>(width);
    visual.height = static_cast<unsigned short>(height);
}

// Reads the payload that follows from the size in the file. A box of less than its header asks for memory
// that cannot be had. After a failure there is no payload, so that none is dumped with the wrong size.
void read_payload(Vorn3gp::Stream& stream, unsigned int box_size, unsigned char*& payload,
                  int& payload_size) {
    delete[] std::exchange(payload, nullptr);
    payload_size = static_cast<int>(box_size - kHeaderSize);
    if (payload_size < 0) throw qlip::OverBudget();
    const auto bytes = qlip::read_bytes(stream, static_cast<unsigned int>(payload_size));
    payload = new unsigned char[bytes.size()];
    std::copy(bytes.begin(), bytes.end(), payload);
}

Vorn3gp::Stream& dump_payload(Vorn3gp::Stream& stream, unsigned char* payload, int payload_size) {
    if (payload && payload_size > 0)
        Vorn3gp::macro_Write(stream, payload, static_cast<unsigned int>(payload_size));
    return stream;
}

}  // namespace

namespace Vorn3gp {

SampleEntry::SampleEntry(unsigned int type_, unsigned short data_reference_index_)
    : Box(type_), data_reference_index(data_reference_index_) {}

SampleEntry::~SampleEntry() = default;

Stream& SampleEntry::Dump(Stream& stream) const {
    Box::Dump(stream);
    return qlip::dump_fields(stream, *this, kSampleEntry);
}

Stream& SampleEntry::Read(Stream& stream, unsigned int limit) {
    Box::Read(stream, limit);
    return qlip::read_fields(stream, *this, kSampleEntry);
}

unsigned int SampleEntry::GetSize() const {
    return Box::GetSize() + qlip::size_of_fields(*this, kSampleEntry);
}

H263SampleEntry::H263SampleEntry() : SampleEntry(type_word("s263"), 1) {}

H263SampleEntry::~H263SampleEntry() {
    if (h263_specific_owned) qlip::delete_box(h263_specific);
}

Stream& H263SampleEntry::Dump(Stream& stream) const {
    return dump_visual(stream, *this, visual, h263_specific);
}

Stream& H263SampleEntry::Read(Stream& stream, unsigned int limit) {
    read_visual(stream, limit, *this, visual);
    return read_child(stream, limit, *this, &H263SampleEntry::SetH263Specific);
}

unsigned int H263SampleEntry::GetSize() const {
    return size_of_visual(*this, visual, h263_specific);
}

void H263SampleEntry::SetDimensions(unsigned int width, unsigned int height) {
    set_dimensions(visual, width, height);
}

Stream& H263SampleEntry::GoToStart(Stream& stream) {
    return qlip::go_to_start(stream, *this);
}

unsigned short H263SampleEntry::GetWidth() const {
    return visual.width;
}

unsigned short H263SampleEntry::GetHeight() const {
    return visual.height;
}

void H263SampleEntry::SetH263Specific(H263SpecificBox* child, bool owned) {
    qlip::set_child(*this, h263_specific, h263_specific_owned, child, owned);
}

H263SpecificBox* H263SampleEntry::GetH263Specific() const {
    return h263_specific;
}

H264SampleEntry::H264SampleEntry() : SampleEntry(type_word("avc1"), 1) {}

H264SampleEntry::~H264SampleEntry() {
    if (avcc_owned) qlip::delete_box(avcc);
}

Stream& H264SampleEntry::Dump(Stream& stream) const {
    return dump_visual(stream, *this, visual, avcc);
}

Stream& H264SampleEntry::Read(Stream& stream, unsigned int limit) {
    read_visual(stream, limit, *this, visual);
    return read_child(stream, limit, *this, &H264SampleEntry::SetAVCCBox);
}

unsigned int H264SampleEntry::GetSize() const {
    return size_of_visual(*this, visual, avcc);
}

void H264SampleEntry::SetDimensions(unsigned int width, unsigned int height) {
    set_dimensions(visual, width, height);
}

Stream& H264SampleEntry::GoToStart(Stream& stream) {
    return qlip::go_to_start(stream, *this);
}

void H264SampleEntry::SetAVCCBox(AVCCBox* child, bool owned) {
    qlip::set_child(*this, avcc, avcc_owned, child, owned);
}

MP4VisualSampleEntry::MP4VisualSampleEntry() : SampleEntry(type_word("mp4v"), 1) {}

MP4VisualSampleEntry::~MP4VisualSampleEntry() {
    if (esd_owned) qlip::delete_box(esd);
}

Stream& MP4VisualSampleEntry::Dump(Stream& stream) const {
    return dump_visual(stream, *this, visual, esd);
}

Stream& MP4VisualSampleEntry::Read(Stream& stream, unsigned int limit) {
    read_visual(stream, limit, *this, visual);
    return read_child(stream, limit, *this, &MP4VisualSampleEntry::SetESDBox);
}

unsigned int MP4VisualSampleEntry::GetSize() const {
    return size_of_visual(*this, visual, esd);
}

void MP4VisualSampleEntry::SetDimensions(unsigned int width, unsigned int height) {
    set_dimensions(visual, width, height);
}

Stream& MP4VisualSampleEntry::GoToStart(Stream& stream) {
    return qlip::go_to_start(stream, *this);
}

unsigned short MP4VisualSampleEntry::GetWidth() const {
    return visual.width;
}

unsigned short MP4VisualSampleEntry::GetHeight() const {
    return visual.height;
}

void MP4VisualSampleEntry::SetESDBox(ESDBox* child, bool owned) {
    qlip::set_child(*this, esd, esd_owned, child, owned);
}

ESDBox* MP4VisualSampleEntry::GetESDBox() const {
    return esd;
}

AMRSampleEntry::AMRSampleEntry(unsigned int type_) : SampleEntry(type_, 1) {}

AMRSampleEntry::~AMRSampleEntry() {
    if (amr_specific_owned) qlip::delete_box(amr_specific);
}

Stream& AMRSampleEntry::Dump(Stream& stream) const {
    SampleEntry::Dump(stream);
    qlip::dump_fields(stream, *this, kAmr);
    return amr_specific ? amr_specific->Dump(stream) : stream;
}

Stream& AMRSampleEntry::Read(Stream& stream, unsigned int limit) {
    SampleEntry::Read(stream, limit);
    qlip::read_fields(stream, *this, kAmr);
    if (peek_box(stream, limit) == type_word("damr")) {
        return read_child(stream, limit, *this, &AMRSampleEntry::SetAMRSpecific);
    }
    const qlip::LimitedCall call(qlip::limits_of(stream));
    qlip::Meter* const meter = qlip::Meter::of(stream);
    if (sx_Debug > 1 && (!meter || meter->missing_configurations.admits(qlip::kErrorPrefix, kPath)))
        QLIP_LOG_ERROR(kPath, "No AMRSpecificBox(damr) in AMRSampleEntry box. Try to keep going...");
    return stream;
}

unsigned int AMRSampleEntry::GetSize() const {
    return SampleEntry::GetSize() + qlip::size_of_fields(*this, kAmr) + size_of_child(amr_specific);
}

void AMRSampleEntry::SetAMRSpecific(AMRSpecificBox* child, bool owned) {
    qlip::set_child(*this, amr_specific, amr_specific_owned, child, owned);
}

AMRSpecificBox* AMRSampleEntry::GetAMRSpecific() const {
    return amr_specific;
}

NullSampleEntry::NullSampleEntry() : SampleEntry(qlip::kNoType, 1) {}

NullSampleEntry::~NullSampleEntry() {
    delete[] payload;
}

// The fields of a sample entry are part of the payload, and the header still says 16: kept for readers
// of dumped files [model-dump-drops].
Stream& NullSampleEntry::Dump(Stream& stream) const {
    Box::Dump(stream);  // NOLINT(bugprone-parent-virtual-call)
    return dump_payload(stream, payload, payload_size);
}

Stream& NullSampleEntry::Read(Stream& stream, unsigned int limit) {
    Box::Read(stream, limit);  // NOLINT(bugprone-parent-virtual-call)
    read_payload(stream, GetSizeWhole(), payload, payload_size);
    return stream;
}

unsigned int NullSampleEntry::GetSize() const {
    return SampleEntry::GetSize();
}

HintSampleEntry::HintSampleEntry(unsigned int type_) : SampleEntry(type_, 1) {}

HintSampleEntry::~HintSampleEntry() {
    delete[] payload;
}

Stream& HintSampleEntry::Dump(Stream& stream) const {
    SampleEntry::Dump(stream);
    return dump_payload(stream, payload, payload_size);
}

// Less 8, not less 16, although the fields of a sample entry were read. These 8 bytes too many are kept for
// hosts with hint entries of their own [model-hint-entry-8-bytes].
Stream& HintSampleEntry::Read(Stream& stream, unsigned int limit) {
    SampleEntry::Read(stream, limit);
    read_payload(stream, GetSizeWhole(), payload, payload_size);
    return stream;
}

unsigned int HintSampleEntry::GetSize() const {
    return SampleEntry::GetSize() + static_cast<unsigned int>(payload_size);
}

RTPHintSampleEntry::RTPHintSampleEntry() : SampleEntry(type_word("rtp "), 1) {}

RTPHintSampleEntry::~RTPHintSampleEntry() {
    if (timescale_entry_owned) qlip::delete_box(timescale_entry);
}

Stream& RTPHintSampleEntry::Dump(Stream& stream) const {
    SampleEntry::Dump(stream);
    qlip::dump_fields(stream, *this, kRtpHint);
    return timescale_entry ? timescale_entry->Dump(stream) : stream;
}

Stream& RTPHintSampleEntry::Read(Stream& stream, unsigned int limit) {
    require_child(timescale_entry);
    SampleEntry::Read(stream, limit);
    qlip::read_fields(stream, *this, kRtpHint);
    return timescale_entry->Read(stream, limit);
}

unsigned int RTPHintSampleEntry::GetSize() const {
    return SampleEntry::GetSize() + qlip::size_of_fields(*this, kRtpHint) + size_of_child(timescale_entry);
}

void RTPHintSampleEntry::SetTimeScaleEntry(TimeScaleEntry* child, bool owned) {
    qlip::set_child(*this, timescale_entry, timescale_entry_owned, child, owned);
}

}  // namespace Vorn3gp
