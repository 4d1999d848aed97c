// The box model on arbitrary bytes: read as a tree, dumped into memory, and read again.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
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

bool read(Simple3gp& file, MemoryHost& host, MemoryHost::EofStyle style) {
    host.keep_log = false;
    host.eof_style = style;
    Stream stream = host.record();
    return succeeds([&] { file.Read(stream, 0); });
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
        if (!complete(file)) continue;

        MemoryHost out;
        out.keep_log = false;
        Stream stream = out.record();
        const bool dumped = succeeds([&] { stream << file; });
        require(!dumped || out.bytes.size() >= 16 + 8 + 108);
        qlip_fuzz::make_mpeg4_visual(out.bytes);
        out.position = 0;
        Simple3gp again;
        read(again, out, style);
    }
    return 0;
}
