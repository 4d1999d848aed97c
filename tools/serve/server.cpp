#include "tools/serve/server.h"

#include <glib-unix.h>
#include <gst/rtsp-server/rtsp-server.h>
#include <netinet/in.h>
#include <netinet/tcp.h>

#include <atomic>
#include <csignal>
#include <stdexcept>
#include <vector>

#include "tools/serve/access_log.h"
#include "tools/serve/file_factory.h"
#include "tools/serve/played_file.h"

namespace qlip::serve {
namespace {

constexpr guint kTidyUp = 1;                 // seconds
constexpr guint kMostContent = 16 * 1024;    // bytes of a request's body
constexpr const char* kControl = "stream=";  // how GStreamer calls the tracks of a file in URLs

class Server;

// Beside each client.
struct ClientFacts {
    explicit ClientFacts(Server* of) : server(of) {}

    Server* server;
    std::atomic<gint64> last_request{g_get_monotonic_time()};
};

class Server {
  public:
    Server(const Catalogue& catalogue, const Limits& limits);
    ~Server();
    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;

    void listen(const std::string& address, const std::string& port);
    void run();
    void mount(const GstRTSPUrl* url);

  private:
    void welcome(GstRTSPClient* client);
    GstRTSPStatusCode offer(const GstRTSPUrl* url);
    void tidy_up();
    bool is_idle(GstRTSPClient* client) const;
    void close_all();

