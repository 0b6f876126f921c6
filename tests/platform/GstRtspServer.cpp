// A camera for tests: GstRtspServer PORT LAUNCH serves rtsp://127.0.0.1:PORT/cam, and prints
// "ready" when it does.

#include <gst/gst.h>
#include <gst/rtsp-server/rtsp-server.h>

#include <cstdio>

int main(int argc, char** argv) {
    if (argc != 3) {
        std::fprintf(stderr, "usage: %s PORT LAUNCH\n", argv[0]);
        return 2;
    }
    gst_init(nullptr, nullptr);
    GstRTSPServer* server = gst_rtsp_server_new();
    gst_rtsp_server_set_address(server, "127.0.0.1");
    gst_rtsp_server_set_service(server, argv[1]);
    GstRTSPMediaFactory* factory = gst_rtsp_media_factory_new();
    gst_rtsp_media_factory_set_launch(factory, argv[2]);
    gst_rtsp_media_factory_set_shared(factory, TRUE);
    GstRTSPMountPoints* mounts = gst_rtsp_server_get_mount_points(server);
    gst_rtsp_mount_points_add_factory(mounts, "/cam", factory);
    g_object_unref(mounts);
    if (gst_rtsp_server_attach(server, nullptr) == 0) {
        return 1;
    }
    std::puts("ready");
    std::fflush(stdout);
    g_main_loop_run(g_main_loop_new(nullptr, FALSE)); // until it is killed
    return 0;
}
