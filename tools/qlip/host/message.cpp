#include "host/message.h"

#include <unistd.h>

#include <cerrno>

namespace qlip_tool {

void tell(std::string_view text) {
    while (!text.empty()) {
        const ssize_t written = ::write(STDERR_FILENO, text.data(), text.size());
        if (written < 0 && errno == EINTR) continue;
        if (written <= 0) return;
        text.remove_prefix(static_cast<size_t>(written));
    }
}

}  // namespace qlip_tool
