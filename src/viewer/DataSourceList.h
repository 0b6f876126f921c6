#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace ovelo {

/// One source of pictures or of sound that a server offers.
struct DataSource {
    std::string name;
    std::string identifier; // a model or an address; may hold anything
    bool selected = false;

    friend bool operator==(const DataSource&, const DataSource&) = default;
};

/// What the line "DATA_SOURCE|name|identifier|v|1|..." lists.
struct DataSourceList {
    std::vector<DataSource> video;
    std::vector<DataSource> audio;

    /// Reads such a line, without its line feed. An entry that does not have its four fields ends
    /// the list.
    ///
    /// return  none when it is another line
    static std::optional<DataSourceList> parse(std::string_view line);

    /// The video source of this name; null when there is none.
    [[nodiscard]] const DataSource* findVideo(std::string_view name) const;

    /// The argument of Start that chooses the video source and keeps the sound.
    [[nodiscard]] std::string choice(std::string_view videoName) const;

    /// The argument of Start that chooses the sound and keeps the video source.
    [[nodiscard]] std::string soundChoice(std::string_view audioName) const;
};

} // namespace ovelo
