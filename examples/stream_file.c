/*
 * stream_file FILE OUT [a|v]: writes the native stream of a file's audio or video track, chunk by chunk.
 */
#include <qlip/host.h>
#include <stdio.h>

int main(int argc, char** argv) {
    char reason[200] = "";
    qlip_stream_options options = QLIP_STREAM_OPTIONS_INIT;
    qlip_source* source = NULL;
    qlip_stream* stream = NULL;
    const void* chunk;
    size_t size;
    int status;
    FILE* out = argc > 2 ? fopen(argv[2], "wb") : NULL;
    if (!out) {
        fprintf(stderr, "stream_file FILE OUT [a|v]\n");
        return 2;
    }
    options.chunks = 1;
    options.error = reason;
    options.error_size = sizeof reason;
    status = qlip_source_path(&source, argv[1]);
    if (status == QLIP_SUCCESS)
        status = qlip_stream_open(&stream, source, argc > 3 && *argv[3] == 'v' ? QLIP_VIDEO : QLIP_AUDIO,
                                  &options);
    if (status != QLIP_SUCCESS)
        fprintf(stderr, "%s: %s\n", argv[1], *reason ? reason : qlip_StatusString(status));
    while (status == QLIP_SUCCESS && (status = qlip_stream_read_chunk(stream, &chunk, &size)) == QLIP_SUCCESS)
        fwrite(chunk, 1, size, out);
    if (stream && status != QLIP_END_OF_FILE) fprintf(stderr, "%s: %s\n", argv[1], qlip_stream_error(stream));
    qlip_stream_close(&stream);
    qlip_source_close(&source);
    return fclose(out) != 0 || status != QLIP_END_OF_FILE;
}
