#include "platform/UpnpMessages.h"

#include "platform/CHandle.h"

#include <miniupnpc/igd_desc_parse.h>
#include <miniupnpc/miniupnpc.h>
#include <miniupnpc/upnpreplyparse.h>

#include <arpa/inet.h>
#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <iterator>

namespace ovelo::upnp {

namespace {

constexpr std::size_t kMostUrl = 256;
constexpr std::size_t kMostBody = 262'144; // of a description or a reply
constexpr long kMostLease = 604'800;       // a week, the largest that routers know

char lower(char letter) {
    return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
}

bool startsWithIgnoringCase(std::string_view text, std::string_view start) {
    return text.size() >= start.size() &&
           std::equal(start.begin(), start.end(), text.begin(),
                      [](char a, char b) { return lower(a) == lower(b); });
}

std::string_view trimmed(std::string_view text) {
    const auto first = text.find_first_not_of(" \t\r");
    return first == std::string_view::npos
               ? std::string_view()
               : text.substr(first, text.find_last_not_of(" \t\r") - first + 1);
}

bool isPlain(std::string_view text) {
    return std::all_of(text.begin(), text.end(), [](char c) { return c > ' ' && c < 127; });
}

/// What follows "http://" and the host; nothing when that is another one.
bool isAt(std::string_view url, std::string_view host) {
    constexpr std::string_view kScheme = "http://";
    if (url.size() > kMostUrl || !isPlain(url) || !startsWithIgnoringCase(url, kScheme)) {
        return false;
    }
    url.remove_prefix(kScheme.size());
    if (!url.starts_with(host) || url.find('@') != std::string_view::npos) {
        return false;
    }
    url.remove_prefix(host.size());
    return url.empty() || url.front() == ':' || url.front() == '/';
}

std::string_view hostOf(std::string_view url) {
    url.remove_prefix(std::string_view("http://").size());
    return url.substr(0, url.find_first_of(":/"));
}

/// It goes into a header and between quotation marks.
bool isServiceType(std::string_view type) {
    return type.find(":WAN") != std::string_view::npos &&
           std::all_of(type.begin(), type.end(), [](char c) {
               return (c >= '0' && c <= '9') || (lower(c) >= 'a' && lower(c) <= 'z') || c == ':' ||
                      c == '-' || c == '_' || c == '.';
           });
}

std::optional<Service> service(IGDdatas& data, const IGDdatas_service& described,
                               const std::string& location) {
    if (described.controlurl[0] == '\0' || !isServiceType(described.servicetype)) {
        return std::nullopt;
    }
    data.first = described; // what the library makes a URL of
    UPNPUrls urls{};
    ::GetUPNPUrls(&urls, &data, location.c_str(), 0);
    const CHandle<UPNPUrls, &::FreeUPNPUrls> release(&urls);
    const std::string url = urls.controlURL == nullptr ? "" : urls.controlURL;
    if (!isAt(url, hostOf(location))) {
        return std::nullopt;
    }
    return Service{url, described.servicetype};
}

std::string_view value(const Values& values, std::string_view name) {
    const auto found = values.find(name);
    return found == values.end() ? std::string_view() : std::string_view(found->second);
}

std::optional<long> number(std::string_view text) {
    long result = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), result);
    if (error != std::errc{} || end != text.data() + text.size()) {
        return std::nullopt;
    }
    return result;
}

} // namespace

std::string searchRequest(std::string_view target) {
    return fmt::format("M-SEARCH * HTTP/1.1\r\n"
                       "HOST: 239.255.255.250:1900\r\n"
                       "ST: {}\r\n"
                       "MAN: \"ssdp:discover\"\r\n"
                       "MX: 1\r\n"
                       "\r\n",
                       target);
}

