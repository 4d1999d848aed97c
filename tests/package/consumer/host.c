/* The smallest host: reads a file through stdio and writes the first bytes of its native stream to standard
 * output. */
#include <qlip/qlip.h>
#include <stdio.h>

static unsigned int get_offset(void* file, unsigned int* offset) {
    *offset = (unsigned int)ftell(file);
    return 0;
}
static unsigned int seek(void* file, unsigned int offset) {
    return fseek(file, (long)offset, SEEK_SET) != 0;
}
static unsigned int seek_n_read(void* file, unsigned char* data, unsigned int* count, unsigned int position) {
    (void)position;
    *count = (unsigned int)fread(data, 1, *count, file);
    return 0;
}
static unsigned int seek_n_write(void* file, unsigned char* data, unsigned int count, unsigned int position) {
    (void)file, (void)data, (void)count, (void)position;
    return 1;
}
static unsigned int tell(void* file, unsigned int* size) {
    fseek(file, 0, SEEK_END);
    *size = (unsigned int)ftell(file);
    return 0;
}
static unsigned int is_eof(void* file) {
    return feof((FILE*)file) != 0;
}
static unsigned int index_read(void* file, unsigned char* data, unsigned int offset, unsigned int count,
                               unsigned int* read) {
    (void)file, (void)data, (void)offset, (void)count;
    *read = 0;
    return 1;
}
static unsigned int advance_read(void* file, unsigned int offset) {
    (void)file, (void)offset;
    return 0;
}
static unsigned int convert_status(unsigned int* result, unsigned int status) {
    *result = status;
    return 0;
}

int main(int argc, char** argv) {
    static unsigned char chunk[QLIP_LARGEST_CHUNK];
    static const unsigned int lengths[] = {24, 16, 12, 16};
    _TAG_QLIP_IOSTREAM_CALLBACK_INTERFACE io = {NULL, get_offset, seek,       seek_n_read,  seek_n_write,
                                                tell, is_eof,     index_read, advance_read, convert_status};
    mm_Interface* handle = NULL;
    unsigned int size = 0;
    int i;
    FILE* file = argc > 1 ? fopen(argv[1], "rb") : NULL;
    if (!file) return 2;
    io.pUserContext = file;
    if (qlip_Open(&handle, &io, "ra") != QLIP_SUCCESS) return 1;
    for (i = 0; i < 4; ++i) {
        if (qlip_ReadChunk(handle, chunk, &size, false) != QLIP_SUCCESS) return 1;
        fwrite(chunk, 1, lengths[i], stdout);
    }
    qlip_Close(&handle);
    return fclose(file);
}
