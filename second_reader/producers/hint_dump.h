// The dump of hint samples at the verbose level: bare text, without prefix or position. A macro, so that the
// arguments are not evaluated at lower levels.
#pragma once

#include "common/log.h"

#define QLIP_DUMP(...)                                                   \
    do {                                                                 \
        if (sx_Debug > 4) qlip::write_plain_line(__LINE__, __VA_ARGS__); \
    } while (false)
