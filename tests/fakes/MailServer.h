#pragma once

#include "fakes/ChildProcess.h"
#include "fakes/TemporaryFolder.h"

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace ovelo {

/// The system's, for its packages have the modules.
inline constexpr const char* kPython = "/usr/bin/python3";

/// A certificate that vouches for itself, with its key.
class TestCertificate {
public:
    /// names  as in "DNS:localhost,IP:127.0.0.1"
    explicit TestCertificate(const std::string& names = "DNS:localhost,IP:127.0.0.1") {
        const std::string command =
            "openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:P-256 -nodes -days 2"
            " -subj /CN=test -addext subjectAltName=" +
            names + " -keyout " + key() + " -out " + file() + " 2>/dev/null";
        isMade_ = std::system(command.c_str()) == 0; // NOLINT: a test, with a command of its own
    }

    [[nodiscard]] bool isMade() const { return isMade_; }
    [[nodiscard]] std::string file() const { return folder_.path() / "certificate.pem"; }
    [[nodiscard]] std::string key() const { return folder_.path() / "key.pem"; }

private:
    TemporaryFolder folder_;
    bool isMade_ = false;
};

/// A mail as a mail program reads it.
class ReceivedMail {
public:
    explicit ReceivedMail(const std::filesystem::path& file) {
        ChildProcess reader({kPython, MAIL_FAKES "/read_mail.py", file, folder_.path()});
        reader.wait();
    }

    [[nodiscard]] std::string field(const std::string& name) const { return part("field-" + name); }
    [[nodiscard]] std::string body() const { return part("body"); }
    [[nodiscard]] std::string attachment() const { return part("attachment"); }
    [[nodiscard]] std::string attachmentType() const { return part("attachment-type"); }
    [[nodiscard]] std::string attachmentName() const { return part("attachment-name"); }

    /// What is wrong with it, "" when nothing is; "not read" when it is no mail.
    [[nodiscard]] std::string defects() const {
        return std::filesystem::exists(folder_.path() / "defects") ? part("defects") : "not read";
    }

private:
    [[nodiscard]] std::string part(const std::string& name) const {
        return readFile(folder_.path() / name);
    }

    TemporaryFolder folder_;
};

/// A mail server of a test's own, on loopback.
class MailServer {
public:
    using Arguments = std::vector<std::string>;

    /// script  of tests/fakes; its first argument is a folder for what it receives
    explicit MailServer(const Arguments& arguments, const std::string& script = "smtp_server.py")
        : process_(command(arguments, script)) {
        if (process_.waitForOutput(" ready\n")) {
            port_ = std::stoi(process_.output().substr(sizeof "port"));
        }
    }

    /// 0 when it has not started.
    [[nodiscard]] int port() const { return port_; }

    /// What clients said, a line each.
    [[nodiscard]] std::string dialogue() const { return readFile(folder_.path() / "dialogue"); }
    [[nodiscard]] bool heard(const std::string& text) const {
        return dialogue().find(text) != std::string::npos;
    }
    [[nodiscard]] std::string logins() const { return readFile(folder_.path() / "logins"); }

    [[nodiscard]] std::size_t mails() const {
        std::size_t count = 0;
        while (std::filesystem::exists(file(count))) {
            ++count;
        }
        return count;
    }
    [[nodiscard]] ReceivedMail mail() const { return ReceivedMail(file(0)); }

private:
    [[nodiscard]] std::filesystem::path file(std::size_t number) const {
        return folder_.path() / (std::to_string(number) + ".eml");
    }
    [[nodiscard]] Arguments command(const Arguments& arguments, const std::string& script) const {
        Arguments result{kPython, std::string(MAIL_FAKES "/") + script, folder_.path()};
        result.insert(result.end(), arguments.begin(), arguments.end());
        return result;
    }

    TemporaryFolder folder_;
    ChildProcess process_;
    int port_ = 0;
};

} // namespace ovelo
