#include "kit/sender_report.h"

#include <algorithm>
#include <cstring>
#include <string_view>

#include "common/byte_order.h"
#include "formats/rtp.h"
#include "qlip/host.h"

namespace qlip::kit {
namespace {

constexpr size_t kReportSize = 28;
constexpr size_t kNameHeadSize = 10;  // of the description: header, SSRC, item type and length
constexpr size_t kLongestName = 255;
constexpr unsigned char kSenderReportType = 200, kDescriptionType = 202;
constexpr unsigned char kOneSource = 1;
constexpr unsigned char kCname = 1;

void write_head(unsigned char* to, unsigned char count, unsigned char type, size_t size) {
    to[0] = kRtpVersion2 | count;
    to[1] = type;
    store_be16(to + 2, static_cast<uint16_t>(size / 4 - 1));
}

// At least one zero byte ends the items, and more fill the word.
size_t description_size(size_t name) {
    return (kNameHeadSize + name + 4) / 4 * 4;
}

static_assert(kReportSize + (kNameHeadSize + kLongestName + 4) / 4 * 4 <= QLIP_SENDER_REPORT_MAX);

}  // namespace

int write_sender_report(const SenderReport& report, const char* cname, unsigned char* to, size_t* size) {
    const std::string_view text(cname);
    const size_t name = text.size();
    const size_t described = description_size(name);
    if (name == 0 || name > kLongestName || *size < kReportSize + described) return QLIP_BAD_ARGUMENT;
    write_head(to, 0, kSenderReportType, kReportSize);
    store_be32(to + 4, report.ssrc);
    store_be32(to + 8, static_cast<uint32_t>(report.ntp >> 32));
    store_be32(to + 12, static_cast<uint32_t>(report.ntp));
    store_be32(to + 16, report.timestamp);
    store_be32(to + 20, report.packets);
    store_be32(to + 24, report.octets);
    unsigned char* description = to + kReportSize;
    std::memset(description, 0, described);
    write_head(description, kOneSource, kDescriptionType, described);
    store_be32(description + 4, report.ssrc);
    description[8] = kCname;
    description[9] = static_cast<unsigned char>(name);
    std::copy(text.begin(), text.end(), description + kNameHeadSize);
    *size = kReportSize + described;
    return QLIP_SUCCESS;
}

}  // namespace qlip::kit
