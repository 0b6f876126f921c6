#pragma once

#include "platform/CaptureDevice.h"
#include "platform/Result.h"

#include <string>
#include <string_view>

namespace ovelo {

/// One item of the setting "captureSources": a camera or microphone that the user describes in
/// words.
struct CaptureSourceEntry {
    MediaType type = MediaType::Video;
    std::string name;   // what people see
    std::string source; // a URI or a source bin

    /// Reads `v|name|source`, `a|name|source` or `m|name|source`.
    ///
    /// errors  what is wrong with it, without repeating the text: sources may hold passwords
    [[nodiscard]] static Result<CaptureSourceEntry> parse(std::string_view text);

    friend bool operator==(const CaptureSourceEntry&, const CaptureSourceEntry&) = default;
};

/// What the text of a source is.
enum class SourceForm {
    Network,     // rtsp, rtspt, http, https
    File,        // file
    Description, // a GStreamer source bin
};

[[nodiscard]] SourceForm formOfSource(std::string_view source);

} // namespace ovelo
