// A run of fields, or a box, under construction: keeps the running offset, so that a writer reads like the
// box's diagram.
#pragma once

#include <initializer_list>

#include "iso/write/put.h"

namespace qlip {

inline bool has_text(const char* text) {
    return text && *text;
}

class PutSequence {
  public:
    PutSequence(int pass, unsigned char* dst) : pass_(pass), dst_(dst) {}

    PutSequence& u8(unsigned int value) { return add(put8(pass_, here(), value)); }
    PutSequence& u16(unsigned int value) { return add(put16(pass_, here(), value)); }
    PutSequence& u24(unsigned int value) { return add(put24(pass_, here(), value)); }
    PutSequence& u32(unsigned int value) { return add(put32(pass_, here(), value)); }
    // putID only reads.
    PutSequence& id(const char* value) { return add(putID(pass_, here(), const_cast<char*>(value))); }
    PutSequence& text(char* value) { return value ? add(putstring(pass_, here(), value)) : *this; }
    PutSequence& bytes(void* data, int n) { return add(put8n(pass_, here(), data, n)); }
    PutSequence& length(unsigned int value) { return add(putxlen(pass_, here(), value)); }

    PutSequence& u32s(std::initializer_list<unsigned int> values) {
        for (const unsigned int value : values)
            u32(value);
        return *this;
    }

    // Runs a writer of the same owner behind what is there.
    template <typename Owner>
    PutSequence& child(int (*writer)(int, Owner*, unsigned char*), Owner* owner) {
        return add(writer(pass_, owner, here()));
    }

    int pass() const { return pass_; }
    int size() const { return size_; }

  protected:
    unsigned char* here() const { return dst_ ? dst_ + size_ : nullptr; }
    unsigned char* at(int offset) const { return dst_ ? dst_ + offset : nullptr; }

    PutSequence& add(int size) {
        size_ += size;
        return *this;
    }

    int pass_;
    unsigned char* dst_;
    int size_ = 0;
};

// A box: room for its size, then its type; the size is filled in by finish.
class PutBox : public PutSequence {
  public:
    PutBox(int pass, unsigned char* dst, const char* type) : PutSequence(pass, dst) {
        add(8);
        putID(pass, at(4), const_cast<char*>(type));
    }

    int finish() {
        put32(pass_, dst_, static_cast<unsigned int>(size_));
        return size_;
    }
};

// A descriptor of ISO/IEC 14496-1: a tag, room for a four-byte length, filled in by finish.
class PutDescriptor : public PutSequence {
  public:
    PutDescriptor(int pass, unsigned char* dst, unsigned int tag) : PutSequence(pass, dst) {
        u8(tag);
        add(4);
    }

    int finish() {
        putxlen(pass_, at(1), static_cast<unsigned int>(size_ - 5));
        return size_;
    }
};

// A box that holds nothing but children of one owner.
template <typename Owner>
int put_container(int pass, Owner* owner, unsigned char* dst, const char* type,
                  std::initializer_list<int (*)(int, Owner*, unsigned char*)> children) {
    PutBox box(pass, dst, type);
    for (const auto child : children)
        box.child(child, owner);
    return box.finish();
}

}  // namespace qlip
