#pragma once

#include <optional>
#include <string>

struct _xmlError;

namespace ovelo {

/// Why something about a document failed.
struct XMLError {
    static constexpr const char* kDomain = "XMLParsingErrorDomain";

    std::string domain = kDomain;
    int code = 0;
    std::string failureReason;
};

/// What passes between the XML library's texts and errors and ours.
class XMLUtilities final {
public:
    /// text  UTF-8, ended by a zero byte, or null. return: nothing for an empty one
    static std::optional<std::string> stringWithXMLChar(const unsigned char* text);

    /// error  may be null
    static XMLError errorWithXMLError(const _xmlError* error);

    /// Stores an error of that reason where one is wanted.
    static void setError(XMLError* error, std::string reason);
};

} // namespace ovelo
