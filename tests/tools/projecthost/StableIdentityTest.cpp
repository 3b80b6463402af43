#include "tools/projecthost/identity/StableIdentity.h"

#include "tests/TemporaryFolder.h"
#include "tests/tools/projecthost/SeriesKinds.h"
#include "tests/tools/projecthost/SeriesScore.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <regex>

namespace cutstack::projecthost {
namespace {

class StableIdentity : public testing::Test {
protected:
    std::string serve(const std::string& document, const std::string& project = "/p.fcp") {
        std::string error;
        auto served = withStableIdentity(document, project, store_, error);
        EXPECT_TRUE(served) << error;
        return served.value_or("");
    }

    TemporaryFolder folder_;
    std::vector<std::string> log_;
    std::string path_ = folder_ / "Support/identities.sqlite";
    IdentityStore store_{path_, countingServices(&log_), 50};
};

/// The captures of a pattern, in order.
std::vector<std::string> captures(const std::string& text, const std::string& pattern) {
    const std::regex regex(pattern);
    std::vector<std::string> found;
    for (std::sregex_iterator it(text.begin(), text.end(), regex), end; it != end; ++it)
        found.push_back((*it)[1].str());
    return found;
}

/// What a document looks like when its ids and inserted UUIDs are taken out.
std::string withoutIdentities(const std::string& text) {
    const std::regex identities(
        R"re(\s+id="[^"]*"|\s*<uuid>[^<]*</uuid>|(<(linkclipref|masterclipid)>)[^<]*)re");
    return std::regex_replace(text, identities, "$1");
}

TEST_F(StableIdentity, RewritesEveryReferenceWithItsItem) {
    const std::string served = serve(R"(<?xml version="1.0" encoding="UTF-8"?>
<!DOCTYPE xmeml>
<xmeml version="5"><bin><name>B</name><children>
 <clip id="m1"><name>x</name><media><video><track><clipitem id="c0"><name>x</name>
   <masterclipid>m1</masterclipid><file id="f"><pathurl>file:///x</pathurl></file></clipitem></track></video></media></clip>
 <sequence id="s1"><name>One</name><media><video><track>
  <clipitem id="c1"><name>x</name><start>0</start><file id="f"/><masterclipid>m1</masterclipid>
   <link><linkclipref>c1</linkclipref></link><link><linkclipref>c2</linkclipref></link></clipitem>
  <clipitem id="n"><name>Nest</name><start>50</start><sequence id="s2"><name>Two</name><duration>5</duration></sequence></clipitem>
  <clipitem id="n2"><name>Nest</name><start>99</start><sequence id="s2"/><masterclipid>gone</masterclipid></clipitem>
 </track></video><audio><track>
  <clipitem id="c2"><name>x</name><start>0</start><file id="f"/><masterclipid>m1</masterclipid>
   <subclipmasterid>gone</subclipmasterid></clipitem></track></audio></media></sequence>
</children></bin></xmeml>)");
    const auto clipitems = captures(served, "<clipitem id=\"([^\"]+)\"");
    const auto links = captures(served, "<linkclipref>([^<]+)");
    const auto sequences = captures(served, "<sequence id=\"([^\"]+)\"");
    const auto files = captures(served, "<file id=\"([^\"]+)\"");
    const auto clips = captures(served, "<clip id=\"([^\"]+)\"");
    const auto masters = captures(served, "<(?:masterclipid|subclipmasterid)>([^<]+)");
    ASSERT_EQ(clipitems.size(), 5U);
    EXPECT_EQ(links, (std::vector{clipitems[1], clipitems[4]}));
    EXPECT_EQ(sequences[1], sequences[2]);
    EXPECT_NE(sequences[0], sequences[1]);
    EXPECT_EQ(files, std::vector<std::string>(3, files[0]));
    EXPECT_EQ(masters[0], clips[0]);
    EXPECT_EQ(masters[3], clips[0]);
    // What is not part of the export has an identity as well.
    EXPECT_EQ(masters[2], masters[4]);
    EXPECT_NE(masters[2], "gone");
    // Sequences, the bin, the clip and the clip items of the timeline; the clip's own part in its
    // history, so that nobody misses it by itself; nothing in what only refers.
    EXPECT_EQ(captures(served, "(<uuid>)").size(), 9U);
    EXPECT_EQ(captures(served, "<itemhistory>(<uuid>)").size(), 1U);
    EXPECT_NE(served.find("<sequence id=\"" + sequences[1] + "\"/>"), std::string::npos);
    EXPECT_EQ(serve(served), served);
}

TEST_F(StableIdentity, LeavesEverythingElseAsItIs) {
    const std::string document =
        "\xEF\xBB\xBF<?xml version='1.0' encoding='UTF-8'?>\r\n<!-- <clipitem id=\"no\"> -->\r\n"
        "<!DOCTYPE xmeml [ <!ELEMENT a ANY> <!-- > ] --> ]>\r\n"
        "<xmeml version=\"4\"><sequence  TL.X = 'a>b' id = 'old &amp; \"worn\"'\tMZ.Y=\"1&#9;2\" >"
        "\r\n\t<name> \t</name><note>]]&gt;&#13;&lt;x id=\"1\"&gt;</note>"
        "<c><![CDATA[<clipitem id=\"no\">]]></c><track><generatoritem ><name>T</name>"
        "</generatoritem></track><?pi <file id=\"no\"> ?>\r\n</sequence ></xmeml >\r\n<!-- end -->";
    const std::string served = serve(document);
    std::string expected = document;
    const auto replace = [&](std::string_view from, const std::string& to) {
        expected.replace(expected.find(from), from.size(), to);
    };
    const auto sequence = captures(served, "(sequence-[^']+)'");
    const auto title = captures(served, "(generatoritem-[^\"]+)\"");
    const auto uuids = captures(served, "<uuid>([^<]+)");
    ASSERT_TRUE(sequence.size() == 1 && title.size() == 1 && uuids.size() == 2);
    replace("old &amp; \"worn\"", sequence[0]);
    replace("2\" >\r\n\t", "2\" >\r\n\t<uuid>" + uuids[0] + "</uuid>\r\n\t");
    replace("<generatoritem >",
            "<generatoritem id=\"" + title[0] + "\" ><uuid>" + uuids[1] + "</uuid>");
    EXPECT_EQ(served, expected);
}

TEST_F(StableIdentity, Utf16BecomesUtf8AndSaysSo) {
    std::string utf16 = "\xFF\xFE";
    for (const char c : std::string("<?xml version=\"1.0\" encoding=\"UTF-16\"?><xmeml/>"))
        utf16 += {c, '\0'};
    EXPECT_EQ(serve(utf16), "<?xml version=\"1.0\" encoding=\"UTF-8\"?><xmeml/>");
}

TEST_F(StableIdentity, OwnUuidsStayAndAreRecognised) {
    const auto document = [](const std::string& history, const std::string& rest) {
        return "<xmeml><sequence id=\"a\"><uuid>SEQ</uuid><name>S</name><track>"
               "<clipitem id=\"c\"><name>" +
               rest + "</name><itemhistory>" + history +
               "</itemhistory></clipitem></track></sequence></xmeml>";
    };
    const std::string first = serve(document("<uuid>ONE</uuid>", "x"));
    const std::string second = serve(document("<uuid>TWO</uuid><uuid>one</uuid>", "y"));
    EXPECT_NE(first.find("<uuid>SEQ</uuid>"), std::string::npos);
    EXPECT_NE(second.find("<uuid>TWO</uuid><uuid>one</uuid>"), std::string::npos);
    EXPECT_EQ(captures(first, "id=\"([^\"]+)\""), captures(second, "id=\"([^\"]+)\""));
    // An editor that took in what was served writes the UUID that it found there.
    const std::string taken =
        serve(document("<uuid>THREE</uuid>",
                       "</name><uuid>" + captures(first, "<uuid>([^<]+)")[1] + "</uuid><name>z"));
    EXPECT_EQ(captures(first, "id=\"([^\"]+)\""), captures(taken, "id=\"([^\"]+)\""));
}

TEST_F(StableIdentity, SameDocumentSameBytesAndAnUndoBringsIdentityBack) {
    TimelineSeries series(kSeriesKinds[0], 3);
    const std::string document = series.write(Identities::exported);
    const std::string first = serve(document);
    EXPECT_EQ(serve(document), first);
    const std::size_t begin = document.find("<clipitem");
    const std::size_t end = document.find("</clipitem>") + 11;
    std::string without = document;
    // The medium is described there; leave the description where the clip was.
    const std::size_t fileBegin = document.find("<file", begin);
    const std::size_t fileEnd = document.find("</file>", begin) + 7;
    without.replace(begin, end - begin, document.substr(fileBegin, fileEnd - fileBegin));
    const std::string removed = serve(without);
    EXPECT_EQ(removed.find('"' + captures(first, "<clipitem id=\"([^\"]+)\"")[0] + '"'),
              std::string::npos);
    EXPECT_EQ(serve(document), first);
    // What is served is itself recognised, and gets nothing more.
    EXPECT_EQ(serve(first), first);
    // Another project has identities of its own.
    EXPECT_NE(captures(serve(document, "/other.fcp"), "<uuid>([^<]+)"),
              captures(first, "<uuid>([^<]+)"));
}

TEST_F(StableIdentity, AMovedProjectKeepsItsIdentities) {
    TimelineSeries series(kSeriesKinds[0], 3);
    const std::string document = series.write(Identities::exported);
    std::ofstream(folder_ / "p.fcp") << "here";
    const std::string first = serve(document, folder_ / "p.fcp");
    EXPECT_NE(serve(document, folder_ / "copies/p.fcp"), first);
    EXPECT_NE(serve(document, folder_ / "renamed.fcp"), first);
    std::filesystem::remove(folder_ / "p.fcp");
    std::filesystem::remove(folder_ / "copies/p.fcp");
    EXPECT_NE(serve(document, folder_ / "far/other.fcp"), first);
    const std::string copy = serve(document, folder_ / "copies/p.fcp");
    const std::string moved = serve(document, folder_ / "far/p.fcp");
    EXPECT_EQ(moved, copy) << "the last one of that name";
    EXPECT_EQ(serve(document, folder_ / "far/p.fcp"), moved);
    EXPECT_EQ(serve(document, folder_ / "p.fcp"), first) << "it is there again";
}

TEST_F(StableIdentity, RefusesWhatIsNoDocument) {
    for (const char* bad : {"", "<xmeml>", "<a></b>", "no", "<a/><b/>"}) {
        std::string error;
        EXPECT_FALSE(withStableIdentity(bad, "/p.fcp", store_, error));
        EXPECT_FALSE(error.empty());
    }
    const std::string whole = "<?xml version='1.0'?><xmeml><bin id='b'><name><![CDATA[B]]></name>"
                              "<clip id='c'><masterclipid>c</masterclipid></clip></bin></xmeml>";
    for (std::size_t size = 0; size < whole.size(); ++size) {
        std::string error;
        EXPECT_FALSE(withStableIdentity(whole.substr(0, size), "/p.fcp", store_, error)) << size;
    }
    EXPECT_FALSE(std::filesystem::exists(path_));
}

TEST_F(StableIdentity, ADamagedDatabaseIsMovedAsideAndBegunAnew) {
    const std::string document = "<xmeml><bin><name>B</name></bin></xmeml>";
    const auto before = captures(serve(document), "id=\"([^\"]+)\"");
    const std::string good = contentOf(path_);
    std::string other = good;
    std::fill(other.begin() + 100, other.end(), '\x5A');
    for (const std::string& bad : {std::string("no database at all, but some text"), other,
                                   good.substr(0, good.size() / 2)}) {
        log_.clear();
        writeContent(path_, bad);
        const auto after = captures(serve(document), "id=\"([^\"]+)\"");
        ASSERT_EQ(after.size(), 1U);
        EXPECT_NE(after, before) << "an id that was given came back";
        ASSERT_EQ(log_.size(), 1U);
        EXPECT_NE(log_[0].find(".damaged-"), std::string::npos);
    }
    EXPECT_EQ(contentOf(path_ + ".damaged-1"), "no database at all, but some text");
    EXPECT_TRUE(std::filesystem::exists(path_ + ".damaged-3"));
}

TEST_F(StableIdentity, AnotherProcessThatHoldsTheDatabaseIsNotWaitedForForEver) {
    const std::string document = "<xmeml><bin><name>B</name></bin></xmeml>";
    const std::string first = serve(document);
    {
        SqlDatabase other(path_, 0);
        ASSERT_TRUE(other.run("BEGIN IMMEDIATE"));
        std::string error;
        EXPECT_FALSE(withStableIdentity(document, "/p.fcp", store_, error));
        EXPECT_NE(error.find("locked"), std::string::npos) << error;
    }
    EXPECT_EQ(serve(document), first);
    SqlDatabase(path_, 0).run("PRAGMA user_version = 2");
    std::string error;
    EXPECT_FALSE(withStableIdentity(document, "/p.fcp", store_, error));
    EXPECT_NE(error.find("newer"), std::string::npos) << error;
    EXPECT_TRUE(log_.empty());
}

TEST_F(StableIdentity, NamesAreBoundNotWrittenIntoStatements) {
    const std::string document = "<xmeml><bin><name>'); DROP TABLE item; --</name></bin></xmeml>";
    const std::string first = serve(document, "/it's \"here\".fcp");
    EXPECT_EQ(serve(document, "/it's \"here\".fcp"), first);
}

TEST(IdentitySeries, ChangelistsNameTheRealChanges) {
    for (const SeriesKind& kind : kSeriesKinds) {
        SeriesScore total;
        for (std::uint64_t seed = 1; seed <= 3; ++seed) {
            const TemporaryFolder folder;
            total += scoreOfSeries(kind, seed, 8, folder / "identities.sqlite");
        }
        const bool isCalm = kind.editsPerSave <= 3;
        EXPECT_GT(total.items.precision(), isCalm ? 0.998 : 0.99) << kind.name;
        EXPECT_GT(total.items.recall(), isCalm ? 0.998 : 0.99) << kind.name;
        EXPECT_GT(total.sentences.precision(), 0.99) << kind.name;
        EXPECT_GT(total.sentences.recall(), 0.98) << kind.name;
        EXPECT_GT(total.arrivals.precision(), 0.98) << kind.name;
        EXPECT_LT(total.rawSentences.precision(), total.sentences.precision()) << kind.name;
        EXPECT_GT(total.sentences.right, 50U) << kind.name;
    }
}

/// Exports of real editors, where somebody has put them beside the project.
std::optional<std::string> sample(const char* name) {
    const std::string path = std::string(CUTSTACK_SAMPLES "/") + name;
    if (!std::filesystem::exists(path))
        return std::nullopt;
    return contentOf(path);
}

TEST_F(StableIdentity, SamplesKeepTheirContentAndTheirIdentity) {
    if (!std::filesystem::exists(CUTSTACK_SAMPLES))
        GTEST_SKIP() << "no samples beside the project";
    for (const auto& entry : std::filesystem::directory_iterator(CUTSTACK_SAMPLES)) {
        if (entry.path().extension() != ".xml")
            continue;
        const std::string name = entry.path().filename();
        const std::string document = contentOf(entry.path());
        const std::string served = serve(document, name);
        EXPECT_EQ(withoutIdentities(served), withoutIdentities(document)) << name;
        EXPECT_EQ(serve(document, name), served) << name;
        EXPECT_EQ(serve(served, name), served) << name;
        const auto ids = captures(served, "<clipitem[^>]* id=\"([^\"]+)\"");
        EXPECT_EQ(std::set(ids.begin(), ids.end()).size(), ids.size()) << name;
    }
}

/// The same export after other ids were given to everything, as a new export has them.
std::string renumbered(const std::string& document) {
    const std::regex ids(R"re((\sid="|<linkclipref>|<masterclipid>)([^"<]*))re");
    return std::regex_replace(document, ids, "$1again $2 9");
}

TEST_F(StableIdentity, RenumberedSamplesHaveNotChanged) {
    for (const char* name : {"premiere_large_sequence.xml", "premiere_empty_name_tags.xml",
                             "fcp6_sequence_conecta.xml", "resolve_sequence_full.xml"}) {
        const auto document = sample(name);
        if (!document)
            GTEST_SKIP() << "no samples beside the project";
        EXPECT_EQ(changesBetween(serve(*document, name), serve(renumbered(*document), name)),
                  std::vector<std::string>{"No change"})
            << name;
    }
}

TEST_F(StableIdentity, PairsOfSamplesNameWhatWasRemoved) {
    const auto full = sample("resolve_sequence_full.xml");
    const auto thinned = sample("resolve_sequence_filtered.xml");
    if (!full || !thinned)
        GTEST_SKIP() << "no samples beside the project";
    const std::string before = serve(*full);
    const auto changes = changesBetween(before, serve(*thinned));
    EXPECT_EQ(std::ranges::count_if(changes,
                                    [](const std::string& s) {
                                        return s.ends_with(" removed") && s.starts_with("Clip ");
                                    }),
              6);
    EXPECT_TRUE(std::ranges::none_of(changes, [](const std::string& s) {
        return s.starts_with("New video clip") || s.starts_with("New audio clip");
    })) << testing::PrintToString(changes);
}

} // namespace
} // namespace cutstack::projecthost
