#include "qlip/vorn3gp/reference_boxes.h"

#include "boxes/container.h"
#include "boxes/input.h"
#include "common/log.h"

using qlip::make_child;
using Vorn3gp::type_word;

namespace {

constexpr const char* kPath = "filegen/src/reference_boxes";

constexpr auto kEdit = [](auto& entry, auto& fields) {
    fields.be32(entry.segment_duration);
    fields.be32(entry.media_time);
    fields.be16(entry.media_rate_integer);
    fields.be16(entry.media_rate_fraction);
};

constexpr auto kTrackReference = [](auto& box, auto& fields) { fields.be32(box.track_ID); };

constexpr auto kDinf = [](auto& box, auto&& member) { member(box.dref, box.dref_owned, "dref != __null"); };
constexpr auto kEdts = [](auto& box, auto&& member) { member(box.elst, box.elst_owned, "elst != __null"); };
constexpr auto kTref = [](auto& box, auto&& member) { member(box.hint, box.hint_owned, "hint != __null"); };

constexpr qlip::ChildRow kDinfChildren[] = {{type_word("dref"), make_child<&Vorn3gp::DinfBox::SetDref>}};
constexpr qlip::ChildRow kEdtsChildren[] = {{type_word("elst"), make_child<&Vorn3gp::EdtsBox::SetElst>}};
constexpr qlip::ChildRow kTrefChildren[] = {
    {type_word("hint"), make_child<&Vorn3gp::TrefBox::SetTrackReferenceTypeBox>}};

}  // namespace

namespace Vorn3gp {

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
    return qlip::dump_children(stream, entries);
}

Stream& DrefBox::Read(Stream& stream, unsigned int limit) {
    FullBox::Read(stream, limit);
    unsigned int count = 0;
    var32_read(stream, count);
    qlip::RunGuard guard(stream, count);
    for (unsigned int i = 0; i < count; ++i) {
        guard.next(1);
        auto entry = std::make_unique<DataEntryBox>();
        AddDataEntryBox(entry.get(), true);
        entry.release()->Read(stream, limit);
    }
    return stream;
}

unsigned int DrefBox::GetSize() const {
    return FullBox::GetSize() + 4 + qlip::size_of_children(entries);
}

void DrefBox::AddDataEntryBox(DataEntryBox* entry, bool owned) {
    qlip::append_child(entries, entries_owned, entry, owned);
}

DinfBox::DinfBox() : ContainerBox(type_word("dinf")) {}

DinfBox::~DinfBox() {
    qlip::delete_members(*this, kDinf);
}

Stream& DinfBox::Dump(Stream& stream) const {
    return qlip::dump_container(stream, *this, kDinf);
}

Stream& DinfBox::Read(Stream& stream, unsigned int limit) {
    return qlip::read_container(*this, stream, limit, kDinfChildren);
}

unsigned int DinfBox::GetSize() const {
    return qlip::size_of_container(*this, kDinf);
}

void DinfBox::SetDref(DrefBox* child, bool owned) {
    qlip::set_child(dref, dref_owned, child, owned);
}

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
    qlip::RunGuard guard(stream, count);
    for (unsigned int i = 0; i < count; ++i) {
        guard.next(1);
        tagELST_EDIT_ENTRY entry = {};
        qlip::read_fields(stream, entry, kEdit);
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
    qlip::delete_members(*this, kEdts);
}

Stream& EdtsBox::Dump(Stream& stream) const {
    return qlip::dump_container(stream, *this, kEdts);
}

Stream& EdtsBox::Read(Stream& stream, unsigned int limit) {
    return qlip::read_container(*this, stream, limit, kEdtsChildren);
}

unsigned int EdtsBox::GetSize() const {
    return qlip::size_of_container(*this, kEdts);
}

void EdtsBox::SetElst(ElstBox* child, bool owned) {
    qlip::set_child(elst, elst_owned, child, owned);
}

ElstBox* EdtsBox::GetElst() const {
    return elst;
}

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
    qlip::delete_members(*this, kTref);
}

Stream& TrefBox::Dump(Stream& stream) const {
    return qlip::dump_container(stream, *this, kTref);
}

Stream& TrefBox::Read(Stream& stream, unsigned int limit) {
    return qlip::read_container(*this, stream, limit, kTrefChildren);
}

unsigned int TrefBox::GetSize() const {
    return qlip::size_of_container(*this, kTref);
}

void TrefBox::SetTrackReferenceTypeBox(TrackReferenceTypeBox* child, bool owned) {
    qlip::set_child(hint, hint_owned, child, owned);
}

TrackReferenceTypeBox* TrefBox::GetTrackReferenceTypeBox() const {
    return hint;
}

}  // namespace Vorn3gp
