/* The smallest host of the kit: writes the packets of a file's audio track to standard output. */
#include <qlip/host.h>
#include <stdio.h>

int main(int argc, char** argv) {
    qlip_source* source = NULL;
    qlip_stream* stream = NULL;
    const qlip_frame* frame = NULL;
    int status = argc > 1 ? qlip_source_path(&source, argv[1]) : QLIP_BAD_ARGUMENT;
    if (status == QLIP_SUCCESS) status = qlip_stream_open(&stream, source, QLIP_AUDIO, NULL);
    while (status == QLIP_SUCCESS && (status = qlip_stream_read(stream, &frame)) == QLIP_SUCCESS)
        fwrite(frame->packets[0].iov_base, 1, frame->packets[0].iov_len, stdout);
    qlip_stream_close(&stream);
    qlip_source_close(&source);
    return status != QLIP_END_OF_FILE;
}
