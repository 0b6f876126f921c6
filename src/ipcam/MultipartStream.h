#pragma once

#include "platform/HttpClient.h"
#include "platform/Result.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace ovelo {

/// Cuts an endless multipart reply into its parts, as the bytes come.
///
/// A boundary line is two hyphens and the boundary; cameras that name the hyphens as a part of the
/// boundary, or leave them out of the stream, are understood too: the form of the first boundary line
/// is that of all. Lines end in CR LF or LF. What stands before the first boundary line, after a
/// closing one, or after a part whose Content-Length is over, is no part's.
///
/// Within a part that tells its Content-Length a boundary is not looked for. When no boundary line
/// follows such a part the camera counts wrongly, and its lengths are not believed any more.
///
/// Keeps at most kMaxHeaderBytes at a time: a part's body is handed on as it comes.
///
/// thread  one
class MultipartStream final {
public:
    static constexpr std::size_t kMaxHeaderBytes = 16'384; // of one part, or of one line

    struct Receiver {
        /// The headers of a part; the former part is complete.
        std::function<void(const HttpResponse& response)> didReceiveResponse;

        /// A piece of the part's body.
        std::function<void(std::string_view bytes)> didReceiveData;
    };

    /// The boundary of a "Content-Type" header, without the quotation marks that may be around it.
    ///
    /// return  nothing without one, or with one longer than kMaxBoundary
    static std::optional<std::string> boundaryOf(std::string_view contentType);
    static constexpr std::size_t kMaxBoundary = 200;

    /// receiver  neither of its functions is empty; they do not end the stream object
    MultipartStream(std::string boundary, Receiver receiver);

    /// Takes the next bytes of the reply.
    ///
    /// return  why this is no stream of parts, after which it takes no more; nothing when all is well
    std::optional<Failure> feed(std::string_view bytes);

private:
    enum class State : std::uint8_t { Outside, Headers, Counted, Uncounted, Broken };
    enum class Match : std::uint8_t { No, Perhaps, Boundary, Closing };

    /// What a text begins with: perhaps a boundary line, when it ends too early to tell.
    struct LineMatch {
        Match kind = Match::No;
        std::size_t length = 0; // of a whole line, with its end
    };

    bool step();
    bool skipLine();
    bool readHeader();
    bool passOnCounted();
    bool passOnUncounted();
    void beginBody();
    void passOn(std::size_t size);
    void enter(const LineMatch& line);
    void addHeader(std::string_view line);
    [[nodiscard]] LineMatch boundaryAt(std::size_t at) const;
    [[nodiscard]] LineMatch boundaryAt(std::size_t at, std::string_view mark) const;
    void settleForm();

    const Receiver receiver_;
    const std::string full_;  // the boundary line as it should be
    const std::string plain_; // and as the header names it
    std::string mark_;        // the one of both that this camera sends; empty before the first

    State state_ = State::Outside;
    std::string kept_;            // bytes that could not be understood without the next ones
    bool isAtLineStart_ = true;   // `kept_` begins a line
    bool followsCounted_ = false; // no line since the end of a counted part
    bool believesLengths_ = true;
    HttpResponse response_; // of the part whose headers are being read
    std::size_t headerBytes_ = 0;
    std::uint64_t left_ = 0; // of a counted part
};

} // namespace ovelo
