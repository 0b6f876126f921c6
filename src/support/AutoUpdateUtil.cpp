#include "support/AutoUpdateUtil.h"

#include "platform/Assert.h"
#include "platform/Numbers.h"
#include "platform/Utf8.h"
#include "support/HttpUtil.h"
#include "support/Logger.h"
#include "support/UpdateManifest.h"
#include "support/UserAlerts.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstddef>
#include <mutex>
#include <optional>
#include <utility>
#include <vector>

namespace ovelo {

namespace {

constexpr std::size_t kTracked = 4;
constexpr std::size_t kLongestVersion = 64; // that is shown; a manifest may bring any text
constexpr const char* kTryLater = "Please try again later.";

/// The single instance and what it is made of.
struct Single {
    std::mutex lock; // a leaf
    std::optional<AutoUpdateUtil::Environment> environment;
    std::unique_ptr<AutoUpdateUtil> instance;
};

Single& single() {
    static Single state;
    return state;
}

/// The digits that a part begins with, behind blanks; 0 if none.
int numberOf(std::string_view part) {
    part.remove_prefix(std::min(part.find_first_not_of(" \t"), part.size()));
    return numbers::leadingInteger(
        std::string(part.substr(0, part.find_first_not_of("0123456789"))));
}

std::vector<int> numbersOf(std::string_view version) {
    std::vector<int> parts;
    while (true) {
        const std::size_t dot = version.find('.');
        parts.push_back(numberOf(version.substr(0, dot)));
        if (dot == std::string_view::npos) {
            return parts;
        }
        version.remove_prefix(dot + 1);
    }
}

std::string shown(const std::string& version) {
    if (version.size() <= kLongestVersion) {
        return version;
    }
    std::string cut = version.substr(0, kLongestVersion);
    while (!isUtf8(cut)) {
        cut.pop_back(); // a character that was cut in two
    }
    return cut + "...";
}

} // namespace

void AutoUpdateUtil::install(Environment environment) {
    Single& state = single();
    const std::lock_guard lock(state.lock);
    state.environment.emplace(std::move(environment));
}

AutoUpdateUtil& AutoUpdateUtil::sharedInstance() {
    Single& state = single();
    const std::lock_guard lock(state.lock);
    if (!state.instance) {
        OVELO_ASSERT(state.environment.has_value(),
                     "the update check is installed before it is used");
        state.instance = std::make_unique<AutoUpdateUtil>(*state.environment);
    }
    return *state.instance;
}

void AutoUpdateUtil::deleteSharedInstance() {
    Single& state = single();
    const std::lock_guard lock(state.lock);
    state.instance.reset();
}

AutoUpdateUtil::AutoUpdateUtil(Environment environment)
    : urlConnections_(
          kTracked,
          {
              .didReceiveResponse = [this](int status,
                                           bool isOurs) { didReceiveResponse(status, isOurs); },
              .didReceiveData = [this](std::string_view text,
                                       bool isOurs) { didReceiveData(text, isOurs); },
              .didFailWithError = [this](const std::string& description,
                                         bool isOurs) { didFailWithError(description, isOurs); },
          })
    , environment_(std::move(environment)) {
}

void AutoUpdateUtil::checkForUpdate(const std::string& currentVersion,
                                    const std::string& autoUpdateUrl, bool showError) {
    if (std::exchange(inProgress_, true)) {
        return;
    }
    showError_ = showError;
    currentVersion_ = currentVersion;
    HttpRequest request = HttpUtil::createGetUrlRequest(autoUpdateUrl);
    request.followRedirects = true;
    if (!urlConnections_.start(environment_.http, request)) {
        // Kept: the check stays in progress, so that no other one is started.
        environment_.log.write("checkForUpdate: failed to create request.");
    }
}

void AutoUpdateUtil::didReceiveResponse(int status, bool isOurs) {
    ret_code_ = status;
    if (isOurs) {
        environment_.log.write(fmt::format("AutoUpdate return code: {}\n", status));
    }
    inProgress_ = false;
}

void AutoUpdateUtil::didFailWithError(const std::string& localizedDescription, bool isOurs) {
    if (!isOurs) {
        return;
    }
    environment_.log.write(fmt::format("AutoUpdate failed: {}\n", localizedDescription));
    inProgress_ = false;
    if (showError_) {
        environment_.alerts.tell("Unable to connect to update server. ", kTryLater, {});
    }
}

void AutoUpdateUtil::didReceiveData(std::string_view text, bool isOurs) {
    if (!isOurs) {
        return;
    }
    environment_.log.write(fmt::format("AutoUpdate HTTP return: <{}>\n", text));
    // Kept: a piece of a manifest counts as a whole one; those of the maker come in one piece.
    const auto manifest = UpdateManifest::parse(text);
    if (!manifest) {
        environment_.log.write(fmt::format("checkForUpdate exception: {}", manifest.error()));
        if (showError_) {
            environment_.alerts.tell("Unable to check for update. ", kTryLater, {});
        }
    } else if (compareVersion(currentVersion_, manifest.value().newest) < 0) {
        offer(manifest.value().newest, manifest.value().link);
    } else if (showError_) {
        environment_.alerts.tell("No update is available. ", "Your current version is up to date.",
                                 {});
    }
}

void AutoUpdateUtil::offer(const std::string& newest, const std::string& link) {
    environment_.alerts.ask(
        {"New Version Available! ",
         fmt::format("A new version is available for download.\n\nCurrent Version: {}\nNew "
                     "Version: {}\n",
                     currentVersion_, shown(newest)),
         "Cancel", "Download"},
        [this, link, alive = std::weak_ptr(alive_)](bool otherButtonPressed) {
            if (otherButtonPressed && !alive.expired()) {
                download(link);
            }
        });
}

void AutoUpdateUtil::download(const std::string& link) {
    if (!environment_.openUrl(link)) {
        environment_.log.write(fmt::format("AutoUpdate link not opened: <{}>\n", link));
        environment_.alerts.tell("Unable to open the download page. ", shown(link), {});
    }
}

int AutoUpdateUtil::compareVersion(std::string_view v1, std::string_view v2) {
    std::vector<int> first = numbersOf(v1);
    std::vector<int> second = numbersOf(v2);
    const std::size_t length = std::max(first.size(), second.size());
    first.resize(length, 0);
    second.resize(length, 0);
    for (std::size_t i = 0; i < length; ++i) {
        if (first[i] != second[i]) {
            return first[i] < second[i] ? -1 : 1;
        }
    }
    return 0;
}

} // namespace ovelo
