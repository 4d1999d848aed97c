/* A host in C: streams a track of a file to another file. Usage: c_host FILE MODE OUT [indexed] */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "qlip/qlip.h"

static unsigned int get_offset(void* context, unsigned int* offset) {
    *offset = (unsigned int)ftell(context);
    return 0;
}

static unsigned int seek(void* context, unsigned int offset) {
    return fseek(context, (long)offset, SEEK_SET) == 0 ? 0 : 1;
}

static unsigned int seek_n_read(void* context, unsigned char* data, unsigned int* count,
                                unsigned int position) {
    if (position != 0xFFFFFFFFu && seek(context, position) != 0) return 1;
    *count = (unsigned int)fread(data, 1, *count, context);
    return 0;
}

static unsigned int seek_n_write(void* context, unsigned char* data, unsigned int count,
                                 unsigned int position) {
    (void)context, (void)data, (void)count, (void)position;
    return 1;
}

static unsigned int tell(void* context, unsigned int* size) {
    if (fseek(context, 0, SEEK_END) != 0) return 1;
    *size = (unsigned int)ftell(context);
    return 0;
}

static unsigned int is_eof(void* context) {
    return feof((FILE*)context) != 0;
}

static unsigned int index_read(void* context, unsigned char* data, unsigned int offset, unsigned int count,
                               unsigned int* read) {
    if (seek(context, offset) != 0) return 1;
    *read = (unsigned int)fread(data, 1, count, context);
    return 0;
}

static unsigned int advance_read(void* context, unsigned int offset) {
    (void)context, (void)offset;
    return 0;
}

static unsigned int convert_status(unsigned int* result, unsigned int status) {
    *result = status;
    return 0;
}

static unsigned int word_at(const unsigned char* bytes) {
    unsigned int word;
    memcpy(&word, bytes, sizeof word);
    return word;
}

/* Bytes of chunk number `n`, counted from 0; a chunk is 0 bytes long when its record is not understood. */
struct lengths {
    int audio;
    unsigned int header, body;
};

static unsigned int chunk_length(struct lengths* known, unsigned long n, const unsigned char* chunk) {
    static const unsigned int audio_header[] = {24, 16, 12, 16};
    if (n == 0) {
        known->audio = memcmp(chunk, "AUDIO   ", 8) == 0;
        known->header = word_at(chunk + 8);
        return 24;
    }
    if (known->audio) {
        if (n < 4) return audio_header[n];
        if (n % 2 == 1) return known->body;
        known->body = word_at(chunk) - 24;
        return 24;
    }
    if (n > 1 && n % 2 == 0) return known->body;
    if (n == 1) chunk += known->header - 24;
    known->body = 8 + word_at(chunk) - 20 - word_at(chunk + 8);
    return n == 1 ? known->header - 24 + 12 : 12;
}

static int stream(mm_Interface* session, FILE* out, bool indexed) {
    static unsigned char chunk[QLIP_LARGEST_CHUNK];
    struct lengths known = {0, 0, 0};
    unsigned int size = 0;
    unsigned long n;
    for (n = 0;; ++n) {
        const int status = qlip_ReadChunk(session, chunk, &size, indexed);
        if (status != QLIP_SUCCESS) return status;
        fwrite(chunk, 1, chunk_length(&known, n, chunk), out);
    }
}

int main(int argc, char** argv) {
    _TAG_QLIP_IOSTREAM_CALLBACK_INTERFACE io = {NULL, get_offset, seek,       seek_n_read,  seek_n_write,
                                                tell, is_eof,     index_read, advance_read, convert_status};
    mm_Interface* session = NULL;
    FILE* out;
    int status;
    if (argc < 4) return 64;
    io.pUserContext = fopen(argv[1], "rb");
    out = fopen(argv[3], "wb");
    if (io.pUserContext == NULL || out == NULL) return 66;
    status = qlip_Open(&session, &io, argv[2]);
    if (status == QLIP_SUCCESS) status = stream(session, out, argc > 4);
    qlip_Close(&session);
    fclose(io.pUserContext);
    fclose(out);
    fprintf(stderr, "%s\n", qlip_StatusString(status));
    return status == QLIP_END_OF_FILE ? 0 : 1;
}
