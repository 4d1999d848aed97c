#include "tools/serve/access_log.h"

#include <cstdio>
#include <string>

namespace qlip::serve {
namespace {

constexpr size_t kMostShown = 200;  // of a text that a client chose

std::string shown(const char* text) {
    if (!text || !*text) return "-";
    gchar* escaped = g_strescape(std::string(text).substr(0, kMostShown).c_str(), nullptr);
    std::string out = escaped;
    g_free(escaped);
    return out;
}

std::string header_of(GstRTSPMessage* message, GstRTSPHeaderField field) {
    gchar* value = nullptr;
    if (message) gst_rtsp_message_get_header(message, field, &value, 0);
    return shown(value);
}

std::string time_of_day() {
    GDateTime* now = g_date_time_new_now_utc();
    gchar* text = g_date_time_format_iso8601(now);
    std::string out = text;
    g_free(text);
    g_date_time_unref(now);
    return out;
}

void log_response(GstRTSPClient* client, GstRTSPContext* context, GstRTSPMessage* response, gpointer) {
    GstRTSPStatusCode code = GST_RTSP_STS_INVALID;
    if (gst_rtsp_message_get_type(response) != GST_RTSP_MESSAGE_RESPONSE) return;
    gst_rtsp_message_parse_response(response, &code, nullptr, nullptr);
    GstRTSPMethod method = GST_RTSP_INVALID;
    const gchar* url = nullptr;
    GstRTSPMessage* request = context ? context->request : nullptr;
    if (request && gst_rtsp_message_get_type(request) == GST_RTSP_MESSAGE_REQUEST)
        gst_rtsp_message_parse_request(request, &method, &url, nullptr);
    GstRTSPConnection* connection = gst_rtsp_client_get_connection(client);
    const gchar* name = gst_rtsp_method_as_text(method);
    const std::string line = time_of_day() + " " +
                             shown(connection ? gst_rtsp_connection_get_ip(connection) : nullptr) + " " +
                             (name ? name : "-") + " " + shown(url) + " " + std::to_string(code) + " " +
                             header_of(response, GST_RTSP_HDR_SESSION) + " \"" +
                             header_of(request, GST_RTSP_HDR_USER_AGENT) + "\"\n";
    std::fputs(line.c_str(), stderr);
}

}  // namespace

void log_requests_of(GstRTSPClient* client) {
    g_signal_connect(client, "send-message", G_CALLBACK(log_response), nullptr);
}

}  // namespace qlip::serve
