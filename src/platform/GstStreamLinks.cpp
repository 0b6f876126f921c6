#include "platform/GstStreamLinks.h"

#include "platform/GstHeld.h"
#include "platform/GstSoundTail.h"

#include <gst/gst.h>

#include <string_view>

namespace ovelo {

namespace {

using Held = GstHeld<GstStreamLinks>;

void release(gpointer data, GClosure*) {
    Held::drop(data);
}

void connect(GstElement* element, const char* signal, GCallback callback,
             const std::shared_ptr<GstStreamLinks>& links) {
    g_signal_connect_data(element, signal, callback, Held::hold(links), release,
                          static_cast<GConnectFlags>(0));
}

void takePad(GstElement*, GstPad* pad, gpointer data) {
    Held::of(data).link(pad);
}

// NOLINTNEXTLINE(readability-function-size, readability-function-cognitive-complexity): one macro of the library
void complainWhenUnlinked(GstElement* source, gpointer data) {
    if (!Held::of(data).isFrontLinked()) {
        GST_ELEMENT_ERROR(source, STREAM, WRONG_TYPE, ("%s", Held::of(data).complaint()),
                          (nullptr));
    }
}

/// True for raw "video" or "audio".
bool isRaw(GstPad* pad, std::string_view media) {
    GstCaps* caps = gst_pad_query_caps(pad, nullptr);
    bool isIt = false;
    if (!gst_caps_is_empty(caps) && !gst_caps_is_any(caps)) {
        const std::string_view name = gst_structure_get_name(gst_caps_get_structure(caps, 0));
        isIt = name.starts_with(media) && name.substr(media.size()) == "/x-raw";
    }
    gst_caps_unref(caps);
    return isIt;
}

bool isIn(GstPad* pad, GstElement* pipeline) {
    GstElement* element = gst_pad_get_parent_element(pad);
    const bool isThere = element && GST_OBJECT_PARENT(element) == GST_OBJECT(pipeline);
    if (element) {
        gst_object_unref(element);
    }
    return isThere;
}

/// Makes a pad inside a bin of the pipeline one of the bin's own.
GstPad* exposed(GstPad* pad, GstElement* pipeline) {
    GstObject* bin = gst_object_get_parent(GST_OBJECT(pad));
    while (bin && GST_OBJECT_PARENT(bin) != GST_OBJECT(pipeline)) {
        GstObject* parent = gst_object_get_parent(bin);
        gst_object_unref(bin);
        bin = parent;
    }
    if (!bin) {
        return nullptr;
    }
    GstPad* ghost = gst_ghost_pad_new(nullptr, pad);
    gst_pad_set_active(ghost, TRUE);
    gst_element_add_pad(GST_ELEMENT(bin), ghost);
    gst_object_unref(bin);
    return ghost;
}

void linkTo(GstElement* element, GstPad* pad) {
    GstPad* sink = gst_element_get_static_pad(element, "sink");
    if (!gst_pad_is_linked(sink)) {
        gst_pad_link(pad, sink);
    }
    gst_object_unref(sink);
}

void linkPad(const GValue* item, gpointer links) {
    static_cast<GstStreamLinks*>(links)->link(static_cast<GstPad*>(g_value_get_object(item)));
}

bool hasLaterPads(GstElement* element) {
    const GList* pads = gst_element_class_get_pad_template_list(GST_ELEMENT_GET_CLASS(element));
    for (const GList* item = pads; item; item = item->next) {
        const auto* pad = static_cast<const GstPadTemplate*>(item->data);
        if (pad->direction == GST_PAD_SRC && pad->presence == GST_PAD_SOMETIMES) {
            return true;
        }
    }
    return false;
}

} // namespace

void GstStreamLinks::watch(GstElement* source, const std::shared_ptr<GstStreamLinks>& links) {
    connect(source, "pad-added", G_CALLBACK(takePad), links);
    connect(source, "no-more-pads", G_CALLBACK(complainWhenUnlinked), links);
}

void GstStreamLinks::watchBin(GstElement* bin, const std::shared_ptr<GstStreamLinks>& links) {
    // Not the library's own search for pads, which looks into the elements' insides.
    const auto watchElement = [](const GValue* item, gpointer data) {
        auto* element = static_cast<GstElement*>(g_value_get_object(item));
        const auto& held = *static_cast<const std::shared_ptr<GstStreamLinks>*>(data);
        GstIterator* pads = gst_element_iterate_src_pads(element);
        gst_iterator_foreach(pads, linkPad, held.get());
        gst_iterator_free(pads);
        if (hasLaterPads(element)) {
            connect(element, "pad-added", G_CALLBACK(takePad), held);
        }
    };
    auto held = links;
    GstIterator* elements = gst_bin_iterate_elements(GST_BIN(bin));
    gst_iterator_foreach(elements, watchElement, &held); // nothing else touches the bin yet
    gst_iterator_free(elements);
}

void GstStreamLinks::link(GstPad* pad) {
    if (gst_pad_is_linked(pad)) {
        return; // a part of the description takes it
    }
    const bool isSound = isRaw(pad, "audio");
    if (!isSound && !isRaw(pad, "video")) {
        return;
    }
    if (isSound != ends_.takesPictures) {
        linkFront(pad);
    } else if (isSound && ends_.sound && !hasSound_) {
        hasSound_ = linkSound(pad);
    }
}

bool GstStreamLinks::isFrontLinked() const {
    GstPad* sink = gst_element_get_static_pad(ends_.front, "sink");
    const bool isLinked = gst_pad_is_linked(sink) != FALSE;
    gst_object_unref(sink);
    return isLinked;
}

const char* GstStreamLinks::complaint() const {
    return ends_.takesPictures ? "There are no pictures in it." : "There is no sound in it.";
}

void GstStreamLinks::linkFront(GstPad* pad) {
    if (isFrontLinked()) {
        return;
    }
    if (!isIn(pad, ends_.pipeline)) {
        pad = exposed(pad, ends_.pipeline);
    }
    if (pad) {
        linkTo(ends_.front, pad);
    }
}

bool GstStreamLinks::linkSound(GstPad* pad) {
    if (!isIn(pad, ends_.pipeline)) {
        pad = exposed(pad, ends_.pipeline);
    }
    if (!pad) {
        return false;
    }
    GstElement* branch = makeSoundBranch(ends_.sound, ends_.isPaced);
    if (!branch) {
        return false; // pictures without sound are better than nothing
    }
    gst_bin_add(GST_BIN(ends_.pipeline), branch);
    linkTo(branch, pad);
    gst_element_sync_state_with_parent(branch);
    return true;
}

} // namespace ovelo
