/*
 * sound_and_picture FILE PORT: sends both tracks of a file to 127.0.0.1, audio to PORT and video to PORT + 2,
 * with RTCP sender reports one port above, by which a player keeps them together. The session description
 * goes to standard output.
 */
#define _DEFAULT_SOURCE
#include <netinet/in.h>
#include <qlip/host.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/socket.h>
#include <time.h>

static int udp;
static struct timespec start;

static void send_to(unsigned int port, const void* bytes, size_t size) {
    struct sockaddr_in to = {0};
    to.sin_family = AF_INET;
    to.sin_port = htons((uint16_t)port);
    to.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    sendto(udp, bytes, size, 0, (struct sockaddr*)&to, sizeof to);
}

static void sleep_until(int64_t time) {
    const int64_t due = start.tv_sec * INT64_C(1000000000) + start.tv_nsec + time;
    const struct timespec at = {due / 1000000000, due % 1000000000};
    clock_nanosleep(CLOCK_REALTIME, TIMER_ABSTIME, &at, NULL);
}

/* Seconds since 1900 in the upper half, and in the lower one fractions of 2^-32. */
static uint64_t ntp_of(int64_t time) {
    const int64_t now = start.tv_sec * INT64_C(1000000000) + start.tv_nsec + time;
    const uint64_t seconds = (uint64_t)(now / 1000000000) + 2208988800u;
    return seconds << 32 | ((uint64_t)(now % 1000000000) << 32) / 1000000000;
}

static void report(const qlip_stream* stream, unsigned int port, int64_t time) {
    unsigned char packet[QLIP_SENDER_REPORT_MAX];
    size_t size = sizeof packet;
    if (qlip_stream_sender_report(stream, ntp_of(time), time, "qlip@127.0.0.1", packet, &size) ==
        QLIP_SUCCESS)
        send_to(port, packet, size);
}

int main(int argc, char** argv) {
    const unsigned int port = argc > 2 ? (unsigned int)atoi(argv[2]) : 5004;
    const unsigned int ports[2] = {port, port + 2};
    const qlip_medium media[2] = {QLIP_AUDIO, QLIP_VIDEO};
    qlip_stream_options options = QLIP_STREAM_OPTIONS_INIT;
    qlip_source* source = NULL;
    qlip_stream* streams[2] = {NULL, NULL};
    const qlip_frame* next[2] = {NULL, NULL};
    int64_t reported[2] = {INT64_MIN / 2, INT64_MIN / 2};
    char text[8192];
    int i;
    udp = socket(AF_INET, SOCK_DGRAM, 0);
    if (argc < 2 || qlip_source_path(&source, argv[1]) != QLIP_SUCCESS) return 2;
    printf("v=0\r\no=- 0 0 IN IP4 127.0.0.1\r\ns= \r\nc=IN IP4 127.0.0.1\r\nt=0 0\r\n");
    for (i = 0; i < 2; ++i) {
        options.ssrc = 0x71000001u + (unsigned int)i; /* better random: see send_rtp.c */
        if (qlip_stream_open(&streams[i], source, media[i], &options) != QLIP_SUCCESS) return 1;
        qlip_stream_sdp(streams[i], ports[i], NULL, text, sizeof text);
        printf("%s", text);
        if (qlip_stream_read(streams[i], &next[i]) != QLIP_SUCCESS) next[i] = NULL;
    }
    fflush(stdout);
    clock_gettime(CLOCK_REALTIME, &start);
    while (next[0] || next[1]) {
        unsigned int packet;
        i = !next[0] || (next[1] && next[1]->time < next[0]->time); /* the one that is due first */
        sleep_until(next[i]->time);
        for (packet = 0; packet < next[i]->packet_count; ++packet)
            send_to(ports[i], next[i]->packets[packet].iov_base, next[i]->packets[packet].iov_len);
        if (next[i]->time - reported[i] > INT64_C(5000000000)) {
            report(streams[i], ports[i] + 1, next[i]->time);
            reported[i] = next[i]->time;
        }
        if (qlip_stream_read(streams[i], &next[i]) != QLIP_SUCCESS) next[i] = NULL;
    }
    qlip_stream_close(&streams[0]);
    qlip_stream_close(&streams[1]);
    return qlip_source_close(&source);
}
