#include "stream/record_fields.h"

#include <algorithm>

#include "host/text.h"

namespace qlip_tool {
namespace {

using Json = nlohmann::ordered_json;

// Adds records one behind the other, keeping count of the offset.
class Sheet {
  public:
    explicit Sheet(uint64_t offset) : offset_(offset) {}

    void add(const char* name, size_t size, Json fields) {
        records_.push_back({name, offset_, size, std::move(fields)});
        offset_ += size;
    }
    std::vector<ShownRecord> finish() { return std::move(records_); }

  private:
    uint64_t offset_;
    std::vector<ShownRecord> records_;
};

std::string text_of(const char* field, size_t size) {
    return printable({field, size});
}

Json config_of(const unsigned char* config, unsigned int size) {
    return hex_text({config, std::min<size_t>(size, WLD_CONFIG_CAPACITY)});
}

void add_config(Sheet& sheet, const VID_Header_H263CodecConfig& config) {
    sheet.add("VID_Header_H263CodecConfig", sizeof config,
              {{"profile", config.profile}, {"level", config.level}});
}

void add_config(Sheet& sheet, const VID_Header_MPEG4CodecConfig& config) {
    sheet.add("VID_Header_MPEG4CodecConfig", sizeof config,
              {{"profile_level", config.profile_level},
               {"config", config_of(config.config, config.config_size)},
               {"config_size", config.config_size}});
}

void add_config(Sheet& sheet, const VID_Header_H264CodecConfig& config) {
    sheet.add("VID_Header_H264CodecConfig", sizeof config,
              {{"config_byte5", config.config_byte5},
               {"config_byte6", config.config_byte6},
               {"config_byte7", config.config_byte7},
               {"config", config_of(config.config, config.config_size)},
               {"config_size", config.config_size},
               {"constant_two", config.constant_two}});
}

void add_medium(Sheet& sheet, const AudioHeader& audio) {
    sheet.add("AUD_Codec_Header", sizeof audio.codec,
              {{"size", audio.codec.size},
               {"coding", audio.codec.coding},
               {"rate_code", audio.codec.rate_code},
               {"bits_per_sample", audio.codec.bits_per_sample}});
    sheet.add("AUD_Header_IndxInfo", sizeof audio.index, {{"words", audio.index.words}});
}

void add_medium(Sheet& sheet, const VideoHeader& video) {
    sheet.add("VID_Header_NTSInfo", sizeof video.start, {{"words", video.start.words}});
    sheet.add("VID_Header_IndxInfo", sizeof video.index, {{"words", video.index.words}});
    sheet.add("VID_Header_CodecInfo", sizeof video.codec,
              {{"name", text_of(video.codec.name, sizeof video.codec.name)},
               {"frame_rate", video.codec.frame_rate},
               {"bit_rate", video.codec.bit_rate},
               {"width", video.codec.width},
               {"height", video.codec.height},
               {"config_size", video.codec.config_size}});
    std::visit([&](const auto& config) { add_config(sheet, config); }, video.config);
}

Json with_payload_of(Json fields, std::span<const unsigned char> payload, bool whole) {
    fields["payload_size"] = payload.size();
    if (whole) fields["payload"] = hex_text(payload);
    return fields;
}

void add_audio_frame(Sheet& sheet, const Frame& frame, bool with_payload) {
    sheet.add("AUD_AudFrame_Native", frame.audio.size,
              with_payload_of({{"size", frame.audio.size},
                               {"frame_word", frame.audio.frame_word},
                               {"timestamp", frame.audio.timestamp},
                               {"timestamp2", frame.audio.timestamp2},
                               {"sequence", frame.audio.sequence},
                               {"reserved", frame.audio.reserved}},
                              frame.payload, with_payload));
}

void add_packet(Sheet& sheet, const Packet& packet, bool with_payload) {
    sheet.add("wld_packet_record", packet.record.size,
              with_payload_of({{"size", packet.record.size},
                               {"timestamp", packet.record.timestamp},
                               {"marker", packet.marker()},
                               {"payload_type", packet.payload_type()},
                               {"sequence", packet.sequence()},
                               {"timestamp2", packet.record.timestamp2},
                               {"reserved", packet.record.reserved}},
                              packet.payload, with_payload));
}

void add_video_frame(Sheet& sheet, const Frame& frame, bool with_payload) {
    sheet.add("wld_frame_record", sizeof frame.video,
              {{"frame_size", frame.video.frame_size},
               {"packet_count", frame.video.packet_count},
               {"frame_pad", frame.video.frame_pad}});
    sheet.add("wld_frame_prefix", sizeof frame.prefix,
              {{"word_four", frame.prefix.word_four}, {"word_one", frame.prefix.word_one}});
    for (const Packet& packet : frame.packets)
        add_packet(sheet, packet, with_payload);
}

}  // namespace

std::vector<ShownRecord> show_header(const StreamHeader& header) {
    Sheet sheet(0);
    sheet.add("PROP_Header_Info", sizeof header.prop,
              {{"type", text_of(header.prop.type, sizeof header.prop.type)},
               {"header_size", header.prop.header_size},
               {"version", header.prop.version},
               {"padding", header.prop.padding},
               {"frame_count", header.prop.frame_count}});
    std::visit([&](const auto& medium) { add_medium(sheet, medium); }, header.medium);
    sheet.add("VID_FileInfo", sizeof header.info,
              {{"duration_ms", header.info.duration_ms}, {"filler", header.info.filler}});
    return sheet.finish();
}

std::vector<ShownRecord> show_frame(const StreamHeader& header, const Frame& frame, bool with_payload) {
    Sheet sheet(frame.offset);
    if (header.is_audio()) {
        add_audio_frame(sheet, frame, with_payload);
    } else {
        add_video_frame(sheet, frame, with_payload);
    }
    return sheet.finish();
}

}  // namespace qlip_tool
