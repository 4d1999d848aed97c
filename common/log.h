// The logging idiom: test the level first, build the line only if it will be written. The arguments are not
// evaluated otherwise, which is why these are macros. `path` is the source path that the line shows.
#pragma once

#include "qlip/SimpleException.h"

namespace qlip {

inline constexpr const char* kErrorPrefix = "ERR: ";
inline constexpr const char* kWarningPrefix = "WARN:";
inline constexpr const char* kDebugPrefix = "DBG: ";
inline constexpr const char* kVerbosePrefix = "DBG2:";

inline constexpr const char* kUnhandledException = "Unhandled exception caught";

// Write a line as SimpleException's Log and LogPlain do. Out of line and cold, so that code which logs
// nothing pays for no more than the look at the level.
[[gnu::cold]] void write_line(const char* prefix, const char* path, long line, const char* format, ...)
    __attribute__((format(printf, 4, 5)));
[[gnu::cold]] void write_plain_line(long line, const char* format, ...) __attribute__((format(printf, 2, 3)));

}  // namespace qlip

#define QLIP_LOG_ABOVE(level, prefix, path, ...)                                           \
    do {                                                                                   \
        if (sx_Debug > (level)) qlip::write_line((prefix), (path), __LINE__, __VA_ARGS__); \
    } while (false)

#define QLIP_LOG_ERROR(path, ...) QLIP_LOG_ABOVE(1, qlip::kErrorPrefix, path, __VA_ARGS__)
#define QLIP_LOG_WARNING(path, ...) QLIP_LOG_ABOVE(2, qlip::kWarningPrefix, path, __VA_ARGS__)
#define QLIP_LOG_DEBUG(path, ...) QLIP_LOG_ABOVE(3, qlip::kDebugPrefix, path, __VA_ARGS__)
#define QLIP_LOG_VERBOSE(path, ...) QLIP_LOG_ABOVE(4, qlip::kVerbosePrefix, path, __VA_ARGS__)
