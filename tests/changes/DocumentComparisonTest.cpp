// What the scenarios cannot show: lists that come from elsewhere, cancelling, the console, and
// shapes of documents that would make a careless comparison take for ever.

#include "changes/DocumentComparison.h"
#include "tests/changes/Documents.h"

namespace cutstack {
namespace {

using Sentences = std::vector<std::string>;

std::string inXmeml(std::string_view content) {
    return "<xmeml>" + std::string(content) + "</xmeml>";
}

Sentences changelist(std::string_view base, std::string_view next, RecordingHost& host) {
    const auto baseDocument = parsed(inXmeml(base));
    const auto newDocument = parsed(inXmeml(next));
    return changeListForXMLDoc(*newDocument, *baseDocument, host).value_or(Sentences{"cancelled"});
}

Sentences changelist(std::string_view base, std::string_view next) {
    RecordingHost host;
    return changelist(base, next, host);
}

std::string repeated(std::string_view text, int times) {
    std::string result;
    for (int i = 0; i < times; ++i)
        result += text;
    return result;
}

TEST(DocumentComparison, AMissingDocumentGivesAnEmptyChangelist) {
    RecordingHost host;
    const auto document = parsed("<xmeml/>");
    EXPECT_EQ(changeListForXMLDoc(document.get(), nullptr, {}, {}, {}, {}, host), Sentences());
    EXPECT_EQ(changeListForXMLDoc(nullptr, document.get(), {}, {}, {}, {}, host), Sentences());
    EXPECT_TRUE(host.log.empty());
}

TEST(DocumentComparison, WhatCountsAsTheSameDocument) {
    const struct {
        std::string_view base, next;
        bool same;
    } cases[] = {
        {"<bin a='1' b='2'/>", "<bin b='2' a='1'/>", true},
        {"<bin a='1'/>", "<bin a='2'/>", false},
        {"<bin a='1'/>", "<bin b='1'/>", false},
        {"<bin/>", "<bin a='1'/>", false},
        {"<name>A</name>", "<name>A<!-- x --></name>", true},
        {"<name>AB</name>", "<name>A<!-- x --><![CDATA[B]]></name>", true},
        {"<name>A</name>", "<name> A</name>", false},
        {"<name>A</name>", "\n  <name>A</name>\t\r\n", true},
        {"<name>\xC2\xA0</name>", "<name></name>", false},
        {"<odd/><odder/>", "<odd/><odder/>", true},
        {"<odd/><odder/>", "<odder/><odd/>", false},
        {"<odd/>", "<x>odd</x>", false},
        {"<a><b/></a>", "<a/><b/>", false},
        {"<a>x</a>", "<a/>x", false},
    };
    for (const auto& row : cases) {
        const auto base = parsed(inXmeml(row.base));
        const auto next = parsed(inXmeml(row.next));
        EXPECT_EQ(base->equals(*next), row.same) << row.base << " and " << row.next;
        EXPECT_EQ(next->equals(*base), row.same) << row.next << " and " << row.base;
    }
}

TEST(DocumentComparison, FirstChildrenDecideWhatKindOfBackupItIs) {
    const std::string other = "Backup type changed to Project";
    const struct {
        std::string_view base, next;
        Sentences changes;
    } cases[] = {
        {"", "<sequence><name>S</name></sequence>", {"Backup sequence changed to S"}},
        {"<sequence/>", "", {other}},
        {"<bin/>", "<project/>", {other}},
        {"<sequence id='a'/>", "<sequence id='b'/>", {"No notable changes"}},
        {"<sequence><uuid>1</uuid></sequence>", "<sequence/>", {"Backup sequence changed to "}},
        {"text", "other text", {"No notable changes"}},
    };
    for (const auto& row : cases)
        EXPECT_EQ(changelist(row.base, row.next), row.changes) << row.base << " and " << row.next;
}

TEST(DocumentComparison, ListsMayComeFromElsewhere) {
    const auto base = parsed("<xmeml><bin><uuid>1</uuid><name>A</name></bin></xmeml>");
    const auto next = parsed("<xmeml><bin><uuid>1</uuid><name>B</name></bin></xmeml>");
    const std::vector<std::string_view> lists[] = {{"1"}, {"7", "1", "7"}, {}};
    const Sentences renamed = {"A bin name changed to B"};
    const Sentences added = {"New bin added: B"};
    RecordingHost host;
    const auto with = [&](IdentityValues oldUUIDs, IdentityValues newUUIDs) {
        return changeListForXMLDoc(next.get(), base.get(), oldUUIDs, {}, newUUIDs, {}, host);
    };
    EXPECT_EQ(with(lists[0], lists[0]), renamed);
    EXPECT_EQ(with(lists[2], lists[0]), added);
    // A UUID that was gone twice is told twice, if the base document has it.
    EXPECT_EQ(with(lists[1], lists[0]), renamed);
    EXPECT_EQ(with(std::vector<std::string_view>{"1", "1"}, lists[2]),
              (Sentences{"A bin name changed to B", "Bin A removed", "Bin A removed"}));
}

TEST(DocumentComparison, WhatCannotBeLookedUpGoesToTheConsole) {
    RecordingHost host;
    EXPECT_EQ(changelist("<bin><uuid>A\"B</uuid><x/></bin><bin><uuid/></bin><clip id='f'/>",
                         "<bin><uuid>C</uuid><x/></bin><bin/><clip/>", host),
              Sentences{"No notable changes"});
    EXPECT_EQ(host.consoleLines, (Sentences{"err: Invalid expression .//uuid[text()=\"A\"B\"][1]",
                                            "err2: Invalid type in .//@id=\"f\"[1]"}));
}

TEST(DocumentComparison, CanBeCancelledAtEveryPoll) {
    const std::string base = "<bin><name>A</name><x>1</x><y>1</y></bin>";
    const std::string next = "<bin><name>B</name><x>2</x><z>1</z><y>2</y></bin>";
    RecordingHost whole;
    ASSERT_NE(changelist(base, next, whole), Sentences{"cancelled"});
    for (int poll = 1; poll <= whole.polls(); ++poll) {
        RecordingHost host;
        host.cancelAtPoll = poll;
        EXPECT_EQ(changelist(base, next, host), Sentences{"cancelled"}) << poll;
        EXPECT_EQ(host.log.back(), "Change log generation was cancelled") << poll;
        EXPECT_GE(host.ends, 1) << poll;
    }
}

TEST(DocumentComparison, AnEmptySequenceDoesNotHoldTheWalkForEver) {
    // The sequence is skipped and, since it comes next in the base document, gone back to.
    RecordingHost host;
    EXPECT_EQ(changelist("<bin/><label/><sequence/>", "<bin/><sequence/>", host),
              Sentences{"No notable changes"});
}

TEST(DocumentComparison, NestedAndLongDocumentsAreNoTrouble) {
    constexpr int kDepth = 50'000;
    const auto nested = [](std::string_view leaf) {
        return repeated("<bin><children>", kDepth) + "<clip><uuid>1</uuid><name>" +
               std::string(leaf) + "</name></clip>" + repeated("</children></bin>", kDepth);
    };
    const auto unknown = [](std::string_view leaf) {
        return repeated("<a>", kDepth) + std::string(leaf) + repeated("</a>", kDepth);
    };
    const auto manyClips = [](std::string_view value) {
        return "<track>" +
               repeated("<clip><x/><label2>" + std::string(value) + "</label2></clip>", kDepth) +
               "</track>";
    };
    EXPECT_FALSE(changelist(nested("A"), nested("B")).empty());
    EXPECT_EQ(changelist(unknown("A"), unknown("B")), Sentences{"A changed to B"});
    EXPECT_EQ(changelist(manyClips("A"), manyClips("B")), Sentences{"Label2 changed to B"});
    EXPECT_FALSE(changelist(manyClips("A"), nested("B")).empty());
    const std::string text = repeated("x", 20'000'000);
    EXPECT_EQ(changelist("<a>" + text + "</a>", "<a>" + text + "y</a>"),
              Sentences{"A changed to " + text + "y"});
}

TEST(DocumentComparison, ALongTextInManySentencesIsCutInTheEnd) {
    const std::string text(100'000, 'x');
    const auto nested = [&](std::string_view leaf) {
        return repeated("<a><b><c>", 1000) + text + std::string(leaf) +
               repeated("</c></b></a>", 1000);
    };
    const Sentences changes = changelist(nested("1"), nested("2"));
    EXPECT_EQ(changes.front(), "A changed to " + text + "2");
    EXPECT_EQ(changes.back().substr(1), " changed to " + std::string(200, 'x') + "...");
    std::size_t bytes = 0;
    for (const std::string& sentence : changes)
        bytes += sentence.size();
    EXPECT_LT(bytes, 17'000'000U);
}

} // namespace
} // namespace cutstack
