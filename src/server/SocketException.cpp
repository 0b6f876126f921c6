#include "server/SocketException.h"

#include <system_error>
#include <utility>

namespace ovelo {

SocketException::SocketException(std::string name) : name_(std::move(name)), reason_(name_) {
}

SocketException::SocketException(std::string name, std::string reason)
    : name_(std::move(name))
    , reason_(std::move(reason)) {
}

SocketException SocketException::fromSystem(const std::string& name, int systemError) {
    return {name, name + ": " + std::generic_category().message(systemError)};
}

} // namespace ovelo
