#include "ipcam/MultipartStream.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

namespace ovelo {
namespace {

using Strings = std::vector<std::string>;

/// What a stream consists of, however it is cut.
struct Seen {
    Strings types;  // of the parts
    Strings bodies; // as many
    std::string failure;

    friend bool operator==(const Seen&, const Seen&) = default;
};

Seen split(const std::string& boundary, const std::string& stream, std::size_t step) {
    Seen seen;
    MultipartStream parts(boundary, {[&](const HttpResponse& response) {
                                         seen.types.push_back(response.header("content-type"));
                                         seen.bodies.emplace_back();
                                     },
                                     [&](std::string_view bytes) { seen.bodies.back() += bytes; }});
    for (std::size_t at = 0; at < stream.size() && seen.failure.empty(); at += step) {
        if (const auto failure = parts.feed(std::string_view(stream).substr(at, step))) {
            seen.failure = failure->text;
        }
    }
    return seen;
}

/// Checks that the cut makes no difference.
Seen split(const std::string& boundary, const std::string& stream) {
    Seen whole = split(boundary, stream, std::max<std::size_t>(stream.size(), 1));
    for (const std::size_t step : {1U, 2U, 3U, 7U, 64U}) {
        EXPECT_EQ(split(boundary, stream, step).bodies, whole.bodies) << "in steps of " << step;
        EXPECT_EQ(split(boundary, stream, step).types, whole.types) << "in steps of " << step;
    }
    return whole;
}

TEST(MultipartStreamTest, SplitsPartsAtBoundaryLines) {
    const Seen seen = split("b", "--b\r\nContent-Type: image/jpeg\r\n\r\none\r\n"
                                 "--b\r\nContent-Type: text/plain\r\n\r\ntwo\r\n--b\r\n");

    EXPECT_EQ(seen.types, (Strings{"image/jpeg", "text/plain"}));
    EXPECT_EQ(seen.bodies, (Strings{"one", "two"}));
}

TEST(MultipartStreamTest, BareLineFeedsEndLinesToo) {
    const Seen seen = split("b", "--b\nContent-Type: image/jpeg\n\none\n--b\n\ntwo\n--b\n");

    EXPECT_EQ(seen.types, (Strings{"image/jpeg", ""}));
    EXPECT_EQ(seen.bodies, (Strings{"one", "two"}));
}

TEST(MultipartStreamTest, PreambleIsNoPart) {
    const Seen seen = split("b", "Hello\r\nthis is not --b\r\n\r\n--b\r\n\r\none\r\n--b\r\n");

    EXPECT_EQ(seen.bodies, (Strings{"one"}));
}

TEST(MultipartStreamTest, HyphensMayBePartOfTheBoundary) {
    EXPECT_EQ(split("--b", "--b\r\n\r\none\r\n--b\r\n\r\ntwo\r\n--b\r\n").bodies,
              (Strings{"one", "two"}));
    EXPECT_EQ(split("--b", "----b\r\n\r\none\r\n----b\r\n\r\ntwo\r\n----b\r\n").bodies,
              (Strings{"one", "two"}));
}

TEST(MultipartStreamTest, HyphensMayBeMissingInTheStream) {
    EXPECT_EQ(split("b", "b\r\n\r\none\r\nb\r\n\r\ntwo\r\nb\r\n").bodies, (Strings{"one", "two"}));
}

TEST(MultipartStreamTest, TheFirstBoundaryLineSaysHowTheOthersLook) {
    EXPECT_EQ(split("b", "--b\r\n\r\none\r\nb\r\nmore\r\n--b\r\n").bodies,
              (Strings{"one\r\nb\r\nmore"}));
}

TEST(MultipartStreamTest, BlanksMayFollowTheBoundary) {
    EXPECT_EQ(split("b", "--b \t\r\n\r\none\r\n--b  \r\n").bodies, (Strings{"one"}));
}

TEST(MultipartStreamTest, ALongerWordIsNoBoundary) {
    EXPECT_EQ(split("b", "--b\r\n\r\none\r\n--bc\r\n--b c\r\n--b-\r\n--b\r\n").bodies,
              (Strings{"one\r\n--bc\r\n--b c\r\n--b-"}));
}

TEST(MultipartStreamTest, BoundaryTextAmidALineIsThePicture) {
    EXPECT_EQ(split("b", "--b\r\n\r\none--b\r\ntwo\r\n--b\r\n").bodies, (Strings{"one--b\r\ntwo"}));
}

TEST(MultipartStreamTest, LineEndsWithinABodyAreKept) {
    EXPECT_EQ(split("b", "--b\r\n\r\n\r\r\n\n\r\n\r\r\n--b\r\n").bodies,
              (Strings{"\r\r\n\n\r\n\r"}));
}

TEST(MultipartStreamTest, ClosingBoundaryEndsThePartAndWhatFollowsIsNone) {
    EXPECT_EQ(split("b", "--b\r\n\r\none\r\n--b--\r\nepilogue\r\n\r\nmore\r\n").bodies,
              (Strings{"one"}));
}

TEST(MultipartStreamTest, StreamMayGoOnBehindAClosingBoundary) {
    EXPECT_EQ(split("b", "--b\r\n\r\none\r\n--b--\r\n--b\r\n\r\ntwo\r\n--b\r\n").bodies,
              (Strings{"one", "two"}));
}

TEST(MultipartStreamTest, CountedPartMayHoldABoundary) {
    EXPECT_EQ(split("b", "--b\r\nContent-Length: 11\r\n\r\n1\r\n--b\r\n\r\n2\r\n"
                         "--b\r\ncontent-length:3\r\n\r\ntwo\r\n--b\r\n")
                  .bodies,
              (Strings{"1\r\n--b\r\n\r\n2", "two"}));
}

TEST(MultipartStreamTest, CountedPartsNeedNoLineBetweenThem) {
    EXPECT_EQ(split("b", "--b\r\nContent-Length: 3\r\n\r\none--b\r\n\r\ntwo\r\n--b\r\n").bodies,
              (Strings{"one", "two"}));
}

TEST(MultipartStreamTest, CountedPartMayBeEmpty) {
    EXPECT_EQ(split("b", "--b\r\nContent-Length: 0\r\n\r\n\r\n--b\r\n\r\ntwo\r\n--b\r\n").bodies,
              (Strings{"", "two"}));
}

TEST(MultipartStreamTest, ACameraThatCountsWronglyIsNotBelievedAnyMore) {
    const std::string part = "--b\r\nContent-Length: 2\r\n\r\nthree\r\n";

    EXPECT_EQ(split("b", part + part + part + "--b\r\n").bodies, (Strings{"th", "three", "three"}));
}

TEST(MultipartStreamTest, LengthThatIsNoNumberIsNone) {
    for (const std::string length : {"many", "-1", "3x", "99999999999999999999999", ""}) {
        EXPECT_EQ(split("b", "--b\r\nContent-Length: " + length + "\r\n\r\none\r\n--b\r\n").bodies,
                  (Strings{"one"}))
            << length;
    }
}

TEST(MultipartStreamTest, PartMayHaveNoHeaders) {
    EXPECT_EQ(split("b", "--b\r\n\r\none\r\n--b\r\n").types, (Strings{""}));
}

TEST(MultipartStreamTest, BodyMayBeEmpty) {
    EXPECT_EQ(split("b", "--b\r\n\r\n--b\r\n\r\n\r\n--b\r\n").bodies, (Strings{"", ""}));
}

TEST(MultipartStreamTest, FoldedHeaderIsOne) {
    EXPECT_EQ(split("b", "--b\r\n ?\r\nno header\r\nContent-Type:\r\n\timage/jpeg \r\n\r\n").types,
              (Strings{" image/jpeg"}));
}

TEST(MultipartStreamTest, EndlessHeadersAreAFailure) {
    std::string lines = "--b\r\n";
    while (lines.size() < 2 * MultipartStream::kMaxHeaderBytes) {
        lines += "X-Header: value\r\n";
    }
    EXPECT_EQ(split("b", lines).failure, "the headers of a part do not end");
    EXPECT_EQ(
        split("b", "--b\r\n" + std::string(2 * MultipartStream::kMaxHeaderBytes, 'x'), 100).failure,
        "the headers of a part do not end");
}

TEST(MultipartStreamTest, ABodyIsHandedOnAsItComes) {
    std::size_t received = 0;
    MultipartStream parts("b", {[](const HttpResponse&) {},
                                [&](std::string_view bytes) { received += bytes.size(); }});
    parts.feed("--b\r\n\r\n");
    const std::string megabyte(1'000'000, '\n');
    for (int i = 1; i <= 3; ++i) {
        parts.feed(megabyte);
        EXPECT_GT(received + 100, megabyte.size() * static_cast<std::size_t>(i));
    }
}

TEST(MultipartStreamTest, LargePiecesAreSplitToo) {
    const std::string body(100'000, '-');
    std::string stream;
    for (int i = 0; i < 5; ++i) {
        stream += "--b\r\n\r\n" + body + "\r\n";
    }
    EXPECT_EQ(split("b", stream + "--b\r\n", stream.size() + 5).bodies, Strings(5, body));
}

TEST(MultipartStreamBoundaryTest, IsFoundInEveryLegalForm) {
    const auto boundary = [](const std::string& parameters) {
        return MultipartStream::boundaryOf("multipart/x-mixed-replace" + parameters)
            .value_or("none");
    };
    EXPECT_EQ(boundary(";boundary=abc"), "abc");
    EXPECT_EQ(boundary("; Boundary=abc"), "abc");
    EXPECT_EQ(boundary("; boundary=abc ; charset=x"), "abc");
    EXPECT_EQ(boundary("; charset=x; boundary=--abc"), "--abc");
    EXPECT_EQ(boundary(R"(; boundary="a b;c")"), "a b;c");
    EXPECT_EQ(boundary(R"(; boundary="a\"b"; x)"), "a\"b");
    EXPECT_EQ(boundary("; boundary= abc"), "abc");
}

TEST(MultipartStreamBoundaryTest, MayBeMissing) {
    EXPECT_FALSE(MultipartStream::boundaryOf("multipart/x-mixed-replace"));
    EXPECT_FALSE(MultipartStream::boundaryOf("multipart/x-mixed-replace; boundary="));
    EXPECT_FALSE(MultipartStream::boundaryOf("multipart/x-mixed-replace; boundary=\"\""));
    EXPECT_FALSE(MultipartStream::boundaryOf("multipart/x-mixed-replace; boundary=" +
                                             std::string(MultipartStream::kMaxBoundary + 1, 'x')));
}

} // namespace
} // namespace ovelo
