// The log lines of faults: a damaged file has one in every constructor, and a log must stay readable. Of each
// kind an open object writes so many lines, and then one that says that further ones are left out.
#pragma once

#include <array>

#include "common/log.h"

namespace qlip {

enum class Fault {
    MediaNumber,    // a media sample that the file does not have
    MediaBuffer,    // bytes behind the media sample
    HintSampleEnd,  // a hint sample that ends before its content does
    FrameRoom,      // a frame that does not fit
    DroppedFrame,
    Rethrown,  // a signal on its way, waits for media among them
    Refusal,   // of a call of the host's
    Kinds
};

class FaultLog {
  public:
    static constexpr unsigned int kMostLines = 64;

    // Whether one more line of the kind is to be written. Without a log there is no end to them.
    static bool admits(FaultLog* log, Fault fault, const char* prefix, const char* path) {
        if (!log) return true;
        unsigned int& lines = log->lines_[static_cast<size_t>(fault)];
        if (lines > kMostLines) return false;
        if (lines++ < kMostLines) return true;
        SimpleException(path, __LINE__, "Further lines of this kind are left out").Log(prefix);
        return false;
    }

  private:
    std::array<unsigned int, static_cast<size_t>(Fault::Kinds)> lines_{};
};

}  // namespace qlip

// As QLIP_LOG_WARNING, within the bounds of the log, which may be null.
#define QLIP_LOG_FAULT(log, fault, path, ...)                                                     \
    do {                                                                                          \
        if (sx_Debug > 2 && qlip::FaultLog::admits((log), (fault), qlip::kWarningPrefix, (path))) \
            SimpleException((path), __LINE__, __VA_ARGS__).Log(qlip::kWarningPrefix);             \
    } while (false)
