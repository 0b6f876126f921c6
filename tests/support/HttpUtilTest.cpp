#include "support/HttpUtil.h"

#include <gtest/gtest.h>

#include <string>

namespace ovelo {
namespace {

const std::string kUrl = "http://watch.example.org/P2P/MatchWS.aspx";
const std::string kOpening = "--0xKhTmLbOuNdArY\r\n";
const std::string kClosing = "--0xKhTmLbOuNdArY--\r\n";

Data bytes(std::string_view text) {
    return makeData(Bytes(text.begin(), text.end()));
}

/// Everything of a form's request but its body.
void expectFormHead(const HttpRequest& request, const std::string& boundary) {
    EXPECT_EQ(request.method, "POST");
    EXPECT_EQ(request.url, kUrl);
    ASSERT_EQ(request.headers.size(), 1U);
    EXPECT_EQ(request.headers[0].name, "Content-Type");
    EXPECT_EQ(request.headers[0].value, "multipart/form-data; boundary=" + boundary);
    EXPECT_FALSE(request.reloadIgnoringCache);
    EXPECT_FALSE(request.followRedirects);
    EXPECT_EQ(request.timeout, HttpRequest{}.timeout);
}

TEST(HttpUtilTest, GetRequestAsksForAFreshCopyWithinAMinuteAndAddsNoHeader) {
    const HttpRequest request = HttpUtil::createGetUrlRequest("http://10.0.0.5/picture.jpg?a=b c");

    EXPECT_EQ(request.method, "GET");
    EXPECT_EQ(request.url, "http://10.0.0.5/picture.jpg?a=b c");
    EXPECT_TRUE(request.reloadIgnoringCache);
    EXPECT_EQ(request.timeout, std::chrono::seconds(60));
    EXPECT_TRUE(request.headers.empty());
    EXPECT_EQ(request.body, "");
}

TEST(HttpUtilTest, StartOfAFormIsReturnedSeparatelyAndEndsWithAnOpeningBoundary) {
    std::string body = "left from before";

    const HttpRequest request =
        HttpUtil::createPostUrlRequest(kUrl, {{"b", "2"}, {"a", "1"}}, "edge", body);

    expectFormHead(request, "edge");
    EXPECT_EQ(request.body, "");
    EXPECT_EQ(body, "--edge\r\n"
                    "Content-Disposition: form-data; name=\"b\"\r\n\r\n2\r\n--edge\r\n"
                    "Content-Disposition: form-data; name=\"a\"\r\n\r\n1\r\n--edge\r\n");
}

TEST(HttpUtilTest, FormWithTwoFieldsHoldsThemInTheGivenOrder) {
    const HttpRequest request = HttpUtil::createFormRequest(kUrl, {{"a", "1"}, {"b", "2"}});

    expectFormHead(request, "0xKhTmLbOuNdArY");
    EXPECT_EQ(request.body, "--0xKhTmLbOuNdArY\r\n"
                            "Content-Disposition: form-data; name=\"a\"\r\n\r\n"
                            "1\r\n"
                            "--0xKhTmLbOuNdArY\r\n"
                            "Content-Disposition: form-data; name=\"b\"\r\n\r\n"
                            "2\r\n"
                            "--0xKhTmLbOuNdArY\r\n");
}

TEST(HttpUtilTest, FormWithoutFieldsAndFileIsOneOpeningBoundary) {
    const HttpRequest request = HttpUtil::createFormRequest(kUrl, {});

    expectFormHead(request, "0xKhTmLbOuNdArY");
    EXPECT_EQ(request.body, kOpening);
}

TEST(HttpUtilTest, FormWithAFileEndsWithTheClosingBoundary) {
    const HttpRequest request =
        HttpUtil::createFormRequest(kUrl, {{"a", "1"}}, bytes("JPEG"), "shot.jpg");

    EXPECT_EQ(request.body, kOpening + "Content-Disposition: form-data; name=\"a\"\r\n\r\n1\r\n" +
                                kOpening +
                                "Content-Disposition: Attachement; Filename=\"shot.jpg\"\r\n"
                                "Content-Type: application/octet-stream\r\n\r\n"
                                "JPEG\r\n" +
                                kClosing);
}

TEST(HttpUtilTest, EmptyFileIsAFileAllTheSame) {
    const HttpRequest request = HttpUtil::createFormRequest(kUrl, {}, bytes(""), "");

    EXPECT_EQ(request.body, kOpening +
                                "Content-Disposition: Attachement; Filename=\"\"\r\n"
                                "Content-Type: application/octet-stream\r\n\r\n\r\n" +
                                kClosing);
}

TEST(HttpUtilTest, FileBytesGoOutUnchangedWhateverTheyAre) {
    std::string all;
    for (int i = 0; i < 256; ++i) {
        all += static_cast<char>(i);
    }
    all += "\r\n--0xKhTmLbOuNdArY--\r\n";

    const HttpRequest request = HttpUtil::createFormRequest(kUrl, {}, bytes(all), "x");

    EXPECT_NE(request.body.find("octet-stream\r\n\r\n" + all + "\r\n" + kClosing),
              std::string::npos);
}

TEST(HttpUtilTest, FileNameWithoutAFileIsLeftOut) {
    EXPECT_EQ(HttpUtil::createFormRequest(kUrl, {}, nullptr, "x").body, kOpening);
}

TEST(HttpUtilTest, NumericValueIsWrittenAsItsDecimalText) {
    const HttpRequest request =
        HttpUtil::createFormRequest(kUrl, {{"badge_number", std::to_string(-17)}});

    EXPECT_NE(request.body.find("name=\"badge_number\"\r\n\r\n-17\r\n"), std::string::npos);
}

TEST(HttpUtilTest, UnusualTextsGoOutAsTheyStand) {
    const HttpUtil::Fields fields = {{"", ""},
                                     {"quotation\"mark", "line\r\nend\n"},
                                     {"schlüssel", "Привет 📷"},
                                     {"twice", "{} %@ %d"},
                                     {"twice", std::string("nul\0!", 5)}};

    const HttpRequest request = HttpUtil::createFormRequest(kUrl, fields);

    std::string expected = kOpening;
    for (const auto& [key, value] : fields) {
        expected += "Content-Disposition: form-data; name=\"" + key + "\"\r\n\r\n";
        expected += value + "\r\n" + kOpening;
    }
    EXPECT_EQ(request.body, expected);
    expectFormHead(request, "0xKhTmLbOuNdArY");
}

TEST(HttpUtilTest, SubmittedFormListsFileNamesInItsLastField) {
    const HttpRequest request =
        HttpUtil::createSubmitRequest(kUrl, {{"a", "1"}}, {"one.mov", "two.mov"});

    expectFormHead(request, "0xKhTmLbOuNdArY");
    EXPECT_EQ(request.body, kOpening + "Content-Disposition: form-data; name=\"a\"\r\n\r\n1\r\n" +
                                kOpening +
                                "Content-Disposition: form-data; name=\"file_list\"\r\n\r\n"
                                "one.mov\r\ntwo.mov\r\n\r\n" +
                                kOpening);
}

TEST(HttpUtilTest, SubmittedFormWithoutNamesHasAnEmptyList) {
    EXPECT_EQ(HttpUtil::createSubmitRequest(kUrl, {}, {}).body,
              kOpening + "Content-Disposition: form-data; name=\"file_list\"\r\n\r\n\r\n" +
                  kOpening);
}

} // namespace
} // namespace ovelo
