#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <sstream>

#include "formats/rtp.h"
#include "host/text.h"
#include "lint/checks.h"
#include "qlip/wld_native.h"

namespace qlip_tool {
namespace {

struct FormatRow {
    std::string_view entry;
    std::vector<std::string_view> names;
    int clock;
};

const FormatRow* format_row(std::string_view entry) {
    static const std::array<FormatRow, 5> kRows = {
        {{"s263", {"H263", "H263-1998", "H263-2000"}, qlip::kVideoClock},
         {"mp4v", {"MP4V-ES"}, qlip::kVideoClock},
         {"avc1", {"H264"}, qlip::kVideoClock},
         {"samr", {"AMR"}, qlip::kNarrowbandClock},
         {"sawb", {"AMR-WB"}, qlip::kWidebandClock}}};
    const auto* row =
        std::find_if(kRows.begin(), kRows.end(), [&](const FormatRow& it) { return it.entry == entry; });
    return row == kRows.end() ? nullptr : row;
}

// The lines "a=NAME:PT VALUE" of a session description (RFC 8866 6).
class Description {
  public:
    explicit Description(const std::string& text) {
        std::istringstream lines(text);
        for (std::string line; std::getline(lines, line);) {
            if (!line.empty() && line.back() == '\r') line.pop_back();
            lines_.push_back(line);
        }
    }

    // The first one of the name; its payload type goes to `type`.
    std::string value(std::string_view name, unsigned int& type) const {
        const std::string head = fmt::format("a={}:", name);
        for (const std::string& line : lines_) {
            if (line.rfind(head, 0) != 0) continue;
            std::istringstream rest(line.substr(head.size()));
            std::string value;
            rest >> type;
            std::getline(rest >> std::ws, value);
            return value;
        }
        return {};
    }

    // Of the format parameters (a=fmtp), by name.
    std::string parameter(std::string_view name) const {
        unsigned int type = 0;
        std::istringstream parts(value("fmtp", type));
        for (std::string part; std::getline(parts >> std::ws, part, ';');) {
            if (part.rfind(std::string(name) + "=", 0) == 0) return part.substr(name.size() + 1);
        }
        return {};
    }

  private:
    std::vector<std::string> lines_;
};

class SdpCheck {
  public:
    SdpCheck(const TableTrack& hint, const TableTrack& media, Findings& findings)
        : hint_(hint), media_(media), findings_(findings), description_(hint.sdp) {}

    void run(const std::vector<unsigned int>& types, const std::string& own_parameters) {
        check_map(types);
        check_size();
        check_configuration(own_parameters);
    }

  private:
    void tell(std::string what) {
        findings_.add(RuleId::HintSdp, {hint_.id, {}, hint_.offset, {}, {}}, std::move(what));
    }

    void check_map(const std::vector<unsigned int>& types) {
        unsigned int type = 0;
        const std::string map = description_.value("rtpmap", type);
        const FormatRow* row = format_row(media_.entry());
        if (map.empty() || !row) return;
        const std::string name = map.substr(0, map.find('/'));
        if (std::find(row->names.begin(), row->names.end(), name) == row->names.end())
            tell(fmt::format("it names the encoding '{}', the track is '{}'", printable(name),
                             media_.entry()));
        if (map.find(fmt::format("/{}", row->clock)) == std::string::npos)
            tell(fmt::format("it says '{}', the format's clock is {} Hz", printable(map), row->clock));
        if (!types.empty() && std::find(types.begin(), types.end(), type) == types.end())
            tell(fmt::format("it describes payload type {}, the packets have {}", type, types.front()));
        const bool rfc2190 = type == WLD_TYPE_H263 || name == "H263";
        if (rfc2190 && (type == WLD_TYPE_H263) != (name == "H263"))
            tell(fmt::format("it gives type {} to '{}'; {} is RFC 2190 and its own", type, name,
                             int{WLD_TYPE_H263}));
    }

    void check_size() {
        unsigned int type = 0;
        const std::string size = description_.value("framesize", type);
        const std::string own = fmt::format("{}-{}", media_.width, media_.height);
        if (!size.empty() && size != own)
            tell(fmt::format("it says {} pixels, the track {}", printable(size), own));
    }

    // Parameters that tell what the decoder must know.
    void check_configuration(const std::string& own_parameters) {
        const Description own("a=fmtp:0 " + own_parameters);
        for (const char* name : {"profile-level-id", "sprop-parameter-sets", "config"}) {
            const std::string said = description_.parameter(name), right = own.parameter(name);
            if (!said.empty() && !right.empty() && lower(said) != lower(right))
                tell(fmt::format("its {} is '{}', the track's '{}'", name, printable(said), right));
        }
    }

    static std::string lower(std::string text) {
        std::transform(text.begin(), text.end(), text.begin(),
                       [](unsigned char letter) { return static_cast<char>(std::tolower(letter)); });
        return text;
    }

    const TableTrack& hint_;
    const TableTrack& media_;
    Findings& findings_;
    Description description_;
};

}  // namespace

void check_hint_sdp(const TableTrack& hint, const TableTrack& media, const std::vector<unsigned int>& types,
                    const std::string& own_parameters, Findings& findings) {
    if (!hint.sdp.empty()) SdpCheck(hint, media, findings).run(types, own_parameters);
}

}  // namespace qlip_tool
