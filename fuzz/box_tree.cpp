// The box model on arbitrary bytes: read as a tree, dumped into memory, read again and dumped again; and read
// as the boxes that no tree makes. What a read costs the host is in proportion to the bytes.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <iterator>
#include <new>

#include "fuzz/mpeg4_visual.h"
#include "fuzz/require.h"
#include "qlip/vorn3gp.h"
#include "tests/support/memory_host.h"

namespace {

using qlip_fuzz::require;

using namespace Vorn3gp;
using qlip_test::Bytes;
using qlip_test::MemoryHost;

// A dump ends the process where a required child is missing, so only complete trees are dumped.

bool complete(const StblBox* stbl) {
    return stbl && stbl->GetStsd() && stbl->GetStts() && stbl->GetStsc() && stbl->GetStsz() &&
           stbl->GetStco();
}

bool complete(const MdiaBox* mdia) {
    if (!mdia || !mdia->GetMdhd() || !mdia->GetHdlr() || !mdia->GetMinf()) return false;
    const MinfBox& minf = *mdia->GetMinf();
    return minf.dinf && minf.dinf->dref && complete(minf.GetStbl());
}

bool complete(const TrakBox* trak) {
    const bool edits = !trak->GetEdts() || trak->GetEdts()->GetElst();
    const bool references = !trak->GetTref() || trak->GetTref()->GetTrackReferenceTypeBox();
    return trak->GetTkhd() && complete(trak->GetMdia()) && edits && references;
}

bool complete(const Simple3gp& file) {
    if (!file.GetFtyp() || !file.GetMoov() || !file.GetMoov()->GetMvhd()) return false;
    const auto& traks = file.GetMoov()->GetTraks();
    return std::all_of(traks.begin(), traks.end(), [](const TrakBox* trak) { return complete(trak); });
}

// Nothing but the two failures of the model leaves an operation.
template <class Action>
bool succeeds(Action action) {
    try {
        action();
    } catch (const SimpleException& failure) {
        require(!failure.m_message.empty());
        return false;
    } catch (const std::bad_alloc&) {
        return false;
    }
    return true;
}

bool read(Box& box, MemoryHost& host, MemoryHost::EofStyle style) {
    host.keep_log = false;
    host.eof_style = style;
    host.calls = 0;
    host.position = 0;
    Stream stream = host.record();
    const bool whole = succeeds([&] { box.Read(stream, static_cast<unsigned int>(host.bytes.size())); });
    require(host.calls <= 32 * host.bytes.size() + 20000);
    return whole;
}

// Empty when the dump failed.
Bytes dumped(const Box& box) {
    MemoryHost out;
    out.keep_log = false;
    Stream stream = out.record();
    return succeeds([&] { stream << box; }) ? out.bytes : Bytes{};
}

// A dump that is as long as its boxes say reads back, and is dumped as it was.
void check_dump(const Simple3gp& file, MemoryHost::EofStyle style) {
    Bytes bytes = dumped(file);
    require(bytes.empty() || bytes.size() >= 16 + 8 + 108);
    const bool whole = bytes.size() == file.GetFtyp()->GetSize() + file.GetMoov()->GetSize();
    qlip_fuzz::make_mpeg4_visual(bytes);
    // An empty box at the very end of a stream is read as none, so another one follows.
    constexpr unsigned char kBehind[] = {0, 0, 0, 9, 'f', 'r', 'e', 'e', 0};
    Bytes with_more = bytes;
    with_more.insert(with_more.end(), std::begin(kBehind), std::end(kBehind));
    MemoryHost in(with_more);
    Simple3gp again;
    if (!read(again, in, style) || !whole) return;
    require(complete(again) && dumped(again) == bytes);
}

// What is read whole has its own bytes in front of it when dumped.
void check_hint_entries(const Bytes& bytes, MemoryHost::EofStyle style) {
    MemoryHost in(bytes);
    HintSampleEntry hint(type_word("rtp "));
    if (read(hint, in, style)) require(dumped(hint).size() == hint.GetSize());
    RTPHintSampleEntry rtp;
    rtp.SetTimeScaleEntry(new TimeScaleEntry, true);
    if (read(rtp, in, style)) require(dumped(rtp).size() == rtp.GetSize());
    MdatBox mdat;
    if (read(mdat, in, style)) require(dumped(mdat).empty() && mdat.data_size == 0);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Bytes bytes(data, data + size);
    qlip_fuzz::make_mpeg4_visual(bytes);
    for (const auto style : {MemoryHost::EofStyle::AtEnd, MemoryHost::EofStyle::AfterShortRead}) {
        MemoryHost in(bytes);
        Simple3gp file;
        read(file, in, style);
        require(in.bytes == bytes);
        check_hint_entries(bytes, style);
        if (complete(file)) check_dump(file, style);
    }
    return 0;
}
