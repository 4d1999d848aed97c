// A host over bytes in memory that costs as little as a host can, and one that keeps a list of the calls
// made.
#pragma once

#include <vector>

#include "qlip/qlip.h"
#include "tests/support/memory_host.h"

namespace qlip_bench {

using qlip_test::Bytes;

class BenchHost {
  public:
    enum class Kind { Seek, Read, IndexRead, Advance };
    struct Call {
        Kind kind;
        unsigned int offset;
        unsigned int count;
    };

    explicit BenchHost(const Bytes& bytes);
    BenchHost(const BenchHost&) = delete;
    BenchHost& operator=(const BenchHost&) = delete;

    _TAG_QLIP_IOSTREAM_CALLBACK_INTERFACE* record() { return &record_; }

    // Makes a call that was listed; what it reads goes to `buffer`.
    void play(const Call& call, unsigned char* buffer) {
        unsigned int count = call.count;
        switch (call.kind) {
            case Kind::Seek:
                record_.Seek(this, call.offset);
                break;
            case Kind::Read:
                record_.SeekNRead(this, buffer, &count, 0xFFFFFFFF);
                break;
            case Kind::IndexRead:
                record_.IndexRead(this, buffer, call.offset, call.count, &count);
                break;
            case Kind::Advance:
                record_.AdvanceRead(this, call.offset);
                break;
        }
    }

    const unsigned char* data;
    unsigned int size;
    unsigned int position = 0;
    std::vector<Call>* calls = nullptr;  // where calls are listed, if anywhere

  private:
    _TAG_QLIP_IOSTREAM_CALLBACK_INTERFACE record_;
};

}  // namespace qlip_bench
