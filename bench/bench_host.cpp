#include "bench/bench_host.h"

#include <algorithm>
#include <cstring>

namespace qlip_bench {

namespace {

BenchHost& host(void* context) {
    return *static_cast<BenchHost*>(context);
}

void note(BenchHost& self, BenchHost::Kind kind, unsigned int offset, unsigned int count) {
    if (self.calls) self.calls->push_back({kind, offset, count});
}

unsigned int copy(const BenchHost& self, unsigned char* to, unsigned int offset, unsigned int count) {
    const unsigned int left = offset < self.size ? self.size - offset : 0;
    const unsigned int part = std::min(count, left);
    std::memcpy(to, self.data + offset, part);
    return part;
}

unsigned int get_offset(void* context, unsigned int* offset) {
    *offset = host(context).position;
    return 0;
}

unsigned int seek(void* context, unsigned int offset) {
    BenchHost& self = host(context);
    note(self, BenchHost::Kind::Seek, offset, 0);
    self.position = offset;
    return 0;
}

unsigned int seek_n_read(void* context, unsigned char* to, unsigned int* count, unsigned int /*position*/) {
    BenchHost& self = host(context);
    note(self, BenchHost::Kind::Read, self.position, *count);
    *count = copy(self, to, self.position, *count);
    self.position += *count;
    return 0;
}

unsigned int seek_n_write(void*, unsigned char*, unsigned int, unsigned int) {
    return 1;
}

unsigned int tell(void* context, unsigned int* size) {
    *size = host(context).size;
    return 0;
}

unsigned int is_eof(void* context) {
    return host(context).position >= host(context).size;
}

unsigned int index_read(void* context, unsigned char* to, unsigned int offset, unsigned int count,
                        unsigned int* read) {
    note(host(context), BenchHost::Kind::IndexRead, offset, count);
    *read = copy(host(context), to, offset, count);
    return 0;
}

unsigned int advance_read(void* context, unsigned int offset) {
    note(host(context), BenchHost::Kind::Advance, offset, 0);
    return 0;
}

unsigned int convert_status(unsigned int* result, unsigned int status) {
    *result = status;
    return 0;
}

}  // namespace

BenchHost::BenchHost(const Bytes& bytes) : data(bytes.data()), size(static_cast<unsigned int>(bytes.size())) {
    record_ = {this, get_offset, seek,       seek_n_read,  seek_n_write,
               tell, is_eof,     index_read, advance_read, convert_status};
}

}  // namespace qlip_bench
