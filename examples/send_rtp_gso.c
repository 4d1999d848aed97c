/*
 * send_rtp_gso FILE PORT: sends a video track to 127.0.0.1 as fast as the system takes it, with one system
 * call for each frame. Packets of one size leave as one datagram that the kernel cuts (UDP_SEGMENT); where it
 * does not know that, or sizes differ, as so many messages of one sendmmsg. Either way the packets are sent
 * from where the kit has them.
 */
#define _GNU_SOURCE
#include <netinet/in.h>
#include <netinet/udp.h>
#include <qlip/host.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>

enum { MOST_MESSAGES = 64, MOST_SEGMENTS = 64, LARGEST_DATAGRAM = 65000 };
#ifndef UDP_SEGMENT
enum { UDP_SEGMENT = 103 };
#endif

/* How many packets from here on the kernel can cut from one datagram: of one size, the last one maybe
 * shorter. */
static unsigned int run_of(const struct iovec* packets, unsigned int left) {
    unsigned int count = 1;
    size_t bytes = packets[0].iov_len;
    while (count < left && count < MOST_SEGMENTS && packets[count - 1].iov_len == packets[0].iov_len &&
           packets[count].iov_len <= packets[0].iov_len && bytes + packets[count].iov_len <= LARGEST_DATAGRAM)
        bytes += packets[count++].iov_len;
    return count;
}

typedef struct Segmentation {
    size_t words[CMSG_SPACE(sizeof(uint16_t)) / sizeof(size_t)]; /* aligned as a control message must be */
} Segmentation;

static void ask_to_segment(struct msghdr* message, Segmentation* control, size_t size) {
    const uint16_t segment = (uint16_t)size;
    struct cmsghdr* head = (struct cmsghdr*)control->words;
    memset(control, 0, sizeof *control);
    head->cmsg_level = IPPROTO_UDP;
    head->cmsg_type = UDP_SEGMENT;
    head->cmsg_len = CMSG_LEN(sizeof segment);
    memcpy(CMSG_DATA(head), &segment, sizeof segment);
    message->msg_control = control;
    message->msg_controllen = sizeof *control;
}

/* Sends the packets in runs of `longest`, and returns the number sent. */
static unsigned int send_runs(int udp, struct sockaddr_in* to, struct iovec* packets, unsigned int count,
                              int segmented) {
    static Segmentation controls[MOST_MESSAGES];
    struct mmsghdr messages[MOST_MESSAGES] = {{{0}, 0}};
    unsigned int ends[MOST_MESSAGES], used = 0, at = 0;
    int sent;
    for (; at < count && used < MOST_MESSAGES; ++used) {
        struct msghdr* message = &messages[used].msg_hdr;
        message->msg_name = to;
        message->msg_namelen = sizeof *to;
        message->msg_iov = &packets[at];
        message->msg_iovlen = segmented ? run_of(&packets[at], count - at) : 1;
        if (message->msg_iovlen > 1) ask_to_segment(message, &controls[used], packets[at].iov_len);
        at += (unsigned int)message->msg_iovlen;
        ends[used] = at;
    }
    sent = sendmmsg(udp, messages, used, 0);
    return sent > 0 ? ends[sent - 1] : 0;
}

int main(int argc, char** argv) {
    const int udp = socket(AF_INET, SOCK_DGRAM, 0);
    struct sockaddr_in to = {0};
    qlip_source* source = NULL;
    qlip_stream* stream = NULL;
    const qlip_frame* frame;
    int status, segmented = 1;
    to.sin_family = AF_INET;
    to.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    to.sin_port = htons((uint16_t)(argc > 2 ? atoi(argv[2]) : 5004));
    if (argc < 2 || qlip_source_path(&source, argv[1]) != QLIP_SUCCESS) return 2;
    if (qlip_stream_open(&stream, source, QLIP_VIDEO, NULL) != QLIP_SUCCESS) return 1;
    while ((status = qlip_stream_read(stream, &frame)) == QLIP_SUCCESS) {
        unsigned int done = 0, sent;
        while (done < frame->packet_count) {
            struct iovec* rest = (struct iovec*)frame->packets + done; /* sendmmsg does not write to it */
            sent = send_runs(udp, &to, rest, frame->packet_count - done, segmented);
            if (sent == 0 && !segmented) return 1;
            if (sent == 0) segmented = 0; /* an older kernel, or a device that cannot */
            done += sent;
        }
    }
    qlip_stream_close(&stream);
    qlip_source_close(&source);
    return status != QLIP_END_OF_FILE;
}
