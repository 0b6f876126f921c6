#include "platform/HostLookup.h"

#include "platform/CHandle.h"
#include "platform/FileDescriptor.h"
#include "platform/Polling.h"
#include "platform/Threads.h"

#include <arpa/inet.h>
#include <fmt/format.h>
#include <netdb.h>
#include <sys/eventfd.h>
#include <sys/socket.h>

#include <array>
#include <cstring>
#include <future>
#include <memory>
#include <optional>
#include <thread>
#include <utility>

namespace ovelo {

namespace {

using Addresses = CHandle<addrinfo, &::freeaddrinfo>;

HostLookup resolve(const std::string& host) {
    addrinfo hints{};
    hints.ai_family = AF_INET;
    hints.ai_socktype = SOCK_STREAM;
    addrinfo* found = nullptr;
    const int error = ::getaddrinfo(host.c_str(), nullptr, &hints, &found);
    if (error != 0) {
        return {0, error, fmt::format("{}: {}", host, ::gai_strerror(error))};
    }
    const Addresses addresses(found);
    sockaddr_in address{};
    std::memcpy(&address, addresses->ai_addr, sizeof address);
    return {address.sin_addr.s_addr, 0, {}};
}

/// What the resolver's thread and the waiting one share; the last of them frees it.
struct Request {
    FileDescriptor done{::eventfd(0, EFD_CLOEXEC)};
    std::promise<HostLookup> promise;
};

/// The thread is detached because nothing can interrupt the resolver; it touches nothing but its
/// request.
std::future<HostLookup> startResolving(const std::string& host,
                                       const std::shared_ptr<Request>& request) {
    auto answer = request->promise.get_future();
    std::thread([host, request] {
        settleThread("host-lookup");
        try {
            request->promise.set_value(resolve(host));
        } catch (...) {
            request->promise.set_exception(std::current_exception());
        }
        ::eventfd_write(request->done.get(), 1);
    }).detach();
    return answer;
}

} // namespace

HostLookup lookUpHost(const std::string& host, std::chrono::milliseconds timeout, int wakeFd) {
    in_addr dotted{};
    if (::inet_pton(AF_INET, host.c_str(), &dotted) == 1) {
        return {dotted.s_addr, 0, {}};
    }
    const auto request = std::make_shared<Request>();
    auto answer = startResolving(host, request);
    std::array<pollfd, 2> waiting{pollfd{request->done.get(), POLLIN, 0},
                                  pollfd{wakeFd, POLLIN, 0}};
    pollFor(waiting, timeout);
    if (waiting[1].revents != 0) {
        return {0, EAI_INTR, "interrupted"};
    }
    if (waiting[0].revents == 0) {
        return {0, EAI_AGAIN, fmt::format("{}: no answer from the name service", host)};
    }
    return answer.get();
}

Result<Ipv4Address> lookUpIpv4(const std::string& host, std::chrono::milliseconds timeout,
                               int wakeFd) {
    HostLookup answer = lookUpHost(host, timeout, wakeFd);
    if (!answer.succeeded()) {
        return Failure{std::move(answer.text)};
    }
    return answer.address;
}

} // namespace ovelo
