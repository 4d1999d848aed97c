/*
 * callbacks FILE OUT: the core interface of libqlip without the host kit, for hosts that have the file in a
 * form of their own: a record of callbacks (docs/callbacks.md), and the lengths of the chunks worked out from
 * the chunks themselves (docs/native-stream.md). Writes the native stream of the file's AMR track.
 */
#define _XOPEN_SOURCE 700
#include <fcntl.h>
#include <qlip/qlip.h>
#include <stdio.h>
#include <string.h>
#include <unistd.h>

struct input {
    int descriptor;
    unsigned int position; /* of the calls that have one; reads by offset leave it alone */
};

static unsigned int get_offset(void* input, unsigned int* offset) {
    *offset = ((struct input*)input)->position;
    return 0;
}

static unsigned int seek(void* input, unsigned int offset) {
    ((struct input*)input)->position = offset;
    return 0;
}

static unsigned int read_at(void* input, unsigned char* to, unsigned int offset, unsigned int count,
                            unsigned int* got) {
    const ssize_t done = pread(((struct input*)input)->descriptor, to, count, (off_t)offset);
    *got = done > 0 ? (unsigned int)done : 0;
    return *got < count; /* not there yet: the library asks again */
}

static unsigned int read_here(void* input, unsigned char* to, unsigned int* count, unsigned int position) {
    struct input* const in = input;
    (void)position; /* always 0xFFFFFFFF: here */
    read_at(in, to, in->position, *count, count);
    in->position += *count;
    return 0; /* a short count is the end of the file */
}

static unsigned int write_here(void* input, unsigned char* from, unsigned int count, unsigned int position) {
    (void)input, (void)from, (void)count, (void)position;
    return 1; /* only the box model writes */
}

static unsigned int tell(void* input, unsigned int* size) {
    const off_t end = lseek(((struct input*)input)->descriptor, 0, SEEK_END);
    *size = (unsigned int)end;
    return end < 0;
}

static unsigned int is_eof(void* input) {
    unsigned int size;
    return tell(input, &size) != 0 || ((struct input*)input)->position >= size;
}

static unsigned int advance(void* input, unsigned int offset) {
    (void)input, (void)offset; /* a file keeps its bytes */
    return 0;
}

static unsigned int convert(unsigned int* meaning, unsigned int status) {
    *meaning = status;
    return 0;
}

int main(int argc, char** argv) {
    static unsigned char chunk[QLIP_LARGEST_CHUNK];
    static const unsigned int header[] = {24, 16, 12, 16}; /* the four chunks of an audio header */
    struct input in = {-1, 0};
    _TAG_QLIP_IOSTREAM_CALLBACK_INTERFACE io = {&in,  get_offset, seek,    read_here, write_here,
                                                tell, is_eof,     read_at, advance,   convert};
    mm_Interface* session = NULL;
    unsigned int number = 0, frame = 0, length, size;
    int status;
    FILE* out = argc > 2 ? fopen(argv[2], "wb") : NULL;
    if (!out || (in.descriptor = open(argv[1], O_RDONLY)) < 0) return 2;
    status = qlip_Open(&session, &io, "ra");
    while (status == QLIP_SUCCESS) {
        status = qlip_ReadChunk(session, chunk, &size, true);
        if (status != QLIP_SUCCESS) break; /* 17 too: nobody writes to this file, what is missing stays so */
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
    close(in.descriptor);
    return fclose(out) != 0 || status != QLIP_END_OF_FILE;
}
