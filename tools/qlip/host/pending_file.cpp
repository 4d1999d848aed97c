#include "host/pending_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <climits>
#include <csignal>
#include <cstdlib>
#include <filesystem>

#include "host/tool_error.h"

namespace qlip_tool {
namespace {

constexpr std::array kEndingSignals = {SIGINT, SIGTERM, SIGHUP, SIGQUIT};
constexpr mode_t kAnyMode = 0777;
constexpr mode_t kUsualMode = 0666;

// The files under way, where the signal handler finds them.
struct Slot {
    volatile sig_atomic_t used;
    bool keeps;
    char temporary[PATH_MAX];
    char target[PATH_MAX];
};
std::array<Slot, 4> slots;

void end_by_signal(int signal) {
    for (const Slot& slot : slots) {
        if (!slot.used) continue;
        if (slot.keeps) {
            rename(slot.temporary, slot.target);
        } else {
            unlink(slot.temporary);
        }
    }
    std::signal(signal, SIG_DFL);
    raise(signal);
}

// A signal that is ignored, as under nohup, stays ignored.
void catch_ending_signals() {
    static bool caught = false;
    if (caught) return;
    caught = true;
    for (const int signal : kEndingSignals) {
        struct sigaction old = {};
        sigaction(signal, nullptr, &old);
        if (old.sa_handler == SIG_DFL) std::signal(signal, end_by_signal);
    }
}

// Keeps ending signals off while a file and its slot are changed together.
class SignalsHeld {
  public:
    SignalsHeld() {
        sigset_t held;
        sigemptyset(&held);
        for (const int signal : kEndingSignals)
            sigaddset(&held, signal);
        sigprocmask(SIG_BLOCK, &held, &before_);
    }
    ~SignalsHeld() { sigprocmask(SIG_SETMASK, &before_, nullptr); }
    SignalsHeld(const SignalsHeld&) = delete;
    SignalsHeld& operator=(const SignalsHeld&) = delete;

  private:
    sigset_t before_ = {};
};

int take_slot(const std::string& temporary, const std::string& target, bool keeps) {
    for (size_t i = 0; i < slots.size(); ++i) {
        Slot& slot = slots[i];
        if (slot.used || temporary.size() >= PATH_MAX || target.size() >= PATH_MAX) continue;
        temporary.copy(slot.temporary, PATH_MAX - 1);
        slot.temporary[temporary.size()] = '\0';
        target.copy(slot.target, PATH_MAX - 1);
        slot.target[target.size()] = '\0';
        slot.keeps = keeps;
        slot.used = 1;
        return static_cast<int>(i);
    }
    return -1;
}

// Follows links, also one that leads to nothing yet.
std::string follow_links(const std::string& name) {
    constexpr int kMostLinks = 40;
    std::filesystem::path path(name);
    std::error_code error;
    for (int links = 0; links < kMostLinks && std::filesystem::is_symlink(path, error); ++links)
        path = path.parent_path() / std::filesystem::read_symlink(path, error);
    return path.string();
}

mode_t usual_mode() {
    const mode_t masked = umask(0);
    umask(masked);
    return kUsualMode & ~masked;
}

}  // namespace

PendingFile::PendingFile(const std::string& path, Interrupted interrupted)
    : name_(path), target_(follow_links(path)) {
    const bool there = access(target_.c_str(), F_OK) == 0;
    if (there && access(target_.c_str(), W_OK) != 0) throw io_error("cannot write " + name_);
    const size_t slash = target_.rfind('/');
    temporary_ = target_.substr(0, slash == std::string::npos ? 0 : slash + 1) + ".qlip-XXXXXX";
    catch_ending_signals();
    const SignalsHeld held;
    fd_ = mkostemp(temporary_.data(), O_CLOEXEC);
    if (fd_ < 0) throw io_error("cannot create " + name_);
    slot_ = take_slot(temporary_, target_, interrupted == Interrupted::Keeps);
}

PendingFile::~PendingFile() {
    const SignalsHeld held;
    if (!temporary_.empty()) unlink(temporary_.c_str());
    if (slot_ >= 0) slots[static_cast<size_t>(slot_)].used = 0;
    close(fd_);
}

void PendingFile::put_in_place() {
    struct stat old = {};
    const bool replaces = stat(target_.c_str(), &old) == 0;
    // What must not be lost is on the disk before it goes. Only a privileged user can keep another's
    // ownership.
    if (replaces && fsync(fd_) != 0) throw io_error("cannot write " + name_);
    if (replaces && fchown(fd_, old.st_uid, old.st_gid) != 0) errno = 0;
    if (fchmod(fd_, replaces ? old.st_mode & kAnyMode : usual_mode()) != 0)
        throw io_error("cannot write " + name_);
    const SignalsHeld held;
    if (rename(temporary_.c_str(), target_.c_str()) != 0) throw io_error("cannot write " + name_);
    temporary_.clear();
    if (slot_ >= 0) slots[static_cast<size_t>(slot_)].used = 0;
}

}  // namespace qlip_tool