std::optional<std::string> location(std::string_view reply, std::string_view sender) {
    constexpr std::string_view kName = "location:";
    if (!startsWithIgnoringCase(reply, "HTTP/1.1 200") &&
        !startsWithIgnoringCase(reply, "HTTP/1.0 200")) {
        return std::nullopt;
    }
    while (!reply.empty()) {
        const std::string_view line = reply.substr(0, reply.find('\n'));
        if (startsWithIgnoringCase(line, kName)) {
            const std::string_view url = trimmed(line.substr(kName.size()));
            return isAt(url, sender) ? std::optional<std::string>(url) : std::nullopt;
        }
        reply.remove_prefix(std::min(reply.size(), line.size() + 1));
    }
    return std::nullopt;
}

std::vector<Service> services(const std::string& description, const std::string& location) {
    IGDdatas data{};
    if (description.size() > kMostBody) {
        return {};
    }
    ::parserootdesc(description.c_str(), static_cast<int>(description.size()), &data);
    std::vector<Service> found;
    for (const IGDdatas_service& described :
         {IGDdatas_service(data.first), IGDdatas_service(data.second)}) {
        if (auto service = upnp::service(data, described, location)) {
            found.push_back(std::move(*service));
        }
    }
    return found;
}

std::string soapBody(const Service& service, std::string_view action, const Arguments& arguments) {
    std::string body =
        fmt::format("<?xml version=\"1.0\"?>\r\n"
                    "<s:Envelope xmlns:s=\"http://schemas.xmlsoap.org/soap/envelope/\" "
                    "s:encodingStyle=\"http://schemas.xmlsoap.org/soap/encoding/\"><s:Body>"
                    "<u:{} xmlns:u=\"{}\">",
                    action, service.type);
    for (const auto& [name, text] : arguments) {
        fmt::format_to(std::back_inserter(body), "<{0}>{1}</{0}>", name, text);
    }
    fmt::format_to(std::back_inserter(body), "</u:{}></s:Body></s:Envelope>\r\n", action);
    return body;
}

Values soapValues(const std::string& body) {
    Values values;
    if (body.size() > kMostBody) {
        return values;
    }
    NameValueParserData data{};
    ::ParseNameValue(body.data(), static_cast<int>(body.size()), &data);
    const CHandle<NameValueParserData, &::ClearNameValueList> release(&data);
    for (const NameValue* item = data.l_head; item != nullptr; item = item->l_next) {
        values.try_emplace(item->name, item->value); // the list begins with the last
    }
    return values;
}

std::optional<RouterEntry> entry(const Values& values) {
    const auto external = port(value(values, "NewExternalPort"));
    const auto internal = port(value(values, "NewInternalPort"));
    if (!external || !internal || !startsWithIgnoringCase(value(values, "NewProtocol"), "TCP")) {
        return std::nullopt;
    }
    RouterEntry entry;
    entry.externalPort = *external;
    entry.internalPort = *internal;
    entry.client = addressOrNothing(value(values, "NewInternalClient"));
    entry.description = value(values, "NewPortMappingDescription");
    entry.lease = std::chrono::seconds(
        std::clamp(number(value(values, "NewLeaseDuration")).value_or(0), 0L, kMostLease));
    entry.isEnabled = value(values, "NewEnabled") != "0";
    return entry;
}

int errorCode(const Values& values) {
    const long code = number(value(values, "errorCode")).value_or(0);
    return code > 0 && code < 1000 ? static_cast<int>(code) : 0;
}

std::string addressOrNothing(std::string_view text) {
    const std::string address(trimmed(text));
    in_addr parsed{};
    return ::inet_pton(AF_INET, address.c_str(), &parsed) == 1 ? address : std::string();
}

std::optional<std::uint16_t> port(std::string_view text) {
    const auto parsed = number(trimmed(text));
    if (!parsed || *parsed < 1 || *parsed > 65535) {
        return std::nullopt;
    }
    return static_cast<std::uint16_t>(*parsed);
}

} // namespace ovelo::upnp
