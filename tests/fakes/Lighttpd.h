#pragma once

#include "fakes/ChildProcess.h"
#include "fakes/Eventually.h"
#include "fakes/TcpFeeder.h"
#include "fakes/TemporaryFolder.h"
#include "fakes/WebCertificate.h"

#include <cstdlib>
#include <memory>
#include <string>

namespace ovelo {

/// lighttpd with one file, "file.txt" or another, open at /open/, behind a login at /basic/ and at
/// /digest/; the user is bob, the password is secret.
class Lighttpd {
public:
    static bool isInstalled() {
        return std::system("PATH=$PATH:/usr/sbin command -v lighttpd >/dev/null") == 0;
    }

    explicit Lighttpd(const WebCertificate* certificate = nullptr,
                      const std::string& name = "file.txt", const std::string& content = "content")
        : isSecure_(certificate != nullptr) {
        const std::filesystem::path root = folder_.path() / "root";
        for (const char* place : {"open", "basic", "digest"}) {
            std::filesystem::create_directories(root / place);
            writeFile(root / place / name, content);
        }
        writeFile(folder_.path() / "plain", "bob:secret\n");
        port_ = LoopbackListener(1).port(); // free a moment ago
        writeFile(folder_.path() / "conf", configuration(certificate));
        ::setenv("PATH", (std::string(::getenv("PATH")) + ":/usr/sbin").c_str(), 1);
        process_ = std::make_unique<ChildProcess>(
            std::vector<std::string>{"lighttpd", "-D", "-f", (folder_.path() / "conf").string()});
    }

    [[nodiscard]] std::string url(const std::string& path) const {
        return (isSecure_ ? "https://127.0.0.1:" : "http://127.0.0.1:") + std::to_string(port_) +
               path;
    }

    [[nodiscard]] bool isReady() const {
        return eventually([this] {
            const FileDescriptor probe(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
            sockaddr_in address{};
            address.sin_family = AF_INET;
            address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
            address.sin_port = htons(port_);
            return ::connect(probe.get(), reinterpret_cast<sockaddr*>(&address), sizeof address) ==
                   0;
        });
    }

private:
    [[nodiscard]] std::string configuration(const WebCertificate* certificate) const {
        const std::string folder = folder_.path().string();
        std::string text =
            "server.modules = (\"mod_auth\", \"mod_authn_file\")\n"
            "server.document-root = \"" +
            folder + "/root\"\nserver.errorlog = \"" + folder +
            "/log\"\nserver.bind = \"127.0.0.1\"\nserver.port = " + std::to_string(port_) +
            "\nmimetype.assign = (\".txt\" => \"text/plain\", \".jpg\" => \"image/jpeg\")\n"
            "auth.backend = \"plain\"\nauth.backend.plain.userfile = \"" +
            folder + "/plain\"\n";
        for (const std::string method : {"basic", "digest"}) {
            text += "auth.require += (\"/" + method + "\" => (\"method\" => \"" + method +
                    "\", \"realm\" => \"yard\", \"require\" => \"valid-user\"))\n";
        }
        if (certificate != nullptr) {
            text +=
                "server.modules += (\"mod_openssl\")\nssl.engine = \"enable\"\nssl.pemfile = \"" +
                certificate->withKey() + "\"\n";
        }
        return text;
    }

    TemporaryFolder folder_;
    bool isSecure_;
    std::uint16_t port_ = 0;
    std::unique_ptr<ChildProcess> process_; // ends before its folder
};

} // namespace ovelo
