#include "support/XML/XMLDocument.h"

#include "fakes/ConsoleText.h"
#include "fakes/TemporaryFolder.h"
#include "support/XML/XMLReader.h"

#include <gtest/gtest.h>

#include <fstream>
#include <string>
#include <thread>
#include <vector>

namespace ovelo {
namespace {

constexpr const char* kPeers = "//Result/Introducer";
constexpr const char* kReply =
    R"(<?xml version="1.0" encoding="utf-8"?>
<Result>
  <Introducer gateway_ip="192.0.2.7" mapped_port="1726" note=""/>
  <!-- between -->
  <Introducer mapped_port="40000" gateway_ip="192.0.2.8"><Introducer/></Introducer>
</Result>)";

std::unique_ptr<XMLDocument> parse(const std::string& text, XMLError* error = nullptr) {
    return XMLDocument::documentWithXMLString(text.c_str(), error);
}

/// Why a text is no document; "(none)" when no reason is given.
std::string refusal(const std::string& text) {
    XMLError error;
    error.failureReason = "(none)";
    EXPECT_FALSE(parse(text, &error)) << text.substr(0, 100);
    EXPECT_EQ(error.domain, "XMLParsingErrorDomain");
    EXPECT_EQ(error.code, 0);
    return error.failureReason;
}

TEST(XMLDocumentTest, ElementsComeInDocumentOrderWithTheirAttributes) {
    const auto document = parse(kReply);
    ASSERT_TRUE(document);

    const auto peers = document->rootElement().elementsForXPath(kPeers);

    ASSERT_TRUE(peers);
    ASSERT_EQ(peers->size(), 2U);
    EXPECT_EQ((*peers)[0].attributeNamed("gateway_ip"), "192.0.2.7");
    EXPECT_EQ((*peers)[0].attributeNamed("mapped_port"), "1726");
    EXPECT_EQ((*peers)[1].attributeNamed("gateway_ip"), "192.0.2.8");
    EXPECT_EQ((*peers)[1].attributes().size(), 2U);
}

TEST(XMLDocumentTest, EmptyAttributeCountsAsAbsent) {
    const auto document = parse(kReply);
    const auto peers = document->rootElement().elementsForXPath(kPeers);

    EXPECT_EQ((*peers)[0].attributeNamed("note"), std::nullopt);
    EXPECT_EQ((*peers)[0].attributeNamed("missing"), std::nullopt);
    EXPECT_EQ((*peers)[0].attributes().size(), 2U);
}

TEST(XMLDocumentTest, EmptyRootElementHasNoPeers) {
    const auto document = parse("<Result/>");
    ASSERT_TRUE(document);

    const auto peers = document->rootElement().elementsForXPath(kPeers);

    ASSERT_TRUE(peers);
    EXPECT_TRUE(peers->empty());
}

TEST(XMLDocumentTest, RelativePathBeginsAtTheElement) {
    const auto document = parse(kReply);
    const auto peers = document->rootElement().elementsForXPath("Introducer");
    ASSERT_EQ(peers->size(), 2U);

    EXPECT_EQ((*peers)[0].elementsForXPath("Introducer")->size(), 0U);
    EXPECT_EQ((*peers)[1].elementsForXPath("Introducer")->size(), 1U);
    EXPECT_EQ((*peers)[1].elementsForXPath(kPeers)->size(), 2U) << "the whole document";
}

TEST(XMLDocumentTest, OnlyElementsAreFound) {
    const auto root = parse(kReply);

    EXPECT_TRUE(root->rootElement().elementsForXPath("//@gateway_ip")->empty());
    EXPECT_TRUE(root->rootElement().elementsForXPath("//comment()")->empty());
    EXPECT_TRUE(root->rootElement().elementsForXPath("count(//*)")->empty());
}

TEST(XMLDocumentTest, NodesAreEqualWhenTheyAreTheSame) {
    const auto document = parse(kReply);
    const auto once = document->rootElement().elementsForXPath(kPeers);
    const auto again = document->rootElement().elementsForXPath(kPeers);

    EXPECT_TRUE((*once)[0] == (*again)[0]);
    EXPECT_FALSE((*once)[0] == (*once)[1]);
}

TEST(XMLDocumentTest, BadPathIsAnErrorThatOnlyWeReport) {
    const auto document = parse("<Result/>");
    XMLError error;

    const std::string said =
        consoleText([&] { EXPECT_FALSE(document->rootElement().elementsForXPath("//[", &error)); });

    EXPECT_EQ(error.failureReason, "xmlXPathEvalExpression() failed.");
    EXPECT_EQ(error.domain, "XMLParsingErrorDomain");
    EXPECT_EQ(said, "");
    EXPECT_FALSE(document->rootElement().elementsForXPath("//["));
}

TEST(XMLDocumentTest, MissingPathIsAnError) {
    const auto document = parse("<Result/>");
    XMLError error;

    EXPECT_FALSE(document->rootElement().elementsForXPath(nullptr, &error));
    EXPECT_EQ(error.failureReason, "-[XMLElement _nodesForXPath:] XPath argument is nil.");
}

TEST(XMLDocumentTest, PreparedPrefixesMayBeUsed) {
    const auto document = parse("<Result><a/></Result>");
    const My_XMLElement& root = document->rootElement();

    consoleText([&] { EXPECT_FALSE(root.elementsForXPath("//p:a")); });
    EXPECT_TRUE(root.elementsForXPath("//p:a", {"plain", "p:a"}, nullptr));
    EXPECT_TRUE(root.elementsForXPath("//a", {":a"}, nullptr)) << "a refused one harms nothing";
}

TEST(XMLDocumentTest, TextThatIsNoXmlGivesTheLibrarysReason) {
    std::string reason;

    const std::string said = consoleText([&] { reason = refusal("Failed"); });

    EXPECT_EQ(reason, "Start tag expected, '<' not found\n");
    EXPECT_EQ(said, "");
}

TEST(XMLDocumentTest, EmptyTextIsAReadFailure) {
    EXPECT_EQ(refusal(""), "Document is empty\n");
}

TEST(XMLDocumentTest, MissingTextIsNothingWithoutAnError) {
    XMLError error;
    error.failureReason = "(none)";

    EXPECT_FALSE(XMLDocument::documentWithXMLString(nullptr, &error));
    EXPECT_EQ(error.failureReason, "(none)");
}

TEST(XMLDocumentTest, BrokenDocumentsAreRefused) {
    for (const char* text : {"<Result>", "<Result/><Result/>", "<a></b>", "<a x=1/>", "<a>&b;</a>",
                             "<a x='1' x='2'/>", "<a>\xFF\xFE</a>", "<?xml version='1.0'?>"}) {
        EXPECT_NE(refusal(text), "(none)") << text;
    }
    parse("<Result>"); // and nobody has to want the reason
}

TEST(XMLDocumentTest, EntityBombIsRefusedAtItsFirstDeclaration) {
    std::string bomb = "<!DOCTYPE r [<!ENTITY a0 'aaaaaaaaaa'>";
    for (int i = 1; i < 12; ++i) {
        bomb += "<!ENTITY a" + std::to_string(i) + " '";
        for (int j = 0; j < 10; ++j) {
            bomb += "&a" + std::to_string(i - 1) + ";";
        }
        bomb += "'>";
    }
    bomb += "]><r x='&a11;'>&a11;</r>";

    EXPECT_EQ(refusal(bomb), "Entity declarations are refused");
    EXPECT_EQ(refusal("<!DOCTYPE r [<!ENTITY % p 'x'> %p; ]><r/>"),
              "Entity declarations are refused");
}

TEST(XMLDocumentTest, NoFileIsRead) {
    const TemporaryFolder folder;
    const std::string path = (folder.path() / "secret").string();
    std::ofstream(path) << "<!ELEMENT r ANY>secret";

    EXPECT_EQ(refusal("<!DOCTYPE r [<!ENTITY f SYSTEM '" + path + "'>]><r>&f;</r>"),
              "Entity declarations are refused");
    const auto external = parse("<!DOCTYPE r SYSTEM '" + path + "'><r/>");
    ASSERT_TRUE(external) << "what it names is not looked at";
    const auto include = parse("<r xmlns:i='http://www.w3.org/2001/XInclude'><i:include href='" +
                               path + "' parse='text'/></r>");
    ASSERT_TRUE(include);
    EXPECT_EQ(include->XMLString()->find("secret<"), std::string::npos);
}

TEST(XMLDocumentTest, ReplyThatIsTooLargeIsRefused) {
    const std::string large = "<Result>" + std::string(XMLReader::kMostBytes, 'x') + "</Result>";

    EXPECT_EQ(refusal(large), "The document is too large");
}

TEST(XMLDocumentTest, DeepNestingIsRefused) {
    std::string deep;
    for (int i = 0; i < 100000; ++i) {
        deep += "<a>";
    }

    EXPECT_NE(refusal(deep), "(none)");
}

TEST(XMLDocumentTest, DocumentAsText) {
    EXPECT_EQ(parse("<Result a='1'/>")->XMLString(),
              "<?xml version=\"1.0\"?>\n<Result a=\"1\"/>\n");
}

TEST(XMLDocumentTest, SeveralThreadsMayReadDocumentsOfTheirOwn) {
    std::vector<std::jthread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([] {
            for (int j = 0; j < 20; ++j) {
                const auto document = parse(kReply);
                EXPECT_EQ(document->rootElement().elementsForXPath(kPeers)->size(), 2U);
                parse("not XML");
            }
        });
    }
}

TEST(XMLDocumentTest, TextContentIsAllTextInsideTheElement) {
    const auto document = parse("<a>1<b> &amp; </b><![CDATA[<2>]]></a>");
    EXPECT_EQ(document->rootElement().textContent(), "1 & <2>");
    EXPECT_EQ(parse("<a/>")->rootElement().textContent(), "");
}

using XMLDocumentDeathTest = ::testing::Test;

TEST(XMLDocumentDeathTest, MissingAttributeNameIsOurOwnMistake) {
    const auto document = parse("<Result/>");
    EXPECT_DEATH((void)document->rootElement().attributeNamed(nullptr),
                 "'name' argument is nil\\.");
}

} // namespace
} // namespace ovelo
