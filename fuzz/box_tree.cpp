// The box model on arbitrary bytes: read as a tree, dumped into memory, read again and dumped again; and read
// as the boxes that no tree makes. What a read costs the host is in proportion to the bytes.
#include <cstdint>

#include "fuzz/box_trees.h"

using namespace qlip_fuzz;

namespace {

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
    make_mpeg4_visual(bytes);
    const Cost cost(size, 8);
    using Style = MemoryHost::EofStyle;
    const auto style = size > 0 && data[size - 1] & 1 ? Style::AtEnd : Style::AfterShortRead;
    MemoryHost in(bytes);
    Simple3gp file;
    read(file, in, style);
    require(in.bytes == bytes);
    check_hint_entries(bytes, style);
    if (complete(file)) check_dump(file, style);
    return 0;
}
