// H.263 pictures cut into packets in a form of one's choice, as a native stream.
#pragma once

#include <string>
#include <vector>

#include "host/chunk_source.h"
#include "qlip/wld_native.h"
#include "stream/h263_pictures.h"

namespace qlip_tool {

class FragmentSource : public ChunkSource {
  public:
    // `advice` is what to try when a picture cannot be read.
    FragmentSource(std::vector<H263Picture> pictures, wld_rfc_mode mode, int max_payload, std::string advice);

    std::span<const unsigned char> next() override;

  private:
    void write_header();
    void write_picture(H263Picture& picture);
    template <typename Record>
    void append(const Record& record);

    std::vector<H263Picture> pictures_;
    wld_rfc_mode mode_;
    std::string advice_;
    wld_native native_ = {};
    std::vector<unsigned char> chunk_;
    std::vector<unsigned char> packets_;
    size_t next_picture_ = 0;
    bool header_written_ = false;
};

}  // namespace qlip_tool
