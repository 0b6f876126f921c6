#pragma once

#include <gst/gst.h>

#include <vector>

namespace ovelo {

/// Takes elements of GStreamer out of its registry, as if they were not installed.
///
/// lifetime  they are back when it dies
class HiddenElements {
public:
    /// names  those that are not installed are left alone
    explicit HiddenElements(const std::vector<const char*>& names) {
        gst_init(nullptr, nullptr); // once; the registry is empty before
        for (const char* name : names) {
            if (GstPluginFeature* feature = gst_registry_lookup_feature(gst_registry_get(), name)) {
                gst_registry_remove_feature(gst_registry_get(), feature);
                hidden_.push_back(feature);
            }
        }
    }
    ~HiddenElements() {
        for (GstPluginFeature* feature : hidden_) {
            gst_registry_add_feature(gst_registry_get(), feature);
            gst_object_unref(feature);
        }
    }
    HiddenElements(const HiddenElements&) = delete;
    HiddenElements& operator=(const HiddenElements&) = delete;

private:
    std::vector<GstPluginFeature*> hidden_;
};

} // namespace ovelo
