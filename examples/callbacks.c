/*
 * callbacks FILE OUT: the core interface of libqlip without the host kit, for hosts that have the file in a
 * form of their own: a record of callbacks (docs/callbacks.md), and the lengths of the chunks worked out from
 * the chunks themselves (docs/native-stream.md). Writes the native stream of the file's AMR track.
 */
#include <qlip/qlip.h>
#include <stdio.h>
#include <string.h>

static unsigned int get_offset(void* file, unsigned int* offset) {
    *offset = (unsigned int)ftell(file);
    return 0;
}

static unsigned int seek(void* file, unsigned int offset) {
    return fseek(file, (long)offset, SEEK_SET) != 0;
}

static unsigned int read_here(void* file, unsigned char* to, unsigned int* count, unsigned int position) {
    (void)position; /* always 0xFFFFFFFF: here */
    *count = (unsigned int)fread(to, 1, *count, file);
    return ferror((FILE*)file) != 0;
}

static unsigned int write_here(void* file, unsigned char* from, unsigned int count, unsigned int position) {
    (void)file, (void)from, (void)count, (void)position;
    return 1; /* only the box model writes */
}

static unsigned int tell(void* file, unsigned int* size) {
    if (fseek(file, 0, SEEK_END) != 0) return 1;
    *size = (unsigned int)ftell(file);
    return 0;
}

static unsigned int is_eof(void* file) {
    return feof((FILE*)file) != 0;
}

static unsigned int read_at(void* file, unsigned char* to, unsigned int offset, unsigned int count,
                            unsigned int* got) {
    if (seek(file, offset)) return 1;
    *got = (unsigned int)fread(to, 1, count, file);
    return *got < count; /* not there yet: the library asks again */
}

static unsigned int advance(void* file, unsigned int offset) {
    (void)file, (void)offset; /* a file keeps its bytes */
    return 0;
}

static unsigned int convert(unsigned int* meaning, unsigned int status) {
    *meaning = status;
    return 0;
}

int main(int argc, char** argv) {
    static unsigned char chunk[QLIP_LARGEST_CHUNK];
    static const unsigned int header[] = {24, 16, 12, 16}; /* the four chunks of an audio header */
    _TAG_QLIP_IOSTREAM_CALLBACK_INTERFACE io = {NULL, get_offset, seek,    read_here, write_here,
                                                tell, is_eof,     read_at, advance,   convert};
    mm_Interface* session = NULL;
    unsigned int number = 0, frame = 0, length, size;
    int status;
    FILE* out = argc > 2 ? fopen(argv[2], "wb") : NULL;
    if (!out || !(io.pUserContext = fopen(argv[1], "rb"))) return 2;
    status = qlip_Open(&session, &io, "ra");
    while (status == QLIP_SUCCESS) {
        status = qlip_ReadChunk(session, chunk, &size, true);
        if (status != QLIP_SUCCESS) break; /* of a file that grows, 17 comes until the data is there */
        if (number < 4) {
            length = header[number++];
        } else if (frame == 0) { /* a frame header chunk tells the size of the frame */
            memcpy(&frame, chunk, sizeof frame);
            length = 24;
        } else { /* and the payload is the rest of it */
            length = frame - 24;
            frame = 0;
        }
        fwrite(chunk, 1, length, out);
    }
    if (status != QLIP_END_OF_FILE) fprintf(stderr, "%s\n", qlip_StatusString(status));
    qlip_Close(&session);
    fclose(io.pUserContext);
    return fclose(out) != 0 || status != QLIP_END_OF_FILE;
}
