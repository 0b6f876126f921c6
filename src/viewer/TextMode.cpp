#include "viewer/TextMode.h"

#include "viewer/ServerVersion.h"

#include <fmt/format.h>

#include <algorithm>
#include <ostream>
#include <string_view>
#include <utility>
#include <variant>

namespace ovelo {

namespace {

constexpr std::chrono::milliseconds kTurn{1000}; // of waiting for news

std::string headerText(const FrameHeader& header) {
    return fmt::format("{},{},{},{},{:d}", header.kind == BlockKind::Picture ? "Frame" : "Audio",
                       header.frameID, header.length, header.timeStamp, header.reportNeeded);
}

/// What a server says must not be able to command the terminal. Control characters are also those
/// from 80 to 9F, in UTF-8 two bytes of which the first is C2.
std::string printable(std::string_view text) {
    std::string shown;
    for (const char byte : text) {
        const auto c = static_cast<unsigned char>(byte);
        if (c >= 0x80 && c < 0xA0 && shown.ends_with('\xC2')) {
            shown.back() = '?';
        } else {
            shown.push_back(c < ' ' || c == 127 ? '?' : byte);
        }
    }
    return shown;
}

std::string listNames(const DataSourceList& list) {
    std::string names;
    for (const DataSource& source : list.video) {
        names += fmt::format("\n  {}", printable(source.name));
    }
    return names.empty() ? " none" : names;
}

} // namespace

TextMode::TextMode(ViewerArguments arguments, std::ostream& out, std::ostream& error, Ask ask)
    : arguments_(std::move(arguments))
    , out_(out)
    , error_(error)
    , ask_(std::move(ask))
    , client_(arguments_.connection()) {
    if (arguments_.save) {
        files_.emplace(*arguments_.save, arguments_.frames.value_or(1));
    }
    client_.setDelay(arguments_.delay);
    if (arguments_.frameRate) {
        client_.setFrameRate(*arguments_.frameRate);
    }
}

ViewerExit TextMode::run() {
    if (arguments_.saveSound) {
        sound_.emplace(*arguments_.saveSound, arguments_.seconds, createDecoder_);
    }
    if (const auto failure = client_.connect()) {
        finish(ViewerExit::Failed, fmt::format("cannot connect to {}:{}: {}", arguments_.host,
                                               arguments_.port, failure->text));
    }
    deadline_ = Clock::now() + arguments_.timeout;
    while (!exit_) {
        sendTyped();
        if (auto event = client_.next(turn())) {
            std::visit([this](const auto& what) { handle(what); }, *event);
        } else if (mayTimeOut() && Clock::now() >= deadline_) {
            finish(ViewerExit::Failed, fmt::format("no {} came within the time allowed",
                                                   arguments_.listRecordings ? "list of recordings"
                                                   : sound_                  ? "sound"
                                                                             : "picture"));
        }
    }
    return *exit_;
}

void TextMode::handle(const GreetingEvent& event) {
    print(event.line);
    if (!event.passwordNeeded) {
        begin(true);
    } else if (!arguments_.password) { // else the client has sent it already
        providePassword();
    }
}

void TextMode::providePassword() {
    const auto password = ask_ ? ask_() : std::nullopt;
    if (!password) {
        finish(ViewerExit::Password, "the server asks for a password; give one with --password");
    } else if (!client_.sendPassword(*password)) {
        finish(ViewerExit::Password, "the password cannot be sent");
    }
    deadline_ = Clock::now() + arguments_.timeout;
}

void TextMode::handle(const AuthenticationEvent& event) {
    print(event.line);
    if (!event.accepted && !client_.isOpen()) {
        finish(ViewerExit::Password, "the server refuses the password");
    } else if (event.accepted && !begun_) {
        begin(false);
    } // else the answer to a password that the user typed as a command
}

/// The session is open: asks for what the user wants to see.
///
/// started  pictures come without asking; asking would end what another viewer plays back
void TextMode::begin(bool started) {
    begun_ = true;
    for (const std::string& line : arguments_.send) {
        if (!client_.sendLine(line)) {
            finish(ViewerExit::Failed, fmt::format("cannot send the line \"{}\"", line));
            return;
        }
    }
    askFor(started);
    if (arguments_.text && input_ >= 0) {
        typing_.emplace(input_, [this](const std::string& line) {
            const std::lock_guard lock(typedLock_);
            typed_.push_back(line);
            client_.interrupt();
        });
    }
}

void TextMode::askFor(bool started) {
    if (arguments_.play) {
        client_.playback(*arguments_.play);
    }
    if (arguments_.record) {
        client_.record(true);
    }
    // Its answer also tells that the playback has begun: commands are carried out one by one.
    client_.getSources(sound_ ? "AAC" : "");
    if (sound_) {
        client_.setSound(true);
    }
    if (arguments_.listRecordings) {
        client_.getRecorded();
    } else if (!arguments_.source && !arguments_.play && !started) {
        client_.start();
    }
}

void TextMode::sendTyped() {
    std::vector<std::string> lines;
    {
        const std::lock_guard lock(typedLock_);
        lines.swap(typed_);
    }
    for (const std::string& line : lines) {
        if (!client_.sendLine(line)) {
            error_ << fmt::format("ovelo-viewer: cannot send the line \"{}\"", line) << std::endl;
        }
    }
}

void TextMode::handle(const TextEvent& event) {
    print(event.line);
    if (const auto list = DataSourceList::parse(event.line)) {
        playbackBegun_ = true;
        chooseSource(*list);
    } else if (const auto recordings = RecordingList::parse(event.line)) {
        listRecordings(*recordings);
    } else if (isPlaybackDone(event.line) && arguments_.play) {
        finish(ViewerExit::Done);
    } else if (sound_) {
        saveSound(sound_->handleLine(event.line));
    }
}

void TextMode::listRecordings(const RecordingList& list) {
    if (!arguments_.listRecordings) {
        return;
    }
    for (const auto& [name, date] : list.recordings) {
        const std::string_view d = date;
        out_ << fmt::format("{}-{}-{} {}:{}:{}  {}\n", d.substr(0, 4), d.substr(4, 2),
                            d.substr(6, 2), d.substr(8, 2), d.substr(10, 2), d.substr(12),
                            printable(name));
    }
    out_ << std::flush;
    finish(ViewerExit::Done);
}

void TextMode::saveSound(const std::optional<Failure>& failure) {
    if (failure) {
        finish(ViewerExit::Failed, printable(failure->text));
    } else if (sound_->complete()) {
        if (!arguments_.text) {
            out_ << fmt::format("{}: {:.3f} s\n", arguments_.saveSound->string(), sound_->written())
                 << std::flush;
        }
        finish(ViewerExit::Done);
    }
}

void TextMode::chooseSource(const DataSourceList& list) {
    if (!arguments_.source || sourceChosen_) {
        return;
    }
    sourceChosen_ = true;
    if (list.findVideo(*arguments_.source) == nullptr) {
        finish(ViewerExit::Failed, fmt::format("the server has no camera named \"{}\"; it has:{}",
                                               *arguments_.source, listNames(list)));
        return;
    }
    client_.start(list.choice(*arguments_.source));
}

void TextMode::handle(const ViewerBlock& block) {
    print(headerText(block.header));
    // A server without a password streams at once: before the chosen source is asked for, it shows
    // another.
    const bool wanted = arguments_.play ? playbackBegun_ : !arguments_.source || sourceChosen_;
    if (block.header.kind == BlockKind::Sound && sound_) {
        deadline_ = Clock::now() + arguments_.timeout;
        saveSound(sound_->handleBlock(block));
    } else if (block.header.kind == BlockKind::Picture && wanted && !block.bytes.empty()) {
        countPicture(block);
    }
}

void TextMode::countPicture(const ViewerBlock& block) {
    if (!sound_) { // which is waited for else
        deadline_ = Clock::now() + arguments_.timeout;
    }
    ++pictures_;
    if (files_) {
        savePicture(block);
    } else if (arguments_.frames && pictures_ >= *arguments_.frames) {
        finish(ViewerExit::Done);
    }
}

void TextMode::savePicture(const ViewerBlock& block) {
    const auto name = files_->nextName();
    if (const auto failure = files_->write(block.bytes)) {
        finish(ViewerExit::Failed, failure->text);
        return;
    }
    if (!arguments_.text) {
        out_ << fmt::format("{}: {} bytes\n", name.string(), block.bytes.size()) << std::flush;
    }
    if (files_->complete()) {
        finish(ViewerExit::Done);
    }
}

void TextMode::handle(const LostEvent& event) {
    finish(ViewerExit::Failed, fmt::format("connection to {}:{} lost: {}", arguments_.host,
                                           arguments_.port, printable(event.reason)));
}

/// Text mode alone goes on as long as the server lives: a camera may be off for a while.
bool TextMode::mayTimeOut() const {
    return files_ || arguments_.frames || sound_ || arguments_.listRecordings || !client_.isOpen();
}

std::chrono::milliseconds TextMode::turn() const {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline_ - Clock::now());
    return mayTimeOut() ? std::clamp(left, std::chrono::milliseconds(0), kTurn) : kTurn;
}

void TextMode::print(const std::string& line) {
    if (arguments_.text) {
        out_ << printable(line) << '\n' << std::flush;
    }
}

void TextMode::finish(ViewerExit exit, const std::string& problem) {
    if (exit_) {
        return; // the first reason counts
    }
    exit_ = exit;
    if (arguments_.record) {
        client_.record(false);
    }
    if (!problem.empty()) {
        error_ << "ovelo-viewer: " << problem << std::endl;
    }
}

} // namespace ovelo
