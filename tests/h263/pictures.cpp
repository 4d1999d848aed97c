#include "tests/h263/pictures.h"

#include <cstdio>
#include <stdexcept>

namespace qlip_test {

#define ENCODE(size, options)                               \
    "ffmpeg -nostdin -v error -f lavfi -i testsrc2=s=" size \
    ":r=30000/1001 -frames:v 8 -threads 1 -slices 1 -g 4 -c:v " options " -f h263 -"
#define EXTRACT(sample) "ffmpeg -nostdin -v error -i '" QLIP_SAMPLES "/" sample "' -map 0:v -c copy -f h263 -"

const std::vector<Clip> kClips = {
    {"sub_qcif", ENCODE("128x96", "h263 -q:v 5"), 48},
    {"qcif", ENCODE("176x144", "h263 -q:v 8"), 99},
    {"qcif_fine", ENCODE("176x144", "h263 -q:v 2"), 99},
    {"cif", ENCODE("352x288", "h263 -q:v 3"), 396},
    {"cif_noise", ENCODE("352x288", "h263 -q:v 3 -vf noise=alls=30:allf=t"), 396},
    {"cif_four_vectors", ENCODE("352x288", "h263p -q:v 5 -vf rotate=t*3 -flags +loop+mv4"), 396},
    {"sample_qcif", EXTRACT("h263.3gp"), 99},
    {"sample_cif", EXTRACT("h263_cif_faststart.3gp"), 396},
};

const Clip kClipWithGroups = {"qcif_with_groups", ENCODE("176x144", "h263 -q:v 3 -ps 300"), 99};

Bytes stream_of(const Clip& clip) {
    FILE* pipe = popen(clip.command, "r");
    if (pipe == nullptr) throw std::runtime_error(std::string("cannot run ") + clip.command);
    Bytes stream;
    unsigned char block[65536];
    while (const size_t count = fread(block, 1, sizeof block, pipe))
        stream.insert(stream.end(), block, block + count);
    if (pclose(pipe) != 0) throw std::runtime_error(std::string("failed: ") + clip.command);
    return stream;
}

std::vector<size_t> picture_offsets(const Bytes& stream) {
    std::vector<size_t> offsets;
    for (size_t i = 0; i + 2 < stream.size(); ++i) {
        if (stream[i] == 0 && stream[i + 1] == 0 && (stream[i + 2] & 0xFC) == 0x80) offsets.push_back(i);
    }
    offsets.push_back(stream.size());
    return offsets;
}

std::vector<Bytes> pictures_of(const Clip& clip) {
    const Bytes stream = stream_of(clip);
    const std::vector<size_t> offsets = picture_offsets(stream);
    std::vector<Bytes> pictures;
    for (size_t i = 0; i + 1 < offsets.size(); ++i) {
        pictures.emplace_back(stream.begin() + static_cast<ptrdiff_t>(offsets[i]),
                              stream.begin() + static_cast<ptrdiff_t>(offsets[i + 1]));
    }
    return pictures;
}

}  // namespace qlip_test
