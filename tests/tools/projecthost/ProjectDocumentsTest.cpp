// What the project host makes of documents: tables of contents, single items, imports.

#include <gtest/gtest.h>

#include "support/StrictXml.h"
#include "tools/projecthost/DocumentOutline.h"
#include "tools/projecthost/ItemExport.h"
#include "tools/projecthost/ProjectImport.h"
#include "tools/projecthost/TableOfContents.h"

namespace cutstack::projecthost {
namespace {

class Nobody final : public XmlEvents {
    void startElement(const XmlStartTag& /*tag*/) override {}
    void endElement() override {}
    void text(std::string_view /*piece*/) override {}
};

void expectWellFormed(const std::string& document) {
    Nobody nobody;
    const auto fault = readStrictXml(document, nobody);
    EXPECT_FALSE(fault) << fault->description() << "\n" << document;
}

/// Without the head that all documents have, and without line breaks.
std::string bodyOf(const std::string& document) {
    expectWellFormed(document);
    std::string body = document.substr(document.find("<xmeml"));
    std::erase(body, '\n');
    return body;
}

std::string contents(const std::string& project) {
    return bodyOf(tableOfContents(DocumentOutline(project)));
}

std::string item(const std::string& project, std::string_view uuid) {
    const auto exported = exportedItem(DocumentOutline(project), uuid);
    return exported ? bodyOf(*exported) : "none";
}

TEST(TableOfContents, HasBinsAndSequencesAsTheBrowserHasThem) {
    EXPECT_EQ(contents("<?xml version='1.0'?><!DOCTYPE xmeml [<!-- <xmeml> -->]>"
                       "<xmeml version='4'><project><name>P</name><children>"
                       "<bin id='b' x='>'><uuid>B</uuid><name>A &amp; B</name><children>"
                       "<clip id='c'><name>C</name></clip>"
                       "<sequence id='s'><name><![CDATA[<S>]]></name><uuid>S</uuid><media/>"
                       "</sequence></children></bin>"
                       "<bin id='empty'/></children></project></xmeml>"),
              R"(<xmeml version='4'><project><name>P</name><children>)"
              R"(<bin id="b"><uuid>B</uuid><name>A &amp; B</name><children>)"
              R"(<sequence id="s"><uuid>S</uuid><name><![CDATA[<S>]]></name></sequence>)"
              R"(</children></bin><bin id="empty"><children></children></bin>)"
              R"(</children></project></xmeml>)");
}

TEST(TableOfContents, HasEverySequenceOnce) {
    // "in" is written in full in a timeline, and the browser has only a reference to it; "only" is
    // in timelines alone.
    EXPECT_EQ(contents("<xmeml><sequence id='out'><name>Out</name><media><track><clipitem>"
                       "<sequence id='in'><name>In</name><uuid>I</uuid></sequence></clipitem>"
                       "<clipitem><sequence id='only'><name>Only</name></sequence></clipitem>"
                       "<clipitem><sequence id='only'/></clipitem></track></media></sequence>"
                       "<bin><children><sequence id='in'/><sequence id='lost'/></children></bin>"
                       "<sequence><name>Without id</name></sequence></xmeml>"),
              R"(<xmeml><sequence id="out"><name>Out</name></sequence>)"
              R"(<sequence id="only"><name>Only</name></sequence>)"
              R"(<bin><children><sequence id="in"><uuid>I</uuid><name>In</name></sequence>)"
              R"(</children></bin><sequence><name>Without id</name></sequence></xmeml>)");
}

TEST(TableOfContents, KeepsWhatTheRootDeclares) {
    EXPECT_EQ(contents("<xmeml xmlns:x='y'/>"), "<xmeml xmlns:x='y'></xmeml>");
    EXPECT_EQ(contents("<xmeml xmlns:x='y'><bin><name x:a='1'/></bin></xmeml>"),
              "<xmeml xmlns:x='y'><bin><name x:a='1'/><children></children></bin></xmeml>");
}

TEST(TableOfContents, DepthCostsNothing) {
    constexpr int kDepth = 200'000;
    std::string project = "<xmeml>";
    for (int i = 0; i < kDepth; ++i)
        project += "<bin><name>b</name><children>";
    for (int i = 0; i < kDepth; ++i)
        project += "</children></bin>";
    const std::string toc = tableOfContents(DocumentOutline(project + "</xmeml>"));
    EXPECT_TRUE(toc.ends_with("</bin>\n</xmeml>\n"));
    EXPECT_GT(toc.size(), project.size());
}

constexpr auto kLinkedProject =
    "<xmeml version='5'><bin><children>"
    "<clip id='c1'><uuid>C1</uuid><file id='f1'><pathurl>one</pathurl></file></clip>"
    "<sequence id='s1'><uuid> s1\n</uuid><media><clipitem id='i1'><file id='f1'/><masterclipid>c1"
    "</masterclipid></clipitem><clipitem id='i2'><file id='f2'><pathurl>two</pathurl></file>"
    "</clipitem><clipitem id='i3'><file id='f1' /></clipitem></media></sequence>"
    "<sequence id='s2'><uuid>S2</uuid><clipitem id='j1'><sequence id='s1'/></clipitem>"
    "<clipitem id='j2'><file id='f2'/><file id='unknown'/></clipitem>"
    "<clipitem><sequence id='s2'/></clipitem></sequence></children></bin></xmeml>";

TEST(ItemExport, WritesWhatIsDescribedElsewhereAtItsFirstMention) {
    EXPECT_EQ(item(kLinkedProject, "C1"),
              "<xmeml version='5'><clip id='c1'><uuid>C1</uuid><file id='f1'><pathurl>one"
              "</pathurl></file></clip></xmeml>");
    EXPECT_EQ(item(kLinkedProject, "S1"),
              "<xmeml version='5'><sequence id='s1'><uuid> s1</uuid><media><clipitem id='i1'>"
              "<file id='f1'><pathurl>one</pathurl></file><masterclipid>c1</masterclipid>"
              "</clipitem><clipitem id='i2'><file id='f2'><pathurl>two</pathurl></file></clipitem>"
              "<clipitem id='i3'><file id='f1' /></clipitem></media></sequence></xmeml>");
}

TEST(ItemExport, FollowsReferencesWithinWhatItWrites) {
    EXPECT_EQ(item(kLinkedProject, "s2"),
              "<xmeml version='5'><sequence id='s2'><uuid>S2</uuid><clipitem id='j1'>"
              "<sequence id='s1'><uuid> s1</uuid><media><clipitem id='i1'><file id='f1'><pathurl>"
              "one</pathurl></file><masterclipid>c1</masterclipid></clipitem><clipitem id='i2'>"
              "<file id='f2'><pathurl>two</pathurl></file></clipitem><clipitem id='i3'>"
              "<file id='f1' /></clipitem></media></sequence></clipitem><clipitem id='j2'>"
              "<file id='f2'/><file id='unknown'/></clipitem><clipitem><sequence id='s2'/>"
              "</clipitem></sequence></xmeml>");
}

TEST(ItemExport, WhatWasNeededEarlierIsAReferenceInItsOwnPlace) {
    EXPECT_EQ(
        item("<xmeml><bin><uuid>b</uuid><children><clip id='c'><file id='f'/></clip>"
             "<clip id='d'><file id='f'><name>f</name></file></clip></children></bin></xmeml>",
             "B"),
        "<xmeml><bin><uuid>b</uuid><children><clip id='c'><file id='f'><name>f"
        "</name></file></clip><clip id='d'><file id='f'/></clip></children></bin></xmeml>");
}

TEST(ItemExport, FindsOnlyItemsOfTheBrowser) {
    for (const char* uuid : {"", " ", "c2", "i1"})
        EXPECT_EQ(item(kLinkedProject, uuid), "none") << uuid;
    EXPECT_EQ(item("<xmeml><clip><itemhistory><uuid>h</uuid></itemhistory></clip></xmeml>", "h"),
              "none");
}

TEST(ProjectImport, HalvesOfCharactersAreJoined) {
    const struct {
        const char* sent;
        const char* joined;
    } rows[] = {
        {"a&#55357;&#56832;b", "a&#128512;b"},
        {"&#xD83D;&#xDE00;&#55357;&#xDE01;", "&#128512;&#128513;"},
        {"&#55357;&#55357;&#56832;&#56832;", "&#55357;&#128512;&#56832;"},
        {"&#233;&#13;&amp;", "&#233;&#13;&amp;"},
        {"&#55357; &#56832;", "&#55357; &#56832;"},
        {"&#55357;&#56832", "&#55357;&#56832"},
        {"&#", "&#"},
        {"&#99999999999999;&#x", "&#99999999999999;&#x"},
    };
    for (const auto& row : rows)
        EXPECT_EQ(joinSurrogateReferences(row.sent), row.joined);
}

TEST(ProjectImport, TakesItemsOnly) {
    std::string error;
    EXPECT_EQ(readImport("<?xml version='1.0'?><xmeml><importoptions/><clip id='a'><file/></clip>"
                         "<clip id='a'/><project><name>n</name><children><bin><children><clip/>"
                         "</children></bin></children></project><file><name/></file></xmeml>",
                         error),
              "<clip id='a'><file/></clip>\n<bin><children><clip/></children></bin>\n");
    for (const char* wrong :
         {"", "no XML", "<xmeml><clip>", "<xmeml><clip>&#55357;</clip></xmeml>", "<xmeml/>",
          "<plist><clip>c</clip></plist>", "<xmeml><file>f</file></xmeml>"}) {
        error.clear();
        EXPECT_FALSE(readImport(wrong, error)) << wrong;
        EXPECT_NE(error, "");
    }
}

TEST(ProjectImport, NothingIsCalledAsSomethingElseIs) {
    const std::string project = "<xmeml><clip id='a'><uuid>A1</uuid><file id='f'>1</file></clip>"
                                "<clip id='a import 2'/></xmeml>";
    const std::string sent =
        "<clip id='a'><uuid>a1</uuid><file id='f'/></clip><clip id='a import 3'/>"
        "<clipitem id='i'><itemhistory><uuid>A1</uuid></itemhistory>"
        "<masterclipid>a</masterclipid></clipitem><clip id='new'><uuid>N</uuid></clip>";
    EXPECT_EQ(fitImport(sent, project, [] { return "FRESH"; }),
              "<clip id='a import 4'><uuid>FRESH</uuid><file id='f'/></clip><clip id='a import 3'/>"
              "<clipitem id='i'><itemhistory><uuid>A1</uuid></itemhistory>"
              "<masterclipid>a import 4</masterclipid></clipitem>"
              "<clip id='new'><uuid>N</uuid></clip>");
}

TEST(ProjectImport, ItemsGoToTheEndOfTheProject) {
    const struct {
        const char* project;
        const char* merged;
    } rows[] = {
        {"<xmeml><clip>a</clip>\n</xmeml>\n", "<xmeml><clip>a</clip>\n\n<I/></xmeml>\n"},
        {"<xmeml version='5' />", "<xmeml version='5' >\n<I/></xmeml>"},
        {"<xmeml><project><name/><children><bin><children/></bin></children></project><clip/>"
         "</xmeml>",
         "<xmeml><project><name/><children><bin><children/></bin>\n<I/></children></project><clip/>"
         "</xmeml>"},
        {"<xmeml><project><children/></project></xmeml>",
         "<xmeml><project><children>\n<I/></children></project></xmeml>"},
        {"<xmeml><project/></xmeml>",
         "<xmeml><project>\n<children>\n<I/></children>\n</project></xmeml>"},
    };
    for (const auto& row : rows)
        EXPECT_EQ(withImports(row.project, {"<I/>"}), row.merged);
    EXPECT_EQ(withImports("<plist/>", {"<I/>"}), std::nullopt);
}

TEST(ProjectImport, TheEncodingIsStatedAsItIs) {
    const struct {
        const char* before;
        const char* after;
    } rows[] = {
        {"<?xml version='1.0' encoding='UTF-16'?><a/>",
         "<?xml version='1.0' encoding='UTF-8'?><a/>"},
        {"\xEF\xBB\xBF<?xml version='1.0' encoding=\"x\" ?>",
         "\xEF\xBB\xBF<?xml version='1.0' encoding=\"UTF-8\" ?>"},
        {"<?xml version='1.0' encoding='utf-8'?>", "<?xml version='1.0' encoding='utf-8'?>"},
        {"<a encoding='UTF-16'/>", "<a encoding='UTF-16'/>"},
    };
    for (const auto& row : rows)
        EXPECT_EQ(withStatedUtf8(row.before), row.after);
}

/// Whatever a document is cut off to, its outline stays within it.
TEST(DocumentOutline, StaysWithinDocumentsThatAreCutOff) {
    const std::string whole = std::string("<!DOCTYPE x [<!ENTITY y '>'>]><!-- a --><?p ?>") +
                              kLinkedProject + "<![CDATA[<clip>]]>";
    for (std::size_t length = 0; length <= whole.size(); ++length) {
        const std::string part = whole.substr(0, length);
        const DocumentOutline outline(part);
        for (OutlineIndex i = 0; i < outline.elements().size(); ++i) {
            const OutlineElement& element = outline.elements()[i];
            EXPECT_LE(element.begin, element.contentBegin);
            EXPECT_LE(element.contentBegin, element.contentEnd);
            EXPECT_LE(element.contentEnd, element.end);
            EXPECT_LE(element.end, part.size());
            static_cast<void>(outline.uuidOf(i));
        }
        if (outline.root() != nullptr)
            static_cast<void>(tableOfContents(outline));
        static_cast<void>(exportedItem(outline, outline.root() == nullptr ? "" : "s2"));
    }
}

} // namespace
} // namespace cutstack::projecthost
