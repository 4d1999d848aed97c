// The lines of one open object: where they go, and how many there were. A damaged file may have something to
// say about every byte, and a log must stay readable.
#pragma once

#include <array>
#include <cstdarg>
#include <cstdint>

#include "qlip/limits.h"

namespace qlip {

class LineBook {
  public:
    static constexpr unsigned int kMostOfAKind = 64;
    static constexpr const char* kLeftOut = "Further lines of this kind are left out";

    constexpr LineBook() = default;
    explicit LineBook(const qlip_limits& limits)
        : function_(limits.line), user_(limits.user), lines_left_(limits.lines ? limits.lines : kNoLimit) {}

    enum class Admission {
        Write,
        SayLeftOut,  // in place of the first line too many
        Drop
    };

    // For one more line of a kind. Kinds are told apart by any number that is their own. Lines for debugging
    // only count in all.
    Admission admit(int level, uintptr_t kind);

    // The host's function takes the lines.
    bool has_function() const { return function_; }
    void hand_over(int level, const char* format, va_list arguments) const;
    void hand_over(int level, const char* format, ...) const __attribute__((format(printf, 3, 4)));

    // The book of the call that this thread is in, or null.
    static LineBook* current();

  private:
    friend class LineScope;

    static constexpr uint64_t kNoLimit = UINT64_MAX;
    static constexpr size_t kKinds = 32;  // those beyond share the last place

    struct Kind {
        uintptr_t kind = 0;
        unsigned int lines = 0;
    };

    Kind& place_of(uintptr_t kind);

    qlip_line_function* function_ = nullptr;
    void* user_ = nullptr;
    uint64_t lines_left_ = kNoLimit;
    std::array<Kind, kKinds> kinds_{};
};

// From here to the end of the scope, lines of this thread belong to a book; null: to nobody's.
class LineScope {
  public:
    explicit LineScope(LineBook* book);
    ~LineScope();
    LineScope(const LineScope&) = delete;
    LineScope& operator=(const LineScope&) = delete;

  private:
    LineBook* outer_;
};

}  // namespace qlip
