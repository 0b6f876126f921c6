#include "support/HttpUtil.h"

#include <fmt/format.h>

#include <iterator>

namespace ovelo {

namespace {

constexpr std::string_view kBoundary = "0xKhTmLbOuNdArY";
constexpr auto kGetTimeout = std::chrono::seconds(60);

} // namespace

HttpRequest HttpUtil::createGetUrlRequest(std::string_view url) {
    HttpRequest request;
    request.url = url;
    request.reloadIgnoringCache = true;
    request.timeout = kGetTimeout;
    return request;
}

HttpRequest HttpUtil::createPostUrlRequest(std::string_view url, const Fields& keys,
                                           std::string_view boundary, std::string& body) {
    HttpRequest request;
    request.method = "POST";
    request.url = url;
    request.headers.push_back(
        {"Content-Type", fmt::format("multipart/form-data; boundary={}", boundary)});
    body = fmt::format("--{}\r\n", boundary);
    for (const auto& [key, value] : keys) {
        fmt::format_to(std::back_inserter(body),
                       "Content-Disposition: form-data; name=\"{}\"\r\n\r\n{}\r\n--{}\r\n", key,
                       value, boundary);
    }
    return request;
}

HttpRequest HttpUtil::createFormRequest(std::string_view url, const Fields& keys,
                                        const Data& fileData, std::string_view fileName) {
    std::string body;
    HttpRequest request = createPostUrlRequest(url, keys, kBoundary, body);
    if (fileData) {
        // Kept: the services expect this spelling, this capital letter and no "form-data".
        body += fmt::format("Content-Disposition: Attachement; Filename=\"{}\"\r\n", // sic
                            fileName);
        body += "Content-Type: application/octet-stream\r\n\r\n";
        body.append(fileData->begin(), fileData->end());
        body += fmt::format("\r\n--{}--\r\n", kBoundary);
    }
    request.body = std::move(body);
    return request;
}

HttpRequest HttpUtil::createSubmitRequest(std::string_view url, const Fields& keys,
                                          const std::vector<std::string>& fileList) {
    std::string body;
    HttpRequest request = createPostUrlRequest(url, keys, kBoundary, body);
    body += "Content-Disposition: form-data; name=\"file_list\"\r\n\r\n";
    for (const std::string& name : fileList) {
        body += name + "\r\n";
    }
    body += fmt::format("\r\n--{}\r\n", kBoundary);
    request.body = std::move(body);
    return request;
}

} // namespace ovelo
