#include "changes/XmemlDocument.h"

#include "tests/changes/Documents.h"

namespace cutstack {
namespace {

/// A document as its nodes in order: names, and texts in quotes.
std::string nodesOf(const XmemlDocument& document) {
    std::string nodes;
    for (Node node = document.root(); node.exists(); node = node.next())
        nodes += node.name() == XmemlName::none ? "'" + node.stringValue() + "' "
                                                : std::string(node.nameText()) + " ";
    return nodes;
}

std::string utf16(std::string_view ascii, bool bigEndian) {
    std::string bytes = bigEndian ? "\xFE\xFF" : "\xFF\xFE";
    for (const char c : ascii)
        bytes += bigEndian ? std::string{'\0', c} : std::string{c, '\0'};
    return bytes;
}

std::string manyAttributes(int count) {
    std::string attributes;
    for (int i = 0; i < count; ++i)
        attributes += " a" + std::to_string(i) + "='>'";
    return attributes;
}

std::string nestedPrefixes(int depth) {
    std::string xml;
    for (int i = 0; i < depth; ++i)
        xml += "<a xmlns:p" + std::to_string(i) + "='u'>";
    return xml;
}

TEST(XmemlDocument, WhatBecomesANode) {
    const std::string bom = "\xEF\xBB\xBF";
    const struct {
        std::string xml;
        std::string_view nodes;
    } cases[] = {
        {"<a/>", "a "},
        {"<a" + manyAttributes(1000) + "/>", "a "},
        {"<a> x <b>\n</b>\t</a>", "a ' x ' b "},
        {"<a>x<!-- c -->y<?p i?>z</a>", "a 'xyz' "},
        {"<a> <!-- c --> </a>", "a "},
        {"<a>x<![CDATA[ & ]]>y</a>", "a 'x & y' "},
        {"<a><![CDATA[]]></a>", "a "},
        {"<a>&#13;</a>", "a "},
        {"<a>&#160;</a>", "a '\xC2\xA0' "},
        {"<a>x\r\ny</a>", "a 'x\ny' "},
        {"<a>&lt;&amp;&#x41;&quot;</a>", "a '<&A\"' "},
        {bom + "<a>\xC3\xA9t\xC3\xA9</a>", "a '\xC3\xA9t\xC3\xA9' "},
        {"<?xml version='1.0' encoding='ISO-8859-1'?><!DOCTYPE a><a>\xC3\xA9</a>", "a '\xC3\xA9' "},
        {"<p:a xmlns:p='u'><p:b/></p:a>", "p:a p:b "},
        {"<a><q:b/></a>", "a q:b "},
        {utf16("<?xml version='1.0' encoding='UTF-16'?><a>x</a>", false), "a 'x' "},
        {utf16("<a>x</a>", true), "a 'x' "},
    };
    for (const auto& row : cases)
        EXPECT_EQ(nodesOf(*parsed(row.xml)), row.nodes) << row.xml;
}

TEST(XmemlDocument, LongTextsThatDoNotStandInTheBytesAsTheyAre) {
    std::string accents;
    for (int i = 0; i < 5000; ++i)
        accents += "\xC3\xA9";
    const auto document =
        parsed("<a><b>" + accents + "&amp;" + accents + "</b><c>" + accents + "</c></a>");
    EXPECT_EQ(firstNamed(*document, "b").stringValue(), accents + "&" + accents);
    EXPECT_EQ(firstNamed(*document, "c").stringValue(), accents);
}

TEST(XmemlDocument, Navigation) {
    const auto document = parsed("<xmeml><a>1<b>2</b></a><c/></xmeml>");
    const Node root = document->root();
    const Node a = firstNamed(*document, "a");
    const Node b = firstNamed(*document, "b");
    const Node c = firstNamed(*document, "c");
    EXPECT_EQ(root.previous(), document->documentNode());
    EXPECT_EQ(root.parent(), document->documentNode());
    EXPECT_FALSE(document->documentNode().previous().exists());
    EXPECT_FALSE(document->documentNode().parent().exists());
    EXPECT_EQ(document->documentNode().name(), XmemlName::none);
    EXPECT_TRUE(a.hasSeveralChildren());
    EXPECT_FALSE(b.hasSeveralChildren());
    EXPECT_EQ(a.afterSubtree(), c);
    EXPECT_EQ(b.afterSubtree(), c) << "the next sibling of its parent";
    EXPECT_FALSE(b.nextSibling().exists());
    EXPECT_FALSE(c.afterSubtree().exists());
    EXPECT_EQ(a.stringValue(), "12");
    EXPECT_EQ(b.ancestor(2), root);

    const Node missing;
    for (const Node node : {missing.next(), missing.previous(), missing.parent(), c.next(),
                            missing.afterSubtree(), missing.firstChild(), missing.nextSibling()})
        EXPECT_FALSE(node.exists());
    EXPECT_EQ(missing.stringValue(), "");
    EXPECT_EQ(missing.idAttribute(), std::nullopt);
}

TEST(XmemlDocument, IdentitiesInDocumentOrderWithDuplicates) {
    const auto document = parsed("<xmeml id='r'><a id='1'><uuid>X</uuid><uuid> Y</uuid><uuid/></a>"
                                 "<b ID='2' x:id='3'/><c id=''/><uuid>X<d>Z</d></uuid></xmeml>");
    using Views = std::vector<std::string_view>;
    EXPECT_EQ(document->uuidList(), (Views{"X", " Y", "", "XZ"}));
    EXPECT_EQ(document->idList(), (Views{"r", "1", ""}));
    EXPECT_EQ(firstNamed(*document, "a").idAttribute(), "1");
    EXPECT_EQ(firstNamed(*document, "b").idAttribute(), std::nullopt);
}

TEST(XmemlDocument, WhatIsRefusedAndWhere) {
    const std::string bomb = "<!DOCTYPE a [<!ENTITY x 'xxxxxxxxxx'><!ENTITY y '&x;&x;&x;'>]>"
                             "<a>&y;</a>";
    using namespace std::string_literals;
    const struct {
        std::string xml;
        std::string_view reason; ///< found in the error
    } cases[] = {
        {"", "the document is empty"},
        {" \n", "line 2, column"},
        {"no xml", "line 1, column"},
        {"<a>", "Premature end of data in tag a"},
        {"<a><b></a>", "tag mismatch"},
        {"<a/><b/>", "line 1, column 5: Extra content"},
        {"<a/>text", "Extra content"},
        {"text<a/>", "line 1, column 1"},
        {"<a x='1' x='2'/>", "Attribute x redefined"},
        {"<a>\n<b>&undeclared;</b></a>", "line 2, column"},
        {"<!DOCTYPE a SYSTEM 'file:///etc/passwd'><a>&undeclared;</a>", "not defined"},
        {"<!DOCTYPE a SYSTEM 'x.dtd'><a b='&undeclared;'/>", "not defined"},
        {bomb, "entity 'x' is declared"},
        {"<!DOCTYPE a [<!ENTITY % p SYSTEM 'x'>%p;]><a/>", "entity 'p' is declared"},
        {"<!DOCTYPE a [<!ATTLIST a b CDATA 'c'>]><a/>", "attributes of 'a' are declared"},
        {nestedPrefixes(1001), "too many name spaces"},
        {"<a>&</a>", "line 1, column"},
        {"<a>a ]]> b</a>", "line 1, column"},
        {"<a>\xFF</a>", "UTF-8"},
        {"<a>\xC3</a>", "UTF-8"},
        {"<a>\x01</a>", "Char"},
        {"<a>&#0;</a>", "line 1, column"},
        {"<a>&#xD800;</a>", "line 1, column"},
        {"<a/>\0<b/>"s, "line 1, column 5: the document contains a NUL byte"},
        {"<a>\n\0</a>"s, "line 2, column 1: the document contains a NUL byte"},
        {"<\0a\0/\0>\0"s, "NUL"},
        {"<a>\n<b" + manyAttributes(1001) + "/></a>",
         "line 2, column 1: the element has more than"},
        {"\xFF\xFE<"s, "not valid UTF-16"},
        {"\xFF\xFE<\0a\0>\0\0\xD8<\0/\0a\0>\0"s, "not valid UTF-16"},
    };
    for (const auto& row : cases)
        EXPECT_NE(refusalOf(row.xml).find(row.reason), std::string::npos)
            << row.xml << " gives: " << refusalOf(row.xml);
}

TEST(XmemlDocument, CutOffAnywhereItIsRefused) {
    const std::string whole =
        "<?xml version='1.0'?><!DOCTYPE xmeml><xmeml version=\"5\"><sequence id='S 1'><!-- c -->"
        "<uuid>1</uuid><name>\xC3\x89t\xC3\xA9 &amp; <![CDATA[<hiver>]]></name></sequence></xmeml>";
    ASSERT_EQ(refusalOf(whole), "");
    for (std::size_t length = 0; length < whole.size(); ++length)
        EXPECT_NE(refusalOf(whole.substr(0, length)), "") << length;
}

TEST(XmemlDocument, AMillionNestedElements) {
    constexpr std::size_t kDepth = 1'000'000;
    std::string xml;
    for (std::size_t i = 0; i < kDepth; ++i)
        xml += "<a>";
    EXPECT_NE(refusalOf(xml).find("Premature end"), std::string::npos);
    for (std::size_t i = 0; i < kDepth; ++i)
        xml += "</a>";
    EXPECT_EQ(parsed(xml)->nodeCount(), kDepth + 1);
}

TEST(XmemlDocument, ReportsHowFarTheReadingIs) {
    std::atomic<std::uint64_t> bytesRead = 0;
    XmlError error;
    const std::string xml = "<xmeml><a/><a/></xmeml>";
    ASSERT_TRUE(XmemlDocument::parse(xml, error, &bytesRead));
    EXPECT_EQ(bytesRead, xml.size());
}

} // namespace
} // namespace cutstack
