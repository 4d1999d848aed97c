/*
 * seek FILE SECONDS...: where sound and picture of a file go on when a viewer jumps to each of the times.
 */
#include <qlip/host.h>
#include <stdio.h>
#include <stdlib.h>

static void show_next(qlip_stream* stream, const char* what, int64_t time) {
    const qlip_frame* frame;
    int64_t landed;
    if (!stream) return;
    if (qlip_stream_seek(stream, time, &landed) == QLIP_SUCCESS &&
        qlip_stream_read(stream, &frame) == QLIP_SUCCESS) {
        printf("  %s from %.3f s: sequence %u, timestamp %u, %u packets\n", what,
               (double)frame->presentation_time / 1e9, (unsigned int)frame->sequence,
               (unsigned int)frame->timestamp, frame->packet_count);
    } else {
        printf("  %s: %s\n", what, qlip_stream_error(stream));
    }
}

int main(int argc, char** argv) {
    qlip_source* source = NULL;
    qlip_stream* sound = NULL;
    qlip_stream* picture = NULL;
    int i;
    if (argc < 2 || qlip_source_path(&source, argv[1]) != QLIP_SUCCESS) return 2;
    qlip_stream_open(&sound, source, QLIP_AUDIO, NULL); /* a file may lack one of them */
    qlip_stream_open(&picture, source, QLIP_VIDEO, NULL);
    for (i = 2; i < argc; ++i) {
        int64_t sync = 0;
        if (qlip_source_sync_before(source, (int64_t)(atof(argv[i]) * 1e9), &sync) != QLIP_SUCCESS) return 1;
        printf("%s s: from %.3f s\n", argv[i], (double)sync / 1e9);
        show_next(picture, "picture", sync);
        show_next(sound, "sound", sync);
    }
    qlip_stream_close(&sound);
    qlip_stream_close(&picture);
    return qlip_source_close(&source);
}
