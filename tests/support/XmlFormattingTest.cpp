#include "support/XmlFormatting.h"

#include <gtest/gtest.h>

namespace cutstack {
namespace {

const std::string kHead = R"(<?xml version="1.0" encoding="UTF-8"?>)"
                          "\n";

std::string formatted(const std::string& document) {
    std::string error;
    return prettyPrintedXml(document, error).value_or("refused: " + error);
}

TEST(XmlFormatting, LaysElementsOutAndKeepsEverythingElse) {
    struct Case {
        const char* document;
        const char* expected; ///< after the declaration
    };
    const Case cases[] = {
        {"<a/>", "<a/>\n"},
        {"<?xml version='1.0'?><!DOCTYPE xmeml>\r\n<xmeml version='5'><b><c>x</c><d/></b></xmeml>",
         "<!DOCTYPE xmeml>\n<xmeml version=\"5\">\n    <b>\n        <c>x</c>\n        <d/>\n    "
         "</b>\n</xmeml>\n"},
        {"<a>\n\n <b> x y </b>\n</a>", "<a>\n    <b> x y </b>\n</a>\n"},
        {"<a><b> </b><c></c></a>", "<a>\n    <b> </b>\n    <c/>\n</a>\n"},
        {"<a b='1&#10;2&quot;&lt;'>&amp;&lt;]]&gt;&#13;\xC3\xA9</a>",
         "<a b=\"1&#10;2&quot;&lt;\">&amp;&lt;]]&gt;&#13;\xC3\xA9</a>\n"},
        {"<a><![CDATA[<x>]]> y</a>", "<a>&lt;x&gt; y</a>\n"},
        {"<x:a xmlns:x='u' x:b='1'/>", "<x:a xmlns:x=\"u\" x:b=\"1\"/>\n"},
        {"<!DOCTYPE a SYSTEM 'say \"a\".dtd'><a b='\"'/>",
         "<!DOCTYPE a\nSYSTEM 'say \"a\".dtd'>\n<a b=\"&quot;\"/>\n"},
        {"<!DOCTYPE a PUBLIC \"it's\" 'a\"b'><a/>", "<!DOCTYPE a\nSYSTEM 'a\"b'>\n<a/>\n"},
        {"<!-- c --><a><!-- d -->x<?p i?></a>", "<a>x</a>\n"},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(formatted(c.document), kHead + c.expected) << c.document;
        EXPECT_EQ(formatted(formatted(c.document)), formatted(c.document)) << c.document;
    }
}

TEST(XmlFormatting, LeavesTextBesideElementsWhereItIs) {
    EXPECT_EQ(formatted("<a> <b/>text <c>x</c> </a>"), kHead + "<a> <b/>text <c>x</c> </a>\n");
}

TEST(XmlFormatting, DoesNotIndentWithoutEnd) {
    std::string deep;
    for (int i = 0; i < 100'000; ++i)
        deep += "<a>";
    for (int i = 0; i < 100'000; ++i)
        deep += "</a>";
    EXPECT_LT(formatted(deep).size(), deep.size() + 100);
}

TEST(XmlFormatting, SaysWhereADocumentIsBroken) {
    EXPECT_EQ(formatted("<a>\n<b></a>").substr(0, 16), "refused: line 2,");
    EXPECT_EQ(formatted(""), "refused: the document is empty");
    EXPECT_EQ(formatted("\xFF\xFE<"),
              "refused: line 1, column 1: the document is not valid UTF-16");
}

} // namespace
} // namespace cutstack
