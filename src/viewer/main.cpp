#include "platform/Jpeg.h"
#include "platform/SoundDecoder.h"
#include "viewer/PasswordPrompt.h"
#include "viewer/ServerFinder.h"
#include "viewer/TextMode.h"
#include "viewer/ViewerArguments.h"
#include "viewer/ViewerWindow.h"

#include <QApplication>
#include <QIcon>

#include <unistd.h>

#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <iostream>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace {

using ovelo::ViewerArguments;
using ovelo::ViewerExit;

int fail(ViewerExit exit, const std::string& problem) {
    std::cerr << "ovelo-viewer: " << problem << std::endl;
    return static_cast<int>(exit);
}

bool isSet(const char* variable) {
    const char* value = std::getenv(variable);
    return value != nullptr && *value != '\0';
}

/// Whether a window would be seen. A platform that draws elsewhere may have been asked for by name.
bool hasDisplay() {
    if (isSet("DISPLAY") || isSet("WAYLAND_DISPLAY")) {
        return true;
    }
    const char* platform = std::getenv("QT_QPA_PLATFORM");
    const std::string_view name = platform == nullptr ? "" : platform;
    return !name.empty() && !name.starts_with("offscreen") && !name.starts_with("minimal") &&
           !name.starts_with("xcb") && !name.starts_with("wayland");
}

/// Fills in the only server of the local network.
///
/// return  why there is not exactly one; empty when there is
std::string findServer(ViewerArguments& arguments) {
    const auto found = ovelo::ServerFinder().find({});
    if (!found) {
        return found.error() + "; name a host";
    }
    if (found.value().empty()) {
        return "no server was found on the local network; name a host";
    }
    if (found.value().size() > 1) {
        std::string text = "several servers were found on the local network; name one:";
        for (const auto& server : found.value()) {
            text += "\n  " + server.host + ":" + std::to_string(server.port) + "  (" + server.name +
                    ")";
        }
        return text;
    }
    arguments.host = found.value().front().host;
    arguments.port = found.value().front().port;
    return {};
}

int runText(ViewerArguments arguments) {
    if (arguments.host.empty()) {
        if (const auto problem = findServer(arguments); !problem.empty()) {
            return fail(ViewerExit::Failed, problem);
        }
    }
    const auto ask = [&] { return ovelo::askPassword("Password of " + arguments.host + ": "); };
    ovelo::TextMode mode(arguments, std::cout, std::cerr, ask);
    mode.readCommandsFrom(STDIN_FILENO);
    mode.decodeWith(&ovelo::SoundDecoder::createAac);
    return static_cast<int>(mode.run());
}

int runWindow(const ViewerArguments& arguments, int argc, char** argv) {
    if (!hasDisplay()) {
        return fail(ViewerExit::Failed,
                    "there is no display for a window; use --text or --save FILE");
    }
    QApplication application(argc, argv);
    std::setlocale(LC_NUMERIC, "C"); // Qt has set the user's
    QApplication::setApplicationName(QStringLiteral("ovelo-viewer"));
    QApplication::setWindowIcon(QIcon::fromTheme(QStringLiteral("ovelo")));
    ovelo::ViewerWindow window(arguments);
    window.show();
    window.begin();
    return QApplication::exec();
}

int run(int argc, char** argv) {
    const auto parsed = ViewerArguments::parse(std::vector<std::string>(argv + 1, argv + argc));
    if (!parsed) {
        return fail(ViewerExit::Usage, parsed.error());
    }
    ViewerArguments arguments = parsed.value();
    if (arguments.help) {
        std::cout << ViewerArguments::usage();
        return static_cast<int>(ViewerExit::Done);
    }
    if (arguments.version) {
        std::cout << "ovelo-viewer " OVELO_VERSION "\n";
        return static_cast<int>(ViewerExit::Done);
    }
    arguments.isWholePicture = [](std::span<const std::uint8_t> picture) {
        return static_cast<bool>(ovelo::jpeg::decode(picture));
    };
    return arguments.isTextual() ? runText(std::move(arguments)) : runWindow(arguments, argc, argv);
}

} // namespace

int main(int argc, char** argv) {
    try {
        return run(argc, argv);
    } catch (const std::exception& failure) { // no memory
        std::fprintf(stderr, "ovelo-viewer: %s\n", failure.what());
        return EXIT_FAILURE;
    }
}
