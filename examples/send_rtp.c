/*
 * send_rtp FILE PORT [a|v]: sends a track to 127.0.0.1 as it is to be played, and writes the session
 * description that a player needs to standard output:
 *
 *   send_rtp clip.3gp 5004 v >clip.sdp &  ffplay -protocol_whitelist file,udp,rtp clip.sdp
 */
#define _DEFAULT_SOURCE
#include <netinet/in.h>
#include <qlip/host.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/random.h>
#include <sys/socket.h>
#include <time.h>

/* Receivers of several senders tell them apart by numbers that nobody can guess (RFC 3550 5.1). */
static qlip_stream_options random_starts(void) {
    qlip_stream_options options = QLIP_STREAM_OPTIONS_INIT;
    if (getrandom(&options.ssrc, sizeof options.ssrc, 0) < 0) abort();
    if (getrandom(&options.first_timestamp, sizeof options.first_timestamp, 0) < 0) abort();
    if (getrandom(&options.first_sequence, sizeof options.first_sequence, 0) < 0) abort();
    return options;
}

static void sleep_until(const struct timespec* start, int64_t time) {
    const int64_t due = start->tv_sec * INT64_C(1000000000) + start->tv_nsec + time;
    const struct timespec at = {due / 1000000000, due % 1000000000};
    clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &at, NULL);
}

static void describe(const qlip_stream* stream, unsigned int port) {
    char media[8192];
    qlip_stream_sdp(stream, port, NULL, media, sizeof media);
    printf("v=0\r\no=- 0 0 IN IP4 127.0.0.1\r\ns= \r\nc=IN IP4 127.0.0.1\r\nt=0 0\r\n%s", media);
    fflush(stdout);
}

int main(int argc, char** argv) {
    const int udp = socket(AF_INET, SOCK_DGRAM, 0);
    const unsigned int port = argc > 2 ? (unsigned int)atoi(argv[2]) : 5004;
    struct sockaddr_in to = {0};
    qlip_stream_options options = random_starts();
    char reason[200] = "no such file";
    qlip_source* source = NULL;
    qlip_stream* stream = NULL;
    const qlip_frame* frame;
    struct timespec start;
    unsigned int i;
    int status = QLIP_NO_SUCH_FILE;
    to.sin_family = AF_INET;
    to.sin_port = htons((uint16_t)port);
    to.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    options.error = reason;
    options.error_size = sizeof reason;
    if (argc > 1 && qlip_source_path(&source, argv[1]) == QLIP_SUCCESS)
        status = qlip_stream_open(&stream, source, argc > 3 && *argv[3] == 'a' ? QLIP_AUDIO : QLIP_VIDEO,
                                  &options);
    if (status != QLIP_SUCCESS) {
        fprintf(stderr, "send_rtp: %s\n", reason);
        return 1;
    }
    describe(stream, port);
    clock_gettime(CLOCK_MONOTONIC, &start);
    while ((status = qlip_stream_read(stream, &frame)) == QLIP_SUCCESS) {
        sleep_until(&start, frame->time);
        for (i = 0; i < frame->packet_count; ++i)
            sendto(udp, frame->packets[i].iov_base, frame->packets[i].iov_len, 0, (struct sockaddr*)&to,
                   sizeof to);
    }
    if (status != QLIP_END_OF_FILE) fprintf(stderr, "send_rtp: %s\n", qlip_stream_error(stream));
    qlip_stream_close(&stream);
    qlip_source_close(&source);
    return status != QLIP_END_OF_FILE;
}
