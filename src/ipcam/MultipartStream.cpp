#include "ipcam/MultipartStream.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <utility>

namespace ovelo {

namespace {

constexpr std::size_t kMaxPadding = 64; // blanks behind a boundary
constexpr int kOk = 200;

bool isBlank(char letter) {
    return letter == ' ' || letter == '\t';
}

std::string_view trimmed(std::string_view text) {
    while (!text.empty() && (isBlank(text.front()) || text.front() == '\r')) {
        text.remove_prefix(1);
    }
    while (!text.empty() && (isBlank(text.back()) || text.back() == '\r')) {
        text.remove_suffix(1);
    }
    return text;
}

std::optional<std::uint64_t> numberIn(std::string_view text) {
    std::uint64_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || end != text.data() + text.size()) {
        return std::nullopt;
    }
    return number;
}

/// The text of a quoted value, behind its opening mark.
std::string unquoted(std::string_view text) {
    std::string value;
    for (std::size_t i = 0; i < text.size() && text[i] != '"'; ++i) {
        if (text[i] == '\\' && i + 1 < text.size()) {
            ++i;
        }
        value += text[i];
    }
    return value;
}

} // namespace

std::optional<std::string> MultipartStream::boundaryOf(std::string_view contentType) {
    constexpr std::string_view kName = "boundary=";
    const auto found = std::search(
        contentType.begin(), contentType.end(), kName.begin(), kName.end(),
        [](unsigned char letter, unsigned char wanted) { return std::tolower(letter) == wanted; });
    if (found == contentType.end()) {
        return std::nullopt;
    }
    const auto at = static_cast<std::size_t>(found - contentType.begin()) + kName.size();
    const std::string_view rest = trimmed(contentType.substr(at));
    std::string boundary = rest.starts_with('"')
                               ? unquoted(rest.substr(1))
                               : std::string(trimmed(rest.substr(0, rest.find_first_of(";,"))));
    if (boundary.empty() || boundary.size() > kMaxBoundary) {
        return std::nullopt;
    }
    return boundary;
}

MultipartStream::MultipartStream(std::string boundary, Receiver receiver)
    : receiver_(std::move(receiver))
    , full_("--" + boundary)
    , plain_(std::move(boundary)) {
}

std::optional<Failure> MultipartStream::feed(std::string_view bytes) {
    // A large piece is taken in bites, so that little is kept and moved.
    constexpr std::size_t kBite = kMaxHeaderBytes;
    for (; !bytes.empty() && state_ != State::Broken;
         bytes.remove_prefix(std::min(kBite, bytes.size()))) {
        kept_ += bytes.substr(0, kBite);
        while (step()) {
        }
    }
    if (state_ == State::Broken) {
        kept_.clear();
        return Failure{"the headers of a part do not end"};
    }
    return std::nullopt;
}

/// return  false when more bytes are needed
bool MultipartStream::step() {
    switch (state_) {
    case State::Outside:
        return skipLine();
    case State::Headers:
        return readHeader();
    case State::Counted:
        return passOnCounted();
    case State::Uncounted:
        return passOnUncounted();
    case State::Broken:
        break;
    }
    return false;
}

bool MultipartStream::skipLine() {
    if (isAtLineStart_) {
        const LineMatch line = boundaryAt(0);
        if (line.kind == Match::Perhaps) {
            return false;
        }
        if (line.kind != Match::No) {
            settleForm();
            enter(line);
            return true;
        }
    }
    const auto end = kept_.find('\n');
    const std::string_view line = trimmed(std::string_view(kept_).substr(0, end));
    // Only the end of the part's last line stands between it and the boundary.
    if (followsCounted_ && !line.empty()) {
        believesLengths_ = false;
        followsCounted_ = false;
    }
    isAtLineStart_ = end != std::string::npos;
    kept_.erase(0, isAtLineStart_ ? end + 1 : kept_.size());
    return !kept_.empty();
}

bool MultipartStream::readHeader() {
    const auto end = kept_.find('\n');
    if (end == std::string::npos) {
        if (headerBytes_ + kept_.size() > kMaxHeaderBytes) {
            state_ = State::Broken;
        }
        return false;
    }
    headerBytes_ += end + 1;
    if (headerBytes_ > kMaxHeaderBytes) {
        state_ = State::Broken;
        return false;
    }
    const std::string line = kept_.substr(0, end);
    kept_.erase(0, end + 1);
    if (trimmed(line).empty()) {
        beginBody();
    } else {
        addHeader(line);
    }
    return true;
}

