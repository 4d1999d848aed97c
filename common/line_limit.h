// A log must stay readable whatever a file holds: of one kind of line so many are written, and then one that
// says that further ones are left out.
#pragma once

#include "common/line_book.h"
#include "common/log.h"

namespace qlip {

class LineLimit {
  public:
    static constexpr unsigned int kMostLines = LineBook::kMostOfAKind;

    // Whether one more line is to be written.
    bool admits(const char* prefix, const char* path) {
        if (lines_ > kMostLines) return false;
        if (lines_++ < kMostLines) return true;
        SimpleException(path, __LINE__, "%s", LineBook::kLeftOut).Log(prefix);
        return false;
    }

  private:
    unsigned int lines_ = 0;
};

}  // namespace qlip
