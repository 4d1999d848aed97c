/*
 * growing_file FILE SECONDS: reads a video track while the file is still being written, and tells when it had
 * to wait. When the file has not grown for so many seconds, it counts as complete.
 */
#include <inttypes.h>
#include <qlip/host.h>
#include <stdio.h>
#include <stdlib.h>

/* Waits for the file to have `size` bytes. Whoever writes it may stop before that: it is complete then, and
 * what is missing is an error from there on. */
static int wait_for(qlip_source* source, uint64_t size, int64_t patience) {
    int status;
    printf("waiting for byte %" PRIu64 "\n", size);
    fflush(stdout);
    status = qlip_source_wait(source, size, patience);
    if (status == QLIP_NOT_AVAILABLE_YET) status = qlip_source_set_growing(source, 0);
    return status;
}

static int open_when_there(qlip_stream** stream, qlip_source* source, int64_t patience) {
    qlip_source_info info = QLIP_SOURCE_INFO_INIT;
    int status;
    while ((status = qlip_stream_open(stream, source, QLIP_VIDEO, NULL)) == QLIP_NOT_AVAILABLE_YET) {
        if (qlip_source_state(source, &info) != QLIP_SUCCESS) break;
        if (wait_for(source, info.needed, patience) != QLIP_SUCCESS) break;
    }
    return status;
}

int main(int argc, char** argv) {
    const int64_t patience = argc > 2 ? (int64_t)(atof(argv[2]) * 1e9) : INT64_C(5000000000);
    qlip_source* source = NULL;
    qlip_stream* stream = NULL;
    const qlip_frame* frame;
    unsigned int frames = 0;
    int status;
    if (argc < 2 || qlip_source_path(&source, argv[1]) != QLIP_SUCCESS) return 2;
    qlip_source_set_growing(source, 1);
    status = open_when_there(&stream, source, patience);
    if (status != QLIP_SUCCESS) {
        fprintf(stderr, "growing_file: %s\n", qlip_StatusString(status));
        return 1;
    }
    do {
        status = qlip_stream_read(stream, &frame);
        if (status == QLIP_SUCCESS) ++frames; /* a server would send it here */
        if (status == QLIP_NOT_AVAILABLE_YET) status = wait_for(source, qlip_stream_needs(stream), patience);
    } while (status == QLIP_SUCCESS);
    printf("%u frames, then: %s\n", frames,
           status == QLIP_END_OF_FILE ? "the end of the track" : qlip_stream_error(stream));
    qlip_stream_close(&stream);
    qlip_source_close(&source);
    return status != QLIP_END_OF_FILE;
}
