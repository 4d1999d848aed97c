// The dump of hint samples at the verbose level: bare text, without prefix or position. A macro, so that the
// arguments are not evaluated at lower levels.
#pragma once

#include "qlip/SimpleException.h"

#define QLIP_DUMP(...)                                                             \
    do {                                                                           \
        if (sx_Debug > 4) SimpleException({}, __LINE__, __VA_ARGS__).LogPlain(""); \
    } while (false)
