// Trees of the box model: read within their cost, dumped, and read again.
#pragma once

#include <algorithm>
#include <iterator>
#include <new>

#include "fuzz/cost.h"
#include "fuzz/mpeg4_visual.h"
#include "fuzz/require.h"
#include "qlip/vorn3gp.h"
#include "tests/support/memory_host.h"

namespace qlip_fuzz {

using namespace Vorn3gp;
using qlip_test::Bytes;
using qlip_test::MemoryHost;

// A dump ends the process where a required child is missing, so only complete trees are dumped.

inline bool complete(const StblBox* stbl) {
    return stbl && stbl->GetStsd() && stbl->GetStts() && stbl->GetStsc() && stbl->GetStsz() &&
           stbl->GetStco();
}

inline bool complete(const MdiaBox* mdia) {
    if (!mdia || !mdia->GetMdhd() || !mdia->GetHdlr() || !mdia->GetMinf()) return false;
    const MinfBox& minf = *mdia->GetMinf();
    return minf.dinf && minf.dinf->dref && complete(minf.GetStbl());
}

inline bool complete(const TrakBox* trak) {
    const bool edits = !trak->GetEdts() || trak->GetEdts()->GetElst();
    const bool references = !trak->GetTref() || trak->GetTref()->GetTrackReferenceTypeBox();
    return trak->GetTkhd() && complete(trak->GetMdia()) && edits && references;
}

inline bool complete(const Simple3gp& file) {
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

inline bool read(Box& box, MemoryHost& host, MemoryHost::EofStyle style) {
    host.keep_log = false;
    host.eof_style = style;
    host.calls = 0;
    host.position = 0;
    Stream stream = host.record();
    const bool whole = succeeds([&] { box.Read(stream, static_cast<unsigned int>(host.bytes.size())); });
    require(host.calls <= most_calls(host.bytes.size()));
    return whole;
}

// Empty when the dump failed.
inline Bytes dumped(const Box& box) {
    MemoryHost out;
    out.keep_log = false;
    Stream stream = out.record();
    return succeeds([&] { stream << box; }) ? out.bytes : Bytes{};
}

// A dump that is as long as its boxes say reads back, and is dumped as it was.
inline void check_dump(const Simple3gp& file, MemoryHost::EofStyle style) {
    Bytes bytes = dumped(file);
    require(bytes.empty() || bytes.size() >= 16 + 8 + 108);
    bool whole = bytes.size() == file.GetFtyp()->GetSize() + file.GetMoov()->GetSize();
    // Text that looks like a sample entry gets a byte that its box need not keep.
    const Bytes dump = bytes;
    make_mpeg4_visual(bytes);
    whole = whole && bytes == dump;
    // An empty box at the very end of a stream is read as none, so another one follows.
    constexpr unsigned char kBehind[] = {0, 0, 0, 9, 'f', 'r', 'e', 'e', 0};
    Bytes with_more = bytes;
    with_more.insert(with_more.end(), std::begin(kBehind), std::end(kBehind));
    MemoryHost in(with_more);
    Simple3gp again;
    if (!read(again, in, style) || !whole) return;
    require(complete(again) && dumped(again) == bytes);
}

}  // namespace qlip_fuzz
