#include "qlip/vorn3gp/stream.h"

#include <cstdint>

#include "boxes/checked_calls.h"
#include "boxes/meter.h"
#include "common/byte_order.h"
#include "common/log.h"
#include "qlip/vorn3gp/box.h"

namespace {

constexpr const char* kPath = "filegen/src/stream";

}  // namespace

void qlip::refuse_call(Vorn3gp::Stream record, unsigned int status, const char* slot) {
    if (const qlip::Meter* meter = qlip::Meter::of(record)) record = meter->host();
    if (const auto* limited = qlip::LimitedCallbacks::of(record)) record = limited->host();
    throw SimpleException(kPath, __LINE__, "IO Callback %s() failed with status: %d.  IO Context: 0x%X", slot,
                          static_cast<int>(status),
                          static_cast<unsigned int>(reinterpret_cast<uintptr_t>(record->pUserContext)));
}

namespace Vorn3gp {

void macro_Read(Stream record, unsigned char* data, unsigned int count) {
    qlip::read_some(record, data, count);
}

void macro_Write(Stream record, unsigned char* data, unsigned int count) {
    qlip::check_call(record, record->SeekNWrite(record->pUserContext, data, count, qlip::kCurrentPosition),
                     "SeekNWrite");
}

void macro_Seek(Stream record, unsigned int offset) {
    qlip::seek_to(record, offset);
}

void macro_SeekRel(Stream record, int delta) {
    macro_Seek(record, macro_Tell(record) + static_cast<unsigned int>(delta));
}

unsigned int macro_Tell(Stream record) {
    unsigned int offset = 0;
    qlip::check_call(record, record->GetOffset(record->pUserContext, &offset), "GetOffset");
    return offset;
}

bool macro_IsEOF(Stream record) {
    return record->IsEOF(record->pUserContext) != 0;
}

}  // namespace Vorn3gp

using Vorn3gp::Stream;

Stream& var8_read(Stream& stream, unsigned char& value) {
    Vorn3gp::macro_Read(stream, &value, 1);
    return stream;
}

Stream& var8_read_noswap(Stream& stream, unsigned char& value) {
    return var8_read(stream, value);
}

Stream& var16_read(Stream& stream, unsigned short& value) {
    unsigned char bytes[2];
    qlip::store_be16(bytes, value);
    Vorn3gp::macro_Read(stream, bytes, sizeof bytes);
    value = qlip::load_be16(bytes);
    return stream;
}

Stream& var16_read(Stream& stream, short& value) {
    auto word = static_cast<unsigned short>(value);
    var16_read(stream, word);
    value = static_cast<short>(word);
    return stream;
}

Stream& var32_read(Stream& stream, unsigned int& value) {
    unsigned char bytes[4];
    qlip::store_be32(bytes, value);
    Vorn3gp::macro_Read(stream, bytes, sizeof bytes);
    value = qlip::load_be32(bytes);
    return stream;
}

Stream& var32_read(Stream& stream, int& value) {
    auto word = static_cast<unsigned int>(value);
    var32_read(stream, word);
    value = static_cast<int>(word);
    return stream;
}

Stream& var32_read_noswap(Stream& stream, unsigned int& value) {
    Vorn3gp::macro_Read(stream, reinterpret_cast<unsigned char*>(&value), sizeof value);
    return stream;
}

Stream& var8_write(Stream& stream, unsigned char value) {
    Vorn3gp::macro_Write(stream, &value, 1);
    return stream;
}

Stream& var8_write_noswap(Stream& stream, unsigned char value) {
    return var8_write(stream, value);
}

Stream& var16_write(Stream& stream, unsigned short value) {
    unsigned char bytes[2];
    qlip::store_be16(bytes, value);
    Vorn3gp::macro_Write(stream, bytes, sizeof bytes);
    return stream;
}

Stream& var32_write(Stream& stream, unsigned int value) {
    unsigned char bytes[4];
    qlip::store_be32(bytes, value);
    Vorn3gp::macro_Write(stream, bytes, sizeof bytes);
    return stream;
}

Stream& var32_write_noswap(Stream& stream, unsigned int value) {
    Vorn3gp::macro_Write(stream, reinterpret_cast<unsigned char*>(&value), sizeof value);
    return stream;
}

unsigned int GetFileSize(Stream& stream) {
    const qlip::LimitedCall call(qlip::limits_of(stream));
    const unsigned int before = Vorn3gp::macro_Tell(stream);
    unsigned int size = 0;
    qlip::check_call(stream, stream->Tell(stream->pUserContext, &size), "Tell");
    Vorn3gp::macro_Seek(stream, before);
    QLIP_LOG_DEBUG(kPath, "File size is: %u bytes", size);
    return size;
}
