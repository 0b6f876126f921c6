// ovelo-findcam: finds network cameras from a shell.

#include "ipcam/onvif/CameraFinder.h"
#include "ipcam/onvif/OnvifQuery.h"
#include "platform/QtHttpClient.h"
#include "support/UtcText.h"

#include <QCoreApplication>
#include <QTimer>

#include <fmt/format.h>

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <exception>
#include <optional>
#include <random>
#include <string>
#include <string_view>
#include <vector>

namespace {

using namespace ovelo;

constexpr const char* kHelp =
    R"(ovelo-findcam: finds network cameras that speak ONVIF, and where they give their pictures.

  ovelo-findcam                 all cameras on the local network that answer within 3 seconds
  ovelo-findcam ADDRESS         one camera, by the address of its device service
  ovelo-findcam ADDRESS USER    the same for one that wants a user name and a password, which is
                                read from standard input
  ovelo-findcam --help

Each camera is a line with its address and its name, and below it "snapshot" and "stream" with
their addresses, or the reason why there are none. A snapshot's address can be entered in the list
of network cameras, a stream's as "v|NAME|ADDRESS" in the setting "captureSources".
The exit status is 0, or 1 when no camera was found or the one that was named gives no picture.
)";

/// What a camera says, without what would move a terminal's cursor.
std::string printable(std::string text) {
    for (char& letter : text) {
        if (static_cast<unsigned char>(letter) < 0x20 || letter == 0x7F) {
            letter = '?';
        }
    }
    return text;
}

onvif::Stamp stamp() {
    constexpr int kNonceBytes = 16;
    constexpr unsigned int kByte = 0xFFU;
    std::random_device source;
    std::string nonce;
    for (int i = 0; i < kNonceBytes; ++i) {
        nonce += static_cast<char>(source() & kByte);
    }
    return {nonce, utctext::of(std::time(nullptr))};
}

/// The first line of standard input.
std::string readPassword() {
    std::string password;
    for (int letter = std::getchar(); letter != EOF && letter != '\n'; letter = std::getchar()) {
        password += static_cast<char>(letter);
    }
    return password;
}

bool print(const OnvifQuery::Outcome& outcome) {
    if (!outcome.failure.empty()) {
        fmt::print("    {}\n", printable(outcome.failure));
        return false;
    }
    if (!outcome.snapshotUri.empty()) {
        fmt::print("    snapshot {}\n", printable(outcome.snapshotUri));
    }
    if (!outcome.streamUri.empty()) {
        fmt::print("    stream   {}\n", printable(outcome.streamUri));
    }
    return true;
}

/// Asks one camera and waits for its answers.
bool query(HttpClient& http, const std::string& address,
           const std::optional<OnvifCredentials>& credentials) {
    bool hasPictures = false;
    OnvifQuery query({http, &stamp, credentials}, address, [&](const OnvifQuery::Outcome& outcome) {
        hasPictures = print(outcome);
        QCoreApplication::quit();
    });
    QTimer::singleShot(0, [&query] { query.start(); });
    QCoreApplication::exec();
    return hasPictures;
}

int findAll(HttpClient& http) {
    const auto found = CameraFinder::find({});
    if (!found) {
        fmt::print(stderr, "ovelo-findcam: {}\n", found.error());
        return EXIT_FAILURE;
    }
    if (found.value().empty()) {
        fmt::print(stderr, "ovelo-findcam: no camera has answered\n");
        return EXIT_FAILURE;
    }
    for (const FoundCamera& camera : found.value()) {
        fmt::print("{} {}\n", printable(camera.addresses.front()), printable(camera.name));
        query(http, camera.addresses.front(), std::nullopt);
    }
    return EXIT_SUCCESS;
}

int run(int argc, char** argv) {
    const std::vector<std::string> arguments(argv + 1, argv + argc);
    if (arguments.size() == 1 && arguments.front() == "--help") {
        fmt::print("{}", kHelp);
        return EXIT_SUCCESS;
    }
    if (arguments.size() > 2 || (!arguments.empty() && arguments.front().starts_with('-'))) {
        fmt::print(stderr, "ovelo-findcam: wrong arguments; see ovelo-findcam --help\n");
        return EXIT_FAILURE;
    }
    const QCoreApplication application(argc, argv);
    QtHttpClient http;
    if (arguments.empty()) {
        return findAll(http);
    }
    std::optional<OnvifCredentials> credentials;
    if (arguments.size() == 2) {
        credentials = OnvifCredentials{arguments.back(), readPassword()};
    }
    fmt::print("{}\n", arguments.front());
    return query(http, arguments.front(), credentials) ? EXIT_SUCCESS : EXIT_FAILURE;
}

} // namespace

int main(int argc, char** argv) {
    try {
        return run(argc, argv);
    } catch (const std::exception& failure) {
        std::fputs("ovelo-findcam: ", stderr);
        std::fputs(failure.what(), stderr);
        std::fputs("\n", stderr);
        return EXIT_FAILURE;
    }
}
