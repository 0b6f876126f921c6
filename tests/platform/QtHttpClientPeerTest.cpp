// Requests to servers of other makers, over TLS and with logins.

#include "fakes/ChildProcess.h"
#include "fakes/Lighttpd.h"
#include "fakes/TcpFeeder.h"
#include "fakes/TemporaryFolder.h"
#include "fakes/WebCertificate.h"
#include "platform/HttpRecorder.h"
#include "platform/QtHttpClient.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>
#include <string>

namespace ovelo {
namespace {

/// OpenSSL's own server, which answers every request with a page about the connection.
class TlsServer {
public:
    explicit TlsServer(const WebCertificate& certificate)
        : process_({"openssl", "s_server", "-accept", "127.0.0.1:0", "-cert", certificate.path(),
                    "-key", certificate.key(), "-www"}) {
        isReady_ = process_.waitForOutput("ACCEPT 127.0.0.1:") && process_.waitForOutput("\n");
    }

    [[nodiscard]] bool isReady() const { return isReady_; }

    [[nodiscard]] std::string url() const {
        const std::string name = "ACCEPT ";
        const std::string& said = process_.output();
        const auto begin = said.find(name) + name.size();
        return "https://" + said.substr(begin, said.find('\n', begin) - begin) + "/";
    }

private:
    ChildProcess process_;
    bool isReady_ = false;
};

class QtHttpClientTlsTest : public ::testing::Test {
protected:
    void SetUp() override {
        if (!WebCertificate::isPossible()) {
            GTEST_SKIP() << "openssl is not installed";
        }
    }

    /// Makes a request to a server that shows `certificate`, and waits for a reply or a failure.
    ///
    /// trusted  beside the system's authorities; empty for none
    void visit(const WebCertificate& certificate, const std::string& trusted) {
        ASSERT_TRUE(certificate.isMade());
        const TlsServer server(certificate);
        ASSERT_TRUE(server.isReady());
        QtHttpClient client(trusted);
        ASSERT_TRUE(seen.start(client, requestFor(server.url())));
        ASSERT_TRUE(runLoopUntil([this] { return seen.responses > 0 || seen.ended(); }));
        seen.connection.reset(); // this server does not end its pages
    }

    HttpRecorder seen;
};

TEST_F(QtHttpClientTlsTest, UntrustedCertificateIsAFailure) {
    const WebCertificate certificate;

    visit(certificate, "");

    EXPECT_EQ(seen.calls, "E");
    EXPECT_NE(seen.error.find("certificate"), std::string::npos) << seen.error;
}

TEST_F(QtHttpClientTlsTest, TrustedCertificateIsAccepted) {
    const WebCertificate certificate;

    visit(certificate, certificate.path());

    EXPECT_EQ(seen.error, "");
    EXPECT_EQ(seen.response.status, 200);
}

TEST_F(QtHttpClientTlsTest, CertificateForSomebodyElseIsAFailure) {
    const WebCertificate certificate("DNS:watch.example.org");

    visit(certificate, certificate.path());

    EXPECT_EQ(seen.calls, "E");
    EXPECT_NE(seen.error.find("host name"), std::string::npos) << seen.error;
}

TEST_F(QtHttpClientTlsTest, ExpiredCertificateIsAFailure) {
    WebCertificate certificate;
    certificate.expire();

    visit(certificate, certificate.authority());

    EXPECT_EQ(seen.calls, "E");
    EXPECT_NE(seen.error.find("expired"), std::string::npos) << seen.error;
}

TEST_F(QtHttpClientTlsTest, AnotherAuthorityThanTheExtraOneIsNotTrusted) {
    const WebCertificate certificate;
    const WebCertificate other;

    visit(certificate, other.path());

    EXPECT_EQ(seen.calls, "E");
}

TEST_F(QtHttpClientTlsTest, SecureRequestToAnInsecureServerIsAFailure) {
    const LoopbackListener listener(5);
    QtHttpClient client;
    ASSERT_TRUE(seen.start(
        client, requestFor("https://127.0.0.1:" + std::to_string(listener.port()) + "/")));
    FileDescriptor accepted;
    ASSERT_TRUE(runLoopUntil([&] { return bool(accepted = listener.accept(0)); }));
    const std::string reply = "HTTP/1.1 400 Bad Request\r\n\r\n";
    ASSERT_GT(::send(accepted.get(), reply.data(), reply.size(), MSG_NOSIGNAL), 0);

    ASSERT_TRUE(runLoopUntil([&] { return seen.ended(); }));

    EXPECT_EQ(seen.calls, "E");
}

HttpRecorder::Answer once(const std::string& password) {
    return [=](int failures) -> std::optional<HttpCredentials> {
        if (failures > 0) {
            return std::nullopt;
        }
        return HttpCredentials{"bob", password};
    };
}

class QtHttpClientLighttpdTest : public ::testing::TestWithParam<const char*> {
protected:
    void SetUp() override {
        if (!Lighttpd::isInstalled()) {
            GTEST_SKIP() << "lighttpd is not installed";
        }
    }

    [[nodiscard]] static std::string file() { return std::string(GetParam()) + "/file.txt"; }

    QtHttpClient client;
    HttpRecorder seen;
};

TEST_P(QtHttpClientLighttpdTest, RightPasswordOpens) {
    const Lighttpd server;
    ASSERT_TRUE(server.isReady());

    ASSERT_TRUE(seen.run(client, requestFor(server.url(file())), once("secret")));

    EXPECT_EQ(seen.calls, "CRDF") << seen.error;
    EXPECT_EQ(seen.body, "content");
    EXPECT_EQ(seen.response.header("Content-Type"), "text/plain");
}

TEST_P(QtHttpClientLighttpdTest, WrongPasswordIsRejectedOnce) {
    const Lighttpd server;
    ASSERT_TRUE(server.isReady());

    ASSERT_TRUE(seen.run(client, requestFor(server.url(file())), once("wrong")));

    EXPECT_EQ(seen.calls, "CCE");
    EXPECT_EQ(seen.challenges, (std::vector<int>{0, 1}));
}

TEST_P(QtHttpClientLighttpdTest, RightPasswordOpensOverTls) {
    const WebCertificate certificate;
    ASSERT_TRUE(certificate.isMade());
    const Lighttpd server(&certificate);
    ASSERT_TRUE(server.isReady());
    QtHttpClient trusting(certificate.path());

    ASSERT_TRUE(seen.run(trusting, requestFor(server.url(file())), once("secret")));

    EXPECT_EQ(seen.calls, "CRDF") << seen.error;
    EXPECT_EQ(seen.body, "content");
}

TEST_P(QtHttpClientLighttpdTest, OpenFileNeedsNoPassword) {
    const Lighttpd server;
    ASSERT_TRUE(server.isReady());

    ASSERT_TRUE(seen.run(client, requestFor(server.url("/open/file.txt")), once("secret")));

    EXPECT_EQ(seen.calls, "RDF");
}

INSTANTIATE_TEST_SUITE_P(Login, QtHttpClientLighttpdTest, ::testing::Values("/basic", "/digest"));

} // namespace
} // namespace ovelo
