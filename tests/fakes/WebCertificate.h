#pragma once

#include "fakes/TemporaryFolder.h"

#include <cstdlib>
#include <string>

namespace ovelo {

/// A key and a certificate that it signed itself, which nobody trusts unless told to.
class WebCertificate {
public:
    static bool isPossible() { return std::system("command -v openssl >/dev/null") == 0; }

    /// names  for whom it stands, as in "IP:127.0.0.1"
    explicit WebCertificate(const std::string& names = "IP:127.0.0.1") {
        const std::string command =
            "cd '" + folder_.path().string() +
            "' && openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:prime256v1 -nodes "
            "-keyout key.pem -out certificate.pem -days 2 -subj /CN=test -addext subjectAltName=" +
            names + " 2>/dev/null && cat key.pem certificate.pem >both.pem";
        isMade_ = std::system(command.c_str()) == 0;
    }

    [[nodiscard]] bool isMade() const { return isMade_; }

    /// Puts one in its place that it signed, and whose life is over.
    void expire() {
        const std::string command =
            "cd '" + folder_.path().string() +
            "' && openssl req -new -key key.pem -subj /CN=leaf -addext subjectAltName=IP:127.0.0.1 "
            "-out leaf.csr 2>/dev/null && openssl x509 -req -in leaf.csr -CA certificate.pem "
            "-CAkey key.pem -CAcreateserial -copy_extensions copy -days 0 -out leaf.pem "
            "2>/dev/null && while openssl x509 -checkend 0 -noout -in leaf.pem >/dev/null; "
            "do sleep 0.05; done";
        isMade_ = std::system(command.c_str()) == 0;
        name_ = "leaf.pem";
    }

    [[nodiscard]] std::string path() const { return file(name_); }
    [[nodiscard]] std::string authority() const { return file("certificate.pem"); }
    [[nodiscard]] std::string key() const { return file("key.pem"); }
    [[nodiscard]] std::string withKey() const { return file("both.pem"); }

private:
    [[nodiscard]] std::string file(const char* name) const {
        return (folder_.path() / name).string();
    }

    TemporaryFolder folder_;
    const char* name_ = "certificate.pem";
    bool isMade_ = false;
};

} // namespace ovelo
