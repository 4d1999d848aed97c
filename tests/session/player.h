// A consumer of the native stream: pulls chunks through the C entry points and knows their lengths from the
// stream itself, as a server would.
#pragma once

#include <vector>

#include "qlip/qlip.h"
#include "tests/support/memory_host.h"

namespace qlip_test {

inline uint32_t word_at(const Bytes& bytes, size_t offset) {
    return static_cast<uint32_t>(bytes.at(offset)) | static_cast<uint32_t>(bytes.at(offset + 1)) << 8 |
           static_cast<uint32_t>(bytes.at(offset + 2)) << 16 |
           static_cast<uint32_t>(bytes.at(offset + 3)) << 24;
}

class Player {
  public:
    static constexpr unsigned char kUntouched = 0xA5;
    static constexpr unsigned int kSizeUntouched = 0xDEADBEEF;

    Player(MemoryHost& host, const char* mode, bool indexed = false);
    ~Player();
    Player(const Player&) = delete;
    Player& operator=(const Player&) = delete;

    struct Step {
        int status;
        Bytes bytes;        // the chunk, as long as the stream says it is
        unsigned int size;  // the size word after the call
        bool overran;       // something was written behind the chunk
    };

    // One call. `delivered` says which statuses come with a chunk; the other ones leave `bytes` empty.
    Step read();

    // One call whose chunk is left in the buffer and out of the books.
    int read_raw();

    // All chunks up to the first status other than 0, after which `end` holds that status.
    std::vector<Bytes> rest();
    int end = 0;

    // The first bytes of the buffer as the last call left them.
    Bytes buffer(size_t count) const {
        return Bytes(buffer_.begin(), buffer_.begin() + static_cast<long>(count));
    }

    // Counts the buffer as a delivered chunk although the status of the last call was not 0.
    Bytes accept();

    mm_Interface* handle = nullptr;
    int opened;
    bool indexed;
    bool check_guard = true;

  private:
    size_t next_length() const;

    std::vector<unsigned char> buffer_;
    size_t delivered_ = 0;
    bool audio_ = false;
    size_t header_ = 0;
    size_t body_ = 0;  // of the frame whose record was delivered last
};

// One video packet record, or one audio payload with its timestamp.
struct Packet {
    uint32_t timestamp;
    uint32_t rtp_word;
    Bytes payload;
};

// The packet records of a video frame body (without its prefix).
std::vector<Packet> packets_of(const Bytes& body);

}  // namespace qlip_test
