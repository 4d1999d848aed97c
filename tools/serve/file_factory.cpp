#include "tools/serve/file_factory.h"

#include <memory>

#include "tools/serve/file_limits.h"
#include "tools/serve/played_file.h"

namespace qlip::serve {
namespace {

constexpr guint kSendBuffer = 512 * 1024;  // of a UDP socket: a large picture leaves at once
// Three pictures of 25 a second, six frames of speech: threads wake less often, and receivers wait longer
// anyway.
constexpr guint64 kLead = 120 * GST_MSECOND;
constexpr guint kLookAgain = 1;  // seconds, at files that grow

struct Growth {
    explicit Growth(GstElement* bin, std::string file) : path(std::move(file)) {
        g_weak_ref_init(&element, bin);
    }
    ~Growth() { g_weak_ref_clear(&element); }
    Growth(const Growth&) = delete;
    Growth& operator=(const Growth&) = delete;

    std::string path;
    GWeakRef element;
};

void set_growing(const GValue* child, gpointer growing) {
    g_object_set(g_value_get_object(child), "growing", GPOINTER_TO_INT(growing), nullptr);
}

void set_growing(GstElement* bin, bool growing) {
    GstIterator* sources = gst_bin_iterate_elements(GST_BIN(bin));
    gst_iterator_foreach(sources, set_growing, GINT_TO_POINTER(growing));
    gst_iterator_free(sources);
}

// As long as somebody plays the file: tells when it grows no more.
gboolean watch_growth(gpointer data) {
    auto* growth = static_cast<Growth*>(data);
    auto* bin = static_cast<GstElement*>(g_weak_ref_get(&growth->element));
    const bool goes_on = bin && is_growing(growth->path);
    if (bin && !goes_on) set_growing(bin, false);
    gst_clear_object(&bin);
    return goes_on;
}

void add_source(GstElement* bin, const std::string& path, qlip_medium medium, size_t index) {
    const std::string name = "pay" + std::to_string(index);
    GstElement* source = gst_element_factory_make("qlipsrc", name.c_str());
    const qlip_limits limits = file_limits();
    g_object_set(source, "location", path.c_str(), "track", medium, "lead", kLead, "max-memory",
                 limits.memory, "max-boxes", limits.boxes, "max-samples", limits.samples, nullptr);
    gst_bin_add(GST_BIN(bin), source);
}

}  // namespace

struct FileFactory {
    GstRTSPMediaFactory parent;
    std::string* path;
};

struct FileFactoryClass {
    GstRTSPMediaFactoryClass parent;
};

G_DEFINE_TYPE(FileFactory, file_factory, GST_TYPE_RTSP_MEDIA_FACTORY)

namespace {

GstElement* create_element(GstRTSPMediaFactory* factory, const GstRTSPUrl* /*url*/) {
    const std::string& path = *reinterpret_cast<FileFactory*>(factory)->path;
    const PlayedFile file = look_at(path);
    if (file.playable != Playable::now) return nullptr;
    GstElement* bin = gst_bin_new(nullptr);
    for (size_t i = 0; i < file.tracks.size(); ++i)
        add_source(bin, path, file.tracks[i], i);
    if (file.growing) {
        set_growing(bin, true);
        g_timeout_add_seconds_full(G_PRIORITY_DEFAULT, kLookAgain, watch_growth, new Growth(bin, path),
                                   [](gpointer data) { delete static_cast<Growth*>(data); });
    }
    return bin;
}

void finalize(GObject* object) {
    delete reinterpret_cast<FileFactory*>(object)->path;
    G_OBJECT_CLASS(file_factory_parent_class)->finalize(object);
}

}  // namespace

void file_factory_class_init(FileFactoryClass* klass) {
    reinterpret_cast<GObjectClass*>(klass)->finalize = finalize;
    reinterpret_cast<GstRTSPMediaFactoryClass*>(klass)->create_element = create_element;
}

void file_factory_init(FileFactory* factory) {
    auto* base = GST_RTSP_MEDIA_FACTORY(factory);
    gst_rtsp_media_factory_set_protocols(
        base, static_cast<GstRTSPLowerTrans>(GST_RTSP_LOWER_TRANS_UDP | GST_RTSP_LOWER_TRANS_TCP));
    gst_rtsp_media_factory_set_buffer_size(base, kSendBuffer);
}

GstRTSPMediaFactory* new_file_factory(const std::string& path) {
    auto* factory = static_cast<FileFactory*>(g_object_new(file_factory_get_type(), nullptr));
    factory->path = new std::string(path);
    return GST_RTSP_MEDIA_FACTORY(factory);
}

}  // namespace qlip::serve