void MultipartStream::addHeader(std::string_view line) {
    if (isBlank(line.front()) && !response_.headers.empty()) { // the former one goes on
        response_.headers.back().value += " " + std::string(trimmed(line));
        return;
    }
    const auto colon = line.find(':');
    if (colon != std::string_view::npos) {
        response_.headers.push_back({std::string(trimmed(line.substr(0, colon))),
                                     std::string(trimmed(line.substr(colon + 1)))});
    }
}

void MultipartStream::beginBody() {
    response_.status = kOk;
    const auto length = numberIn(response_.header("Content-Length"));
    state_ = length && believesLengths_ ? State::Counted : State::Uncounted;
    left_ = length.value_or(0);
    isAtLineStart_ = true;
    receiver_.didReceiveResponse(response_);
}

bool MultipartStream::passOnCounted() {
    const auto size = static_cast<std::size_t>(std::min<std::uint64_t>(left_, kept_.size()));
    left_ -= size;
    passOn(size);
    if (left_ > 0) {
        return false;
    }
    state_ = State::Outside;
    isAtLineStart_ = true;
    followsCounted_ = true;
    return !kept_.empty();
}

bool MultipartStream::passOnUncounted() {
    std::size_t at = 0;  // where a line begins
    std::size_t end = 0; // where the body ends if that line is a boundary
    if (!isAtLineStart_ || boundaryAt(0).kind == Match::No) {
        isAtLineStart_ = false;
        const auto lineEnd = [&](std::size_t from) { return kept_.find('\n', from); };
        std::size_t found = lineEnd(0);
        while (found != std::string::npos && boundaryAt(found + 1).kind == Match::No) {
            found = lineEnd(found + 1);
        }
        if (found == std::string::npos) {
            // A CR may belong to the line end before a boundary.
            passOn(kept_.size() - (kept_.ends_with('\r') ? 1 : 0));
            return false;
        }
        at = found + 1;
        end = found > 0 && kept_[found - 1] == '\r' ? found - 1 : found;
    }
    const LineMatch line = boundaryAt(at);
    passOn(end);
    if (line.kind == Match::Perhaps) {
        return false;
    }
    kept_.erase(0, at - end);
    enter(line);
    return true;
}

void MultipartStream::passOn(std::size_t size) {
    if (size > 0) {
        receiver_.didReceiveData(std::string_view(kept_).substr(0, size));
        kept_.erase(0, size);
    }
}

/// Goes past a boundary line, with which `kept_` begins.
void MultipartStream::enter(const LineMatch& line) {
    kept_.erase(0, line.length);
    state_ = line.kind == Match::Boundary ? State::Headers : State::Outside;
    response_ = {};
    headerBytes_ = 0;
    isAtLineStart_ = true;
    followsCounted_ = false;
}

MultipartStream::LineMatch MultipartStream::boundaryAt(std::size_t at) const {
    if (!mark_.empty()) {
        return boundaryAt(at, mark_);
    }
    const LineMatch full = boundaryAt(at, full_);
    return full.kind == Match::No ? boundaryAt(at, plain_) : full;
}

MultipartStream::LineMatch MultipartStream::boundaryAt(std::size_t at,
                                                       std::string_view mark) const {
    const std::string_view text = std::string_view(kept_).substr(at);
    if (text.size() < mark.size()) {
        return {mark.starts_with(text) ? Match::Perhaps : Match::No, 0};
    }
    if (!text.starts_with(mark)) {
        return {};
    }
    std::size_t i = mark.size();
    Match kind = Match::Boundary;
    if (text.substr(i, 2) == "--") {
        kind = Match::Closing;
        i += 2;
    } else if (text.substr(i) == "-") {
        return {Match::Perhaps, 0};
    }
    const std::size_t limit = i + kMaxPadding;
    while (i < std::min(text.size(), limit) && isBlank(text[i])) {
        ++i;
    }
    i += i < text.size() && text[i] == '\r' ? 1 : 0;
    if (i == text.size()) {
        return {Match::Perhaps, 0};
    }
    return text[i] == '\n' ? LineMatch{kind, i + 1} : LineMatch{};
}

/// `kept_` begins with a boundary line.
void MultipartStream::settleForm() {
    if (mark_.empty()) {
        mark_ = boundaryAt(0, full_).kind == Match::No ? plain_ : full_;
    }
}

} // namespace ovelo
