// One description of a box's fields serves its Read, Dump and GetSize. A description is a generic lambda that
// names the fields in file order to a visitor:
//
//   constexpr auto kFields = [](auto& box, auto& fields) {
//       fields.be32(box.timescale);
//       fields.be16(box.language);
//   };
//
// be* are big-endian; raw32 keeps file byte order; arrays are visited element by element.
#pragma once

#include <cstddef>

#include "common/byte_order.h"
#include "qlip/vorn3gp/box.h"

namespace qlip {

// The type of a box that has none, or whose header was at the end of the stream.
inline constexpr unsigned int kNoType = Vorn3gp::type_word("????");

class FieldReader {
  public:
    explicit FieldReader(Vorn3gp::Stream& stream) : stream_(stream) {}

    void be8(unsigned char& field) { var8_read(stream_, field); }
    template <class Half>
    void be16(Half& field) {
        var16_read(stream_, field);
    }
    template <class Word>
    void be32(Word& field) {
        var32_read(stream_, field);
    }
    void raw32(unsigned int& field) { var32_read_noswap(stream_, field); }
    void be24(unsigned int& field) {
        unsigned char bytes[3];
        store_be24(bytes, field);
        Vorn3gp::macro_Read(stream_, bytes, sizeof bytes);
        field = load_be24(bytes);
    }
    // Reads over a field that keeps its value.
    void kept16(unsigned short field) { var16_read(stream_, field); }

    template <size_t N>
    void be8(unsigned char (&fields)[N]) {
        for (auto& field : fields)
            be8(field);
    }
    template <class Half, size_t N>
    void be16(Half (&fields)[N]) {
        for (auto& field : fields)
            be16(field);
    }
    template <class Word, size_t N>
    void be32(Word (&fields)[N]) {
        for (auto& field : fields)
            be32(field);
    }
    template <size_t N>
    void raw32(unsigned int (&fields)[N]) {
        for (auto& field : fields)
            raw32(field);
    }

  private:
    Vorn3gp::Stream& stream_;
};

class FieldWriter {
  public:
    explicit FieldWriter(Vorn3gp::Stream& stream) : stream_(stream) {}

    void be8(unsigned char field) { var8_write(stream_, field); }
    void be16(unsigned short field) { var16_write(stream_, field); }
    void be16(short field) { be16(static_cast<unsigned short>(field)); }
    void be32(unsigned int field) { var32_write(stream_, field); }
    void be32(int field) { be32(static_cast<unsigned int>(field)); }
    void raw32(unsigned int field) { var32_write_noswap(stream_, field); }
    void be24(unsigned int field) {
        unsigned char bytes[3];
        store_be24(bytes, field);
        Vorn3gp::macro_Write(stream_, bytes, sizeof bytes);
    }
    void kept16(unsigned short field) { be16(field); }

    template <size_t N>
    void be8(const unsigned char (&fields)[N]) {
        for (const auto field : fields)
            be8(field);
    }
    template <class Half, size_t N>
    void be16(const Half (&fields)[N]) {
        for (const auto field : fields)
            be16(field);
    }
    template <class Word, size_t N>
    void be32(const Word (&fields)[N]) {
        for (const auto field : fields)
            be32(field);
    }
    template <size_t N>
    void raw32(const unsigned int (&fields)[N]) {
        for (const auto field : fields)
            raw32(field);
    }

  private:
    Vorn3gp::Stream& stream_;
};

// Every field but a 24-bit one is stored in as many bytes as it has in a file.
class FieldSizer {
  public:
    template <class Field>
    void be8(const Field& field) {
        size += sizeof field;
    }
    template <class Field>
    void be16(const Field& field) {
        size += sizeof field;
    }
    template <class Field>
    void be32(const Field& field) {
        size += sizeof field;
    }
    template <class Field>
    void raw32(const Field& field) {
        size += sizeof field;
    }
    void be24(unsigned int) { size += 3; }
    void kept16(unsigned short) { size += 2; }

    unsigned int size = 0;
};

template <class Record, class Description>
Vorn3gp::Stream& read_fields(Vorn3gp::Stream& stream, Record& record, Description describe) {
    FieldReader reader(stream);
    describe(record, reader);
    return stream;
}

template <class Record, class Description>
Vorn3gp::Stream& dump_fields(Vorn3gp::Stream& stream, const Record& record, Description describe) {
    FieldWriter writer(stream);
    describe(record, writer);
    return stream;
}

template <class Record, class Description>
unsigned int size_of_fields(const Record& record, Description describe) {
    FieldSizer sizer;
    describe(record, sizer);
    return sizer.size;
}

// Tables of rows that are described in the same way.

template <class Row, class Description>
Vorn3gp::Stream& dump_rows(Vorn3gp::Stream& stream, const std::vector<Row>& rows, Description describe) {
    var32_write(stream, static_cast<unsigned int>(rows.size()));
    for (const Row& row : rows)
        dump_fields(stream, row, describe);
    return stream;
}

// A count and the rows behind it.
template <class Row, class Description>
unsigned int size_of_rows(const std::vector<Row>& rows, Description describe) {
    return 4 + static_cast<unsigned int>(rows.size()) * size_of_fields(Row(), describe);
}

// Where the box was last read or dumped, as a 32-bit offset.
inline unsigned int offset_of(std::streampos position) {
    return static_cast<unsigned int>(std::streamoff(position));
}

inline Vorn3gp::Stream& go_to_start(Vorn3gp::Stream& stream, const Vorn3gp::Box& box) {
    Vorn3gp::macro_Seek(stream, offset_of(box.position));
    return stream;
}

}  // namespace qlip
