// dump_stream FILE MODE: writes the second reader's stream of a track to standard output, for programs that
// read it without this library.
#include <array>
#include <cstdio>

#include "qlip/c3gpinterface.h"
#include "tests/support/memory_host.h"
#include "tests/support/samples.h"

int main(int argc, char** argv) {
    if (argc != 3) return 2;
    qlip_test::MemoryHost host(qlip_test::read_file(argv[1]));
    C3gpInterface reader(65536);
    if (reader.Open(host.record(), argv[2]) != 0) return 3;
    std::array<unsigned char, 4096> buffer;
    for (unsigned int status = 0; status != 1;) {
        unsigned int size = buffer.size();
        status = reader.ReadChunk(buffer.data(), &size, true);
        if (status > 1) return 4;
        std::fwrite(buffer.data(), 1, size, stdout);
    }
    return 0;
}
