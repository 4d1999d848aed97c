// Why a call did not succeed, in words. Writing them allocates nothing.
#pragma once

#include <cstdarg>
#include <cstdio>

namespace qlip::kit {

class Trouble {
  public:
    void forget() { text_[0] = '\0'; }
    const char* text() const { return text_; }

    // Keeps the words and returns `status`.
    [[gnu::format(printf, 3, 4)]] int tell(int status, const char* format, ...) {
        va_list arguments;
        va_start(arguments, format);
        std::vsnprintf(text_, sizeof text_, format, arguments);
        va_end(arguments);
        return status;
    }

  private:
    char text_[200] = "";
};

}  // namespace qlip::kit
