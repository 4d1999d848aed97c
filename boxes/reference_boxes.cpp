#include "qlip/vorn3gp/reference_boxes.h"

#include "boxes/container.h"
#include "boxes/input.h"
#include "common/log.h"

using qlip::child;
using enum qlip::Presence;

namespace Vorn3gp {

namespace {

constexpr const char* kPath = "filegen/src/reference_boxes";

constexpr auto kEdit = [](auto& entry, auto& fields) {
    fields.be32(entry.segment_duration);
    fields.be32(entry.media_time);
    fields.be16(entry.media_rate_integer);
    fields.be16(entry.media_rate_fraction);
};

constexpr auto kTrackReference = [](auto& box, auto& fields) { fields.be32(box.track_ID); };

constexpr qlip::Child kDinf[] = {
    child<&DinfBox::dref, &DinfBox::dref_owned, &DinfBox::SetDref>("dref", Required),
};

constexpr qlip::Child kEdts[] = {
    child<&EdtsBox::elst, &EdtsBox::elst_owned, &EdtsBox::SetElst>("elst", Required),
};

constexpr qlip::Child kTref[] = {
    child<&TrefBox::hint, &TrefBox::hint_owned, &TrefBox::SetTrackReferenceTypeBox>("hint", Required),
};

}  // namespace

DataEntryBox::DataEntryBox() : FullBox(type_word("url "), 0, 1) {}

DataEntryBox::~DataEntryBox() = default;

// The version and flags are skipped with the rest, so the header is read without them.
Stream& DataEntryBox::Read(Stream& stream, unsigned int limit) {
    Box::Read(stream, limit);  // NOLINT(bugprone-parent-virtual-call)
    return Skip(stream);
}

DrefBox::DrefBox() : FullBox(type_word("dref"), 0, 0) {}

DrefBox::~DrefBox() {
    qlip::delete_owned(entries, entries_owned);
}

Stream& DrefBox::Dump(Stream& stream) const {
    FullBox::Dump(stream);
    var32_write(stream, static_cast<unsigned int>(entries.size()));
    return qlip::dump(stream, entries);
}

Stream& DrefBox::Read(Stream& stream, unsigned int limit) {
    FullBox::Read(stream, limit);
    unsigned int count = 0;
    var32_read(stream, count);
    qlip::Metered metered(stream);
    for (unsigned int i = 0; i < count; ++i) {
        qlip::take_box(metered.stream(), sizeof(DataEntryBox));
        auto entry = std::make_unique<DataEntryBox>();
        AddDataEntryBox(entry.get(), true);
        entry.release()->Read(metered.stream(), limit);
    }
    return stream;
}

unsigned int DrefBox::GetSize() const {
    return FullBox::GetSize() + 4 + qlip::size_of(entries);
}

void DrefBox::AddDataEntryBox(DataEntryBox* entry, bool owned) {
    qlip::append_child(entries, entries_owned, entry, owned);
}

DinfBox::DinfBox() : ContainerBox(type_word("dinf")) {}

DinfBox::~DinfBox() {
    qlip::delete_children(*this, kDinf);
}

Stream& DinfBox::Dump(Stream& stream) const {
    return qlip::dump_container(*this, stream, kDinf);
}

Stream& DinfBox::Read(Stream& stream, unsigned int limit) {
    return qlip::read_container(*this, stream, limit, kDinf);
}

unsigned int DinfBox::GetSize() const {
    return qlip::size_of_container(*this, kDinf);
}

QLIP_CHILD_SETTER(DinfBox, Dref, dref, set_child)

ElstBox::ElstBox() : FullBox(type_word("elst"), 0, 0) {}

ElstBox::~ElstBox() = default;

Stream& ElstBox::Dump(Stream& stream) const {
    FullBox::Dump(stream);
    return qlip::dump_rows(stream, edit_entries, kEdit);
}

Stream& ElstBox::Read(Stream& stream, unsigned int limit) {
    FullBox::Read(stream, limit);
    unsigned int count = 0;
    var32_read(stream, count);
    qlip::Metered metered(stream);
    for (unsigned int i = 0; i < count; ++i) {
        tagELST_EDIT_ENTRY entry = {};
        qlip::read_fields(metered.stream(), entry, kEdit);
        metered.take_memory(sizeof entry);
        edit_entries.push_back(entry);
    }
    return stream;
}

unsigned int ElstBox::GetSize() const {
    return FullBox::GetSize() + qlip::size_of_rows(edit_entries, kEdit);
}

const std::vector<tagELST_EDIT_ENTRY>& ElstBox::GetEditEntries() const {
    return edit_entries;
}

EdtsBox::EdtsBox() : ContainerBox(type_word("edts")) {}

EdtsBox::~EdtsBox() {
    qlip::delete_children(*this, kEdts);
}

Stream& EdtsBox::Dump(Stream& stream) const {
    return qlip::dump_container(*this, stream, kEdts);
}

Stream& EdtsBox::Read(Stream& stream, unsigned int limit) {
    return qlip::read_container(*this, stream, limit, kEdts);
}

unsigned int EdtsBox::GetSize() const {
    return qlip::size_of_container(*this, kEdts);
}

QLIP_CHILD(EdtsBox, Elst, elst)

TrackReferenceTypeBox::TrackReferenceTypeBox() : Box(type_word("hint")) {}

TrackReferenceTypeBox::~TrackReferenceTypeBox() = default;

Stream& TrackReferenceTypeBox::Dump(Stream& stream) const {
    Box::Dump(stream);
    return qlip::dump_fields(stream, *this, kTrackReference);
}

Stream& TrackReferenceTypeBox::Read(Stream& stream, unsigned int limit) {
    Box::Read(stream, limit);
    return qlip::read_fields(stream, *this, kTrackReference);
}

unsigned int TrackReferenceTypeBox::GetSize() const {
    return Box::GetSize() + qlip::size_of_fields(*this, kTrackReference);
}

unsigned int TrackReferenceTypeBox::GetTrackID(unsigned int index) const {
    if (index > 0) throw SimpleException(kPath, __LINE__, "No track reference with index %u", index);
    return track_ID;
}

TrefBox::TrefBox() : ContainerBox(type_word("tref")) {}

TrefBox::~TrefBox() {
    qlip::delete_children(*this, kTref);
}

Stream& TrefBox::Dump(Stream& stream) const {
    return qlip::dump_container(*this, stream, kTref);
}

Stream& TrefBox::Read(Stream& stream, unsigned int limit) {
    return qlip::read_container(*this, stream, limit, kTref);
}

unsigned int TrefBox::GetSize() const {
    return qlip::size_of_container(*this, kTref);
}

void TrefBox::SetTrackReferenceTypeBox(TrackReferenceTypeBox* child, bool owned) {
    qlip::set_child(*this, hint, hint_owned, child, owned);
}

TrackReferenceTypeBox* TrefBox::GetTrackReferenceTypeBox() const {
    return hint;
}

}  // namespace Vorn3gp
