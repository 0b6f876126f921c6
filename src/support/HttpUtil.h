#pragma once

#include "platform/Data.h"
#include "platform/HttpRequest.h"

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace ovelo {

/// Builds the requests that go to the web services, to network cameras and to the update manifest.
///
/// Keys, values and names go into a form as they stand, in UTF-8; the form has no way to escape
/// them. A quotation mark or a line end in a key or a file name, or the boundary line in a value,
/// therefore changes what the service reads. They never reach the request's headers.
///
/// errors  none
/// thread  any
class HttpUtil {
public:
    /// The fields of a form, in the order in which they go out.
    using Fields = std::vector<std::pair<std::string, std::string>>;

    HttpUtil() = delete;

    /// A request for a fresh copy of what is at `url`.
    static HttpRequest createGetUrlRequest(std::string_view url);

    /// A form's header, and separately the start of its body: the fields, and after each an opening
    /// boundary line. The body is not attached.
    ///
    /// body  replaced
    static HttpRequest createPostUrlRequest(std::string_view url, const Fields& keys,
                                            std::string_view boundary, std::string& body);

    /// A complete form. Without a file it ends with an opening boundary line, never with the closing
    /// one.
    ///
    /// fileData  null for no file; may be empty
    /// fileName  used with a file only
    static HttpRequest createFormRequest(std::string_view url, const Fields& keys,
                                         const Data& fileData = nullptr,
                                         std::string_view fileName = {});

    /// A complete form whose last field, "file_list", holds file names, one in each line.
    static HttpRequest createSubmitRequest(std::string_view url, const Fields& keys,
                                           const std::vector<std::string>& fileList);
};

} // namespace ovelo
