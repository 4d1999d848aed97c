// reference_server PORT FILE DESCRIPTION: GStreamer's RTSP server with the elements that it would have
// without qlipsrc, so that scripts/bench_serving compares pipelines and nothing else.
#include <gst/rtsp-server/rtsp-server.h>

#include <cstdio>
#include <cstdlib>

int main(int argc, char** argv) {
    if (argc != 4) return EXIT_FAILURE;
    gst_init(nullptr, nullptr);
    GstRTSPServer* server = gst_rtsp_server_new();
    GstRTSPThreadPool* threads = gst_rtsp_server_get_thread_pool(server);
    gst_rtsp_thread_pool_set_max_threads(threads, 1);
    gst_rtsp_server_set_address(server, "127.0.0.1");
    gst_rtsp_server_set_service(server, argv[1]);
    gchar* launch = g_strdup_printf("( filesrc location=%s ! qtdemux name=d %s )", argv[2], argv[3]);
    GstRTSPMediaFactory* factory = gst_rtsp_media_factory_new();
    gst_rtsp_media_factory_set_launch(factory, launch);
    gst_rtsp_media_factory_set_buffer_size(factory, 512 * 1024);
    GstRTSPMountPoints* mounts = gst_rtsp_server_get_mount_points(server);
    gst_rtsp_mount_points_add_factory(mounts, "/film", factory);
    if (gst_rtsp_server_attach(server, nullptr) == 0) return EXIT_FAILURE;
    std::fprintf(stderr, "rtsp://127.0.0.1:%d/film\n", gst_rtsp_server_get_bound_port(server));
    g_main_loop_run(g_main_loop_new(nullptr, FALSE));
}
