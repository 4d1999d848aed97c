// Descriptors of MPEG-4 systems in an esds box (ISO/IEC 14496-1 7.2): a tag, an expandable length, and a
// body.
#pragma once

namespace qlip {

// Tags, 7.2.2 table 1.
enum DescriptorTag : unsigned char {
    kEsDescriptor = 3,
    kDecoderConfig = 4,
    kDecoderSpecificInfo = 5,
    kSlConfig = 6
};

// objectTypeIndication, 7.2.6.6 table 5.
inline constexpr unsigned char kMpeg4VisualObject = 0x20;

// Of the SL configuration, 7.3.2.3: the predefined one for files.
inline constexpr unsigned char kSlConfigOfFiles = 2;

}  // namespace qlip
