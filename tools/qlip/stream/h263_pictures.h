// The pictures of an H.263 elementary stream, or of the H.263 track of a 3GP file.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace qlip_tool {

struct H263Picture {
    uint64_t offset;  // in the file
    double seconds;   // until the next picture
    std::vector<unsigned char> data;
};

// By source format (ITU-T H.263 5.1.3); 0 macroblocks where the format does not fix them.
struct H263Format {
    const char* name;
    unsigned int macroblocks;
};
const H263Format& h263_format(unsigned int source_format);

// What the picture's own header says, or the unknown format.
const H263Format& h263_format(H263Picture& picture);

// Standard input for "-", which must be an elementary stream. Throws ToolError when there is no H.263 in it.
std::vector<H263Picture> load_h263(const std::string& path);

}  // namespace qlip_tool
