#pragma once

#include "alerts/EmailUtil.h"
#include "app/MyDocument.h"
#include "fakes/FakeAudioSystem.h"
#include "fakes/FakeCapture.h"
#include "fakes/FakeMailAgent.h"
#include "fakes/FakeMovieOutput.h"
#include "fakes/FakeServerParts.h"
#include "fakes/QtWait.h"
#include "fakes/TemporaryFolder.h"
#include "platform/MemorySettings.h"
#include "support/Logger.h"

#include <QObject>

#include <gtest/gtest.h>

#include <cstdlib>
#include <stdexcept>
#include <string>

namespace ovelo {

/// A document with settings in memory, two cameras and two microphones. Its server is not started.
class DocumentFixture : public ::testing::Test {
protected:
    DocumentFixture() {
        // In a home of the tests' own, one for all, for it is looked up once.
        static const TemporaryFolder home;
        ::setenv("HOME", home.path().c_str(), 1);
        devices_.add(MediaType::Video, "Front Camera");
        devices_.add(MediaType::Video, "Back Camera");
        devices_.add(MediaType::Sound, "Desk Microphone");
        devices_.add(MediaType::Sound, "Line In");
        writeFile(folder_.path() / "EmailHelp.txt", "Use an app password.");
    }

    /// Lets everything happen that waits in the event loop.
    static void settle() {
        QCoreApplication::processEvents();
        QCoreApplication::processEvents();
    }

    /// The child of this name; the test ends here when there is none.
    template <typename Widget>
    static Widget& child(const QObject& parent, const char* name) {
        auto* found = parent.findChild<Widget*>(QString::fromUtf8(name));
        if (found == nullptr) {
            throw std::runtime_error(std::string("no child is called ") + name);
        }
        return *found;
    }

    TemporaryFolder folder_;
    MemorySettings settings_;
    Logger log_{folder_.path() / "ovelo.log", settings_};
    FakeDevices devices_;
    FakeAudioSystem sound_;
    FakePrompt prompt_;
    FakeMailServer mailServer_;
    EmailUtil email_{{settings_, log_, mailServer_.factory()}};
    MyDocument document_{{
        .settings = settings_,
        .log = log_,
        .clock = Clock::system(),
        .devices = devices_,
        .sound = sound_,
        .cameras = nullptr,
        .prompt = prompt_,
        .publisher = [](const PublishedService&, ServicePublisher::Delegate&) { return nullptr; },
        .movieOutput = [] { return std::make_unique<FakeMovieOutput>(); },
        .openMovie = [](const std::filesystem::path&, const std::stop_token&)
            -> Result<std::unique_ptr<Movie>> { return Failure{"there are no movies here"}; },
        .email = email_,
        .push = [](const std::string&, const std::string&, int) {},
        .cameraList = nullptr,
        .updates = nullptr,
        .router = nullptr,
        .http = nullptr,
        .resources = folder_.path(),
    }};
};

} // namespace ovelo
