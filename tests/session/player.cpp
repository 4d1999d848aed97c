#include "tests/session/player.h"

#include <malloc.h>

#include <algorithm>
#include <stdexcept>

namespace qlip_test {

namespace {

// Fresh memory that is full of what others left in it: none of that may show.
int open_in_used_memory(mm_Interface** handle, MemoryHost& host, const char* mode) {
    constexpr int kLeftByOthers = 0x5A;
    mallopt(M_PERTURB, kLeftByOthers);
    const int status = qlip_Open(handle, host.record(), mode);
    mallopt(M_PERTURB, 0);
    return status;
}

}  // namespace

Player::Player(MemoryHost& host, const char* mode, bool indexed_reading)
    : opened(open_in_used_memory(&handle, host, mode)),
      indexed(indexed_reading),
      buffer_(QLIP_LARGEST_CHUNK + 64) {}

Player::~Player() {
    qlip_Close(&handle);
}

size_t Player::next_length() const {
    const bool even = delivered_ % 2 == 0;
    if (delivered_ == 0) return 24;
    if (!audio_) return delivered_ == 1 ? header_ - 24 + 12 : even ? body_ : 12;
    constexpr size_t kHeaders[] = {24, 16, 12, 16};
    return delivered_ < 4 ? kHeaders[delivered_] : even ? 24 : body_;
}

Bytes Player::accept() {
    Bytes chunk = buffer(next_length());
    if (delivered_ == 0) {
        audio_ = chunk.at(0) == 'A';
        header_ = word_at(chunk, 8);
    } else if (audio_ && delivered_ >= 4 && delivered_ % 2 == 0) {
        body_ = word_at(chunk, 0) - 24;
    } else if (!audio_ && (delivered_ == 1 || delivered_ % 2 == 1)) {
        body_ = 8 + word_at(chunk, chunk.size() - 12) - 20 - word_at(chunk, chunk.size() - 4);
    }
    ++delivered_;
    return chunk;
}

Player::Step Player::read() {
    if (check_guard) std::fill(buffer_.begin(), buffer_.end(), kUntouched);
    Step step{0, {}, kSizeUntouched, false};
    step.status = qlip_ReadChunk(handle, buffer_.data(), &step.size, indexed);
    if (step.status == QLIP_SUCCESS) step.bytes = accept();
    if (check_guard && step.status == QLIP_SUCCESS) {
        step.overran = std::any_of(buffer_.begin() + static_cast<long>(step.bytes.size()), buffer_.end(),
                                   [](unsigned char byte) { return byte != kUntouched; });
    }
    return step;
}

int Player::read_raw() {
    std::fill(buffer_.begin(), buffer_.end(), kUntouched);
    unsigned int size = kSizeUntouched;
    return qlip_ReadChunk(handle, buffer_.data(), &size, indexed);
}

std::vector<Bytes> Player::rest() {
    std::vector<Bytes> chunks;
    for (;;) {
        Step step = read();
        end = step.status;
        if (step.status != QLIP_SUCCESS) return chunks;
        if (step.overran) throw std::runtime_error("chunk longer than the stream says");
        chunks.push_back(std::move(step.bytes));
    }
}

std::vector<Packet> packets_of(const Bytes& body) {
    std::vector<Packet> packets;
    for (size_t at = 8; at < body.size();) {
        const size_t size = word_at(body, at);
        if (size < 20 || at + size > body.size()) throw std::runtime_error("bad packet record");
        if (word_at(body, at + 12) != word_at(body, at + 4) || word_at(body, at + 16) != 0) {
            throw std::runtime_error("bad packet record words");
        }
        packets.push_back(
            {word_at(body, at + 4), word_at(body, at + 8),
             Bytes(body.begin() + static_cast<long>(at + 20), body.begin() + static_cast<long>(at + size))});
        at += size;
    }
    return packets;
}

}  // namespace qlip_test
