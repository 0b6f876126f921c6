#include "platform/GstDeviceFacts.h"

#include <gst/gst.h>

#include <fmt/format.h>

#include <algorithm>
#include <initializer_list>
#include <string>
#include <utility>

namespace ovelo {

namespace {

/// The first of the properties that is there and not empty.
std::string firstOf(const GstStructure* properties, std::initializer_list<const char*> names) {
    for (const char* name : names) {
        const char* text = properties ? gst_structure_get_string(properties, name) : nullptr;
        if (text && *text) {
            return text;
        }
    }
    return {};
}

/// The name by which the sound server knows the device; its provider keeps it out of the
/// properties.
std::string internalName(GstDevice* device) {
    if (!g_object_class_find_property(G_OBJECT_GET_CLASS(device), "internal-name")) {
        return {};
    }
    char* name = nullptr;
    g_object_get(device, "internal-name", &name, nullptr);
    std::string text = name ? name : "";
    g_free(name);
    return text;
}

std::string displayName(GstDevice* device) {
    char* name = gst_device_get_display_name(device);
    std::string text = name ? name : "";
    g_free(name);
    return text;
}

std::string onOneLine(std::string text) {
    std::replace_if(
        text.begin(), text.end(),
        [](char c) { return c == '|' || static_cast<unsigned char>(c) < 0x20 || c == 0x7f; }, ' ');
    return text;
}

std::string keyOf(GstDevice* device, const GstStructure* properties, const std::string& name,
                  bool isSound) {
    const std::string path = firstOf(properties, {"device.path", "api.v4l2.path"});
    if (!isSound && !path.empty()) {
        return "video " + path;
    }
    std::string server = internalName(device);
    if (server.empty()) {
        server = firstOf(properties, {"node.name", "device.string", "api.alsa.path"});
    }
    // Without any identity the name has to do.
    return (isSound ? "sound " : "video ") + (server.empty() ? "named " + name : server);
}

std::string modelOf(const GstStructure* properties, const std::string& name) {
    const std::string vendor = firstOf(properties, {"device.vendor.id"});
    const std::string product = firstOf(properties, {"device.product.id"});
    const std::string model =
        firstOf(properties, {"device.product.name", "v4l2.device.card", "alsa.card_name"});
    std::string words = model.empty() ? name : model;
    if (vendor.empty() || product.empty()) {
        return words;
    }
    return fmt::format("{} VendorID_{} ProductID_{}", words, vendor, product);
}

} // namespace

GstMonitor::Found factsOf(std::shared_ptr<GstDevice> device) {
    GstStructure* properties = gst_device_get_properties(device.get());
    GstMonitor::Found found;
    found.isSound = gst_device_has_classes(device.get(), "Audio") != FALSE;
    found.name = onOneLine(displayName(device.get()));
    found.model = onOneLine(modelOf(properties, found.name));
    found.key = keyOf(device.get(), properties, found.name, found.isSound);
    found.isLoopback = firstOf(properties, {"device.class"}) == "monitor";
    found.device = std::move(device);
    if (properties) {
        gst_structure_free(properties);
    }
    return found;
}

} // namespace ovelo
