#pragma once

#include <exception>
#include <string>

namespace ovelo {

/// A failed socket operation: a short name, and a reason that adds the system's own text.
class SocketException final : public std::exception {
public:
    /// name and reason are the same text.
    explicit SocketException(std::string name);
    SocketException(std::string name, std::string reason);

    /// The reason is the name, ": " and the system's text for `systemError`.
    static SocketException fromSystem(const std::string& name, int systemError);

    [[nodiscard]] const std::string& name() const { return name_; }
    [[nodiscard]] const std::string& reason() const { return reason_; }
    [[nodiscard]] const char* what() const noexcept override { return reason_.c_str(); }

private:
    std::string name_;
    std::string reason_;
};

} // namespace ovelo
