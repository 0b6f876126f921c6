#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace ovelo {

/// What a viewer's `Start` asks for: "video name|audio name", further fields are ignored.
struct DataSourceRequest {
    std::string videoName;
    std::string audioName;

    /// return  nothing when there are fewer than two fields
    static std::optional<DataSourceRequest> parse(std::string_view text);
};

} // namespace ovelo
