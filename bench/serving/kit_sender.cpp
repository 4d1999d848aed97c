// kit_sender FILE PORT SESSIONS: what a session costs without an engine. Plays the tracks of a file SESSIONS
// times at once to a UDP port of this machine, each frame with one sendmmsg when it is due, until it is told
// to stop.
#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <queue>
#include <vector>

#include "qlip/host.h"

namespace {

constexpr unsigned int kMostAtOnce = 64;

struct Session {
    qlip_stream* stream;
    const qlip_frame* frame;
    int64_t start;
    int64_t due() const { return start + frame->time; }
};

struct Later {
    bool operator()(const Session* a, const Session* b) const { return a->due() > b->due(); }
};

using Queue = std::priority_queue<Session*, std::vector<Session*>, Later>;

int64_t now() {
    timespec time = {};
    clock_gettime(CLOCK_MONOTONIC, &time);
    return time.tv_sec * 1000000000LL + time.tv_nsec;
}

void sleep_until(int64_t due) {
    const timespec time = {due / 1000000000, due % 1000000000};
    clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &time, nullptr);
}

void send(int udp, const qlip_frame& frame) {
    mmsghdr messages[kMostAtOnce] = {};
    for (unsigned int done = 0; done < frame.packet_count;) {
        unsigned int count = 0;
        for (; count < kMostAtOnce && done + count < frame.packet_count; ++count) {
            messages[count].msg_hdr.msg_iov = const_cast<iovec*>(&frame.packets[done + count]);
            messages[count].msg_hdr.msg_iovlen = 1;
        }
        sendmmsg(udp, messages, count, 0);
        done += count;
    }
}

// The sessions begin a little one after the other, as clients do.
void add_sessions(Queue& queue, qlip_source* source, int64_t start) {
    for (const qlip_medium medium : {QLIP_VIDEO, QLIP_AUDIO}) {
        auto* session = new Session{nullptr, nullptr, start};
        if (qlip_stream_open(&session->stream, source, medium, nullptr) == QLIP_SUCCESS &&
            qlip_stream_read(session->stream, &session->frame) == QLIP_SUCCESS)
            queue.push(session);
    }
}

}  // namespace

int main(int argc, char** argv) {
    qlip_source* source = nullptr;
    if (argc != 4 || qlip_source_path(&source, argv[1]) != QLIP_SUCCESS) return EXIT_FAILURE;
    const int udp = socket(AF_INET, SOCK_DGRAM, 0);
    sockaddr_in to = {};
    to.sin_family = AF_INET;
    to.sin_port = htons(static_cast<uint16_t>(std::atoi(argv[2])));
    to.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (connect(udp, reinterpret_cast<sockaddr*>(&to), sizeof to) != 0) return EXIT_FAILURE;
    Queue queue;
    const int64_t start = now();
    for (int i = 0; i < std::atoi(argv[3]); ++i)
        add_sessions(queue, source, start + i * 1000000LL);
    std::fputs("sending\n", stderr);
    while (!queue.empty()) {
        Session* session = queue.top();
        queue.pop();
        sleep_until(session->due());
        send(udp, *session->frame);
        if (qlip_stream_read(session->stream, &session->frame) == QLIP_SUCCESS) queue.push(session);
    }
}
