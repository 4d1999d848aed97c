// The library's only exception type, which is also the vehicle of every log line, the global log level, and
// the allocation counters of the ISO engine.
#pragma once

#include <string>

#include "qlip/export.h"

// Log level of the process. Lines are written when the level is above a threshold:
//   above 1 errors ("ERR: "), above 2 warnings ("WARN:"), above 3 debug ("DBG: "), above 4 verbose debug
//   ("DBG2:").
// Starts at 3. Read and written without any locking.
extern QLIP_API int sx_Debug;

// Blocks handed out and given back by the ISO engine, over all files of the process. Statistics only; the
// library counts with atomic access, so that sessions may run on several threads.
extern QLIP_API int malloccount;
extern QLIP_API int freecount;

// A formatted message with the place in the source that made it.
//
// Log lines go to syslog(3) at LOG_ERR whatever their level; the five-character prefix tells the levels
// apart. The library never calls openlog: ident and facility are the process's own.
class QLIP_API SimpleException {
  public:
    SimpleException();

    // Formats as printf does. A message longer than 255 characters is cut there.
    SimpleException(const std::string& file, long line, const char* format, ...)
        __attribute__((format(printf, 4, 5)));

    SimpleException(const SimpleException&) = default;
    SimpleException& operator=(const SimpleException&) = default;
    virtual ~SimpleException();

    // Writes "<prefix><file>(<line>): <message>\n", or "<prefix>Unknown error occured\n" when there is no
    // message.
    void Log(const char* prefix) const;

    // Writes "<prefix><message>", with no position and no line end; without a message the same line as Log.
    void LogPlain(const char* prefix) const;

    std::string m_message;
    long m_line = 0;
    std::string m_file;
};