    const Catalogue& catalogue_;
    const Limits limits_;
    GstRTSPServer* server_ = gst_rtsp_server_new();
    GstRTSPSessionPool* sessions_ = gst_rtsp_server_get_session_pool(server_);
    GstRTSPMountPoints* mounts_ = gst_rtsp_server_get_mount_points(server_);
    GMainLoop* loop_ = g_main_loop_new(nullptr, FALSE);
    std::vector<guint> sources_;  // of the main loop
    std::atomic<unsigned int> clients_{0};
};

GSocket* socket_of(GstRTSPClient* client) {
    GstRTSPConnection* connection = gst_rtsp_client_get_connection(client);
    return connection ? gst_rtsp_connection_get_read_socket(connection) : nullptr;
}

// From any thread: the client's own sees the end of the connection, and closes it as if the other side had.
void hang_up(GstRTSPClient* client) {
    if (GSocket* socket = socket_of(client)) g_socket_shutdown(socket, TRUE, TRUE, nullptr);
}

// A client that vanished without a word is found out, also where nothing is sent to it.
void ask_whether_alive(GstRTSPClient* client, unsigned int idle) {
    GSocket* socket = socket_of(client);
    if (!socket) return;
    g_socket_set_keepalive(socket, TRUE);
    g_socket_set_option(socket, IPPROTO_TCP, TCP_KEEPIDLE, static_cast<gint>(idle), nullptr);
}

ClientFacts* facts_of(GstRTSPClient* client) {
    return static_cast<ClientFacts*>(g_object_get_data(G_OBJECT(client), "qlip-facts"));
}

std::vector<std::string> names_in(const GstRTSPUrl* url) {
    std::vector<std::string> names;
    gchar** components = gst_rtsp_url_decode_path_components(url);
    for (gchar** each = components; *each; ++each)
        names.emplace_back(*each);
    g_strfreev(components);
    if (!names.empty() && names.front().empty()) names.erase(names.begin());  // in front of the first slash
    if (!names.empty() && names.back().starts_with(kControl)) names.pop_back();
    return names;
}

std::string mount_path_of(const GstRTSPUrl* url) {
    const std::string path = url->abspath;
    const size_t last = path.rfind('/');
    return path.compare(last + 1, std::char_traits<char>::length(kControl), kControl) == 0
               ? path.substr(0, last)
               : path;
}

GstRTSPFilterResult remove_client(GstRTSPServer*, GstRTSPClient*, gpointer) {
    return GST_RTSP_FILTER_REMOVE;
}

GstRTSPFilterResult remove_session(GstRTSPSessionPool*, GstRTSPSession*, gpointer) {
    return GST_RTSP_FILTER_REMOVE;
}

// What a client calls for the path of each request, before it looks for that among the mount points.
gchar* make_path(GstRTSPClient* client, const GstRTSPUrl* url) {
    facts_of(client)->server->mount(url);
    return g_strdup(url->abspath);
}

// In GStreamer's own class: a subclass would need one of GstRTSPServer, too, which makes the clients.
void look_for_files_by_path() {
    auto* klass = static_cast<GstRTSPClientClass*>(g_type_class_ref(GST_TYPE_RTSP_CLIENT));
    klass->make_path_from_uri = make_path;
    g_type_class_unref(klass);
}

Server::Server(const Catalogue& catalogue, const Limits& limits) : catalogue_(catalogue), limits_(limits) {
    look_for_files_by_path();
    // One thread for all requests. None would put them into the main loop, and 1.22 then damages its heap.
    GstRTSPThreadPool* threads = gst_rtsp_server_get_thread_pool(server_);
    gst_rtsp_thread_pool_set_max_threads(threads, 1);
    g_object_unref(threads);
    gst_rtsp_server_set_content_length_limit(server_, kMostContent);
    gst_rtsp_session_pool_set_max_sessions(sessions_, limits.clients);
    const auto welcome_client =
        +[](GstRTSPServer*, GstRTSPClient* client, Server* self) { self->welcome(client); };
    g_signal_connect(server_, "client-connected", G_CALLBACK(welcome_client), this);
    const auto quit = +[](gpointer loop) -> gboolean {
        g_main_loop_quit(static_cast<GMainLoop*>(loop));
        return G_SOURCE_CONTINUE;
    };
    sources_.push_back(g_unix_signal_add(SIGINT, quit, loop_));
    sources_.push_back(g_unix_signal_add(SIGTERM, quit, loop_));
    const auto tidy = +[](gpointer self) -> gboolean {
        static_cast<Server*>(self)->tidy_up();
        return G_SOURCE_CONTINUE;
    };
    sources_.push_back(g_timeout_add_seconds(kTidyUp, tidy, this));
}

Server::~Server() {
    close_all();
    g_object_unref(mounts_);
    g_object_unref(sessions_);
    g_object_unref(server_);
    gst_rtsp_thread_pool_cleanup();
    g_main_loop_unref(loop_);
}

void Server::listen(const std::string& address, const std::string& port) {
    gst_rtsp_server_set_address(server_, address.c_str());
    gst_rtsp_server_set_service(server_, port.c_str());
    GError* error = nullptr;
    GSource* source = gst_rtsp_server_create_source(server_, nullptr, &error);
    if (!source) {
        const std::string why = error->message;
        g_error_free(error);
        throw std::runtime_error("cannot listen at " + address + ", port " + port + ": " + why);
    }
    sources_.push_back(g_source_attach(source, nullptr));
    g_source_unref(source);
    for (const std::string& name : catalogue_.offers()) {
        gchar* escaped = g_uri_escape_string(name.c_str(), "*", TRUE);
        g_printerr("qlip: serving rtsp://%s:%d/%s\n", address.c_str(),
                   gst_rtsp_server_get_bound_port(server_), escaped);
        g_free(escaped);
    }
}

void Server::run() {
    g_main_loop_run(loop_);
}

// A file that nobody named before.
void Server::mount(const GstRTSPUrl* url) {
    GstRTSPMediaFactory* factory = gst_rtsp_mount_points_match(mounts_, mount_path_of(url).c_str(), nullptr);
    if (!factory) offer(url);
    g_clear_object(&factory);
}

void Server::welcome(GstRTSPClient* client) {
    g_object_set_data_full(G_OBJECT(client), "qlip-facts", new ClientFacts(this),
                           [](gpointer facts) { delete static_cast<ClientFacts*>(facts); });
    const auto forget = +[](GstRTSPClient*, Server* self) { --self->clients_; };
    g_signal_connect(client, "closed", G_CALLBACK(forget), this);
    log_requests_of(client);
    if (++clients_ > limits_.clients) {
        g_printerr("qlip: a client was turned away: there are %u\n", limits_.clients);
        hang_up(client);
        return;
    }
    ask_whether_alive(client, limits_.idle);
    const auto note_request = +[](GstRTSPClient* self, GstRTSPContext*, GstRTSPMessage*, gpointer) {
        facts_of(self)->last_request = g_get_monotonic_time();
    };
    g_signal_connect(client, "send-message", G_CALLBACK(note_request), nullptr);
    const auto new_session = +[](GstRTSPClient*, GstRTSPSession* session, Server* self) {
        gst_rtsp_session_set_timeout(session, self->limits_.idle);
    };
    g_signal_connect(client, "new-session", G_CALLBACK(new_session), this);
    const auto offer_file = +[](GstRTSPClient*, GstRTSPContext* context, Server* self) -> GstRTSPStatusCode {
        return context->uri ? self->offer(context->uri) : GST_RTSP_STS_OK;
    };
    g_signal_connect(client, "pre-describe-request", G_CALLBACK(offer_file), this);
}

// Puts the file of a request among the mount points, or takes it away when it is no longer there.
GstRTSPStatusCode Server::offer(const GstRTSPUrl* url) {
    const std::string mount = mount_path_of(url);
    const auto path = catalogue_.find(names_in(url));
    if (!path) {
        gst_rtsp_mount_points_remove_factory(mounts_, mount.c_str());
        return GST_RTSP_STS_NOT_FOUND;
    }
    const PlayedFile file = look_at(*path);
    if (file.playable != Playable::now) {
        g_printerr("qlip: cannot play %s: %s\n", path->c_str(), file.reason.c_str());
        return file.playable == Playable::not_yet ? GST_RTSP_STS_SERVICE_UNAVAILABLE
                                                  : GST_RTSP_STS_UNSUPPORTED_MEDIA_TYPE;
    }
    gst_rtsp_mount_points_add_factory(mounts_, mount.c_str(), new_file_factory(*path));
    return GST_RTSP_STS_OK;
}

void Server::tidy_up() {
    gst_rtsp_session_pool_cleanup(sessions_);
    const auto look = [](GstRTSPServer*, GstRTSPClient* client, gpointer self) {
        if (static_cast<Server*>(self)->is_idle(client)) hang_up(client);
        return GST_RTSP_FILTER_KEEP;
    };
    gst_rtsp_server_client_filter(server_, look, this);
}

// Sessions have a time limit of their own, which the receiver's reports renew.
bool Server::is_idle(GstRTSPClient* client) const {
    const gint64 silence = g_get_monotonic_time() - facts_of(client)->last_request;
    if (silence < gint64{limits_.idle} * G_TIME_SPAN_SECOND) return false;
    GList* sessions = gst_rtsp_client_session_filter(client, nullptr, nullptr);
    const bool none = !sessions;
    g_list_free_full(sessions, g_object_unref);
    return none;
}

void Server::close_all() {
    for (const guint source : sources_)
        g_source_remove(source);
    gst_rtsp_server_client_filter(server_, remove_client, nullptr);
    gst_rtsp_session_pool_filter(sessions_, remove_session, nullptr);
}

}  // namespace

void serve(const Catalogue& catalogue, const std::string& address, const std::string& port,
           const Limits& limits) {
    Server server(catalogue, limits);
    server.listen(address, port);
    server.run();
}

}  // namespace qlip::serve
