#pragma once

#include <filesystem>
#include <map>
#include <optional>
#include <string>

namespace ovelo {

/// The texts of an XML property list's dictionary, by key; values of other kinds are left out.
using PropertyList = std::map<std::string, std::string>;

/// return  nothing when the file cannot be read or is no property list
/// thread  any
std::optional<PropertyList> readPropertyList(const std::filesystem::path& file);

} // namespace ovelo
