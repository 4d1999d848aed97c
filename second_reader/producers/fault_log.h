// The log lines of faults, of which a damaged file may have one in every constructor. An open object bounds
// each kind by itself.
#pragma once

#include <array>
#include <cstdint>

#include "common/line_limit.h"

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
    // Whether one more line of the kind is to be written. Without a log there is no end to them.
    static bool admits(FaultLog* log, Fault fault, const char* prefix, const char* path) {
        return !log || log->limits_[static_cast<size_t>(fault)].admits(prefix, path);
    }

    static void count(FaultLog* log) {
        if (log) ++log->faults_;
    }
    uint64_t faults() const { return faults_; }

  private:
    uint64_t faults_ = 0;  // also those that the level of the log leaves out
    std::array<LineLimit, static_cast<size_t>(Fault::Kinds)> limits_;
};

}  // namespace qlip

// As QLIP_LOG_WARNING, within the bounds of the log, which may be null and counts the fault.
#define QLIP_LOG_FAULT(log, fault, path, ...)                                                     \
    do {                                                                                          \
        qlip::FaultLog::count(log);                                                               \
        if (sx_Debug > 2 && qlip::FaultLog::admits((log), (fault), qlip::kWarningPrefix, (path))) \
            SimpleException((path), __LINE__, __VA_ARGS__).Log(qlip::kWarningPrefix);             \
    } while (false)
