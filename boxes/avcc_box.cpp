#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <new>
#include <span>

#include "boxes/fields.h"
#include "boxes/input.h"
#include "formats/nal.h"
#include "qlip/vorn3gp/sample_entries.h"

namespace {

constexpr unsigned int kLongestString = 256;  // what an 8-bit index reaches

// The Annex B string while it is read. An index of 8 bits, kept for hosts that read the string
// [model-avcc-255]: a total of 256 bytes or more wraps and overwrites the start.
class ByteString {
  public:
    void append(unsigned char byte) { bytes_[size_++] = byte; }
    void append_start_code() {
        for (const unsigned char byte : qlip::kNalStartCode)
            append(byte);
    }
    const unsigned char* data() const { return bytes_.data(); }
    unsigned char size() const { return size_; }

  private:
    std::array<unsigned char, kLongestString> bytes_ = {};
    unsigned char size_ = 0;
};

// The bytes of a set are counted in 8 bits, which never reach a length of 256 and more; kept for hosts that
// see such a set go on until the stream fails [model-avcc-255].
void read_parameter_set(Vorn3gp::Stream& stream, unsigned short& length, ByteString& string) {
    var16_read(stream, length);
    string.append_start_code();
    const unsigned int bytes = length < kLongestString ? length : std::numeric_limits<unsigned int>::max();
    qlip::Metered metered(stream);
    for (unsigned int i = 0; i < bytes; ++i) {
        unsigned char byte = 0;
        var8_read(metered.stream(), byte);
        string.append(byte);
    }
}

// The parameter sets of one kind, put together.
struct ParameterSets {
    unsigned char count = 0;
    unsigned short length = 0;
    std::array<unsigned char, kLongestString> bytes = {};

    void add(std::span<const unsigned char> unit) {
        std::copy(unit.begin(), unit.end(), bytes.begin() + length);
        length = static_cast<unsigned short>(length + unit.size());
        ++count;
    }
};

// The next start code from `at` on, or the end. One that would begin in the last three bytes is none.
size_t find_start_code(std::span<const unsigned char> string, size_t at) {
    const auto found = std::search(string.begin() + static_cast<std::ptrdiff_t>(at), string.end(),
                                   qlip::kNalStartCode.begin(), qlip::kNalStartCode.end());
    return static_cast<size_t>(found - string.begin());
}

void sort_units(std::span<const unsigned char> string, ParameterSets& sps, ParameterSets& pps) {
    for (size_t at = find_start_code(string, 0); at < string.size();) {
        const size_t begin = at + qlip::kNalStartCode.size();
        at = find_start_code(string, begin);
        const auto unit = string.subspan(begin, at - begin);
        const unsigned int type = qlip::nal_type(unit);
        if (type == qlip::kNalSequenceSet) sps.add(unit);
        if (type == qlip::kNalPictureSet) pps.add(unit);
    }
}

void write_sets(Vorn3gp::Stream& stream, ParameterSets& sets) {
    var16_write(stream, sets.length);
    if (sets.length > 0) Vorn3gp::macro_Write(stream, sets.bytes.data(), sets.length);
}

}  // namespace

namespace Vorn3gp {

AVCCBox::AVCCBox() : FullBox(type_word("avcC"), 0, 0) {}

AVCCBox::~AVCCBox() {
    std::free(parameter_sets);
}

// A plain box header, of a size that does not count what follows, and one length over all sets of a kind:
// kept for readers of dumped files [model-dump-drops].
Stream& AVCCBox::Dump(Stream& stream) const {
    ParameterSets sps;
    ParameterSets pps;
    if (parameter_sets) sort_units({parameter_sets, parameter_sets_size}, sps, pps);
    var32_write(stream, GetSize());
    var32_write_noswap(stream, type);
    var8_write(stream, configuration_version);
    for (size_t i = 1; i <= 3; ++i)
        var8_write(stream, sps.bytes[i]);
    var8_write(stream, static_cast<unsigned char>(qlip::kAvccLengthSizeReserved + nal_length_size - 1));
    var8_write(stream, static_cast<unsigned char>(qlip::kAvccSetCountReserved + sps.count));
    write_sets(stream, sps);
    var8_write(stream, pps.count);
    write_sets(stream, pps);
    return stream;
}

// Not through Box::Read: position, size and type stay as they are, and the size in the file is not looked at.
Stream& AVCCBox::Read(Stream& stream, unsigned int /*limit*/) {
    unsigned char header[8] = {};
    macro_Read(stream, header, sizeof header);
    for (unsigned char* const field :
         {&configuration_version, &profile, &profile_compatibility, &level, &length_reserved})
        var8_read(stream, *field);
    nal_length_size = static_cast<unsigned char>((length_reserved & qlip::kAvccLengthSizeMask) + 1);
    length_reserved = static_cast<unsigned char>(length_reserved / (qlip::kAvccLengthSizeMask + 1));
    var8_read(stream, sps_reserved);
    sps_count = sps_reserved & qlip::kAvccSetCountMask;
    sps_reserved = static_cast<unsigned char>(sps_reserved / (qlip::kAvccSetCountMask + 1));

    ByteString string;
    for (unsigned int i = 0; i < sps_count; ++i)
        read_parameter_set(stream, sps_length, string);
    var8_read(stream, pps_count);
    for (unsigned int i = 0; i < pps_count; ++i)
        read_parameter_set(stream, pps_length, string);

    std::free(parameter_sets);
    parameter_sets_size = string.size();
    parameter_sets = static_cast<unsigned char*>(std::malloc(kLongestString));
    if (!parameter_sets) throw std::bad_alloc();
    std::memcpy(parameter_sets, string.data(), parameter_sets_size);
    return stream;
}

unsigned int AVCCBox::GetSize() const {
    return FullBox::GetSize() + unset[2];
}

}  // namespace Vorn3gp
