#include "changes/NodeIdentity.h"

#include "changes/Timecode.h"
#include "changes/XmemlText.h"
#include "support/Numbers.h"
#include "tests/changes/Documents.h"

namespace cutstack {
namespace {

using Texts = std::vector<std::string>;

/// The answer to one question about the first `element` of an export.
template <typename Answer>
auto asked(std::string_view xml, std::string_view element, Answer answer) {
    const auto document = parsed("<xmeml>" + std::string(xml) + "</xmeml>");
    const NodeIdentity identity(*document);
    return answer(identity, firstNamed(*document, element));
}

TEST(NodeIdentity, KindsAsSentencesCallThem) {
    const struct {
        std::string_view element;
        std::string_view type;
    } cases[] = {{"sequence", "Sequence"},
                 {"clipitem", "Clip"},
                 {"generatoritem", "Generatoritem"},
                 {"clipItem", "Clipitem"},
                 {"UUID", "Uuid"}};
    for (const auto& row : cases)
        EXPECT_EQ(asked("<" + std::string(row.element) + "/>", row.element,
                        [](const auto& identity, Node node) { return identity.typeOfNode(node); }),
                  row.type);
    EXPECT_EQ(asked("", "no such element",
                    [](const auto& identity, Node node) { return identity.typeOfNode(node); }),
              "");
}

TEST(NodeIdentity, Names) {
    const struct {
        std::string_view xml;
        std::optional<std::string> name;
    } cases[] = {
        {"<clip><name>A</name><name>B</name></clip>", "A"},
        {"<clip><file><name>F</name></file><name>A</name></clip>", "A"},
        {"<clip><file><name>F</name></file></clip>", "F"},
        {"<clip id='i'><file><name>F</name></file></clip>", "F"},
        {"<clip id='My%20Clip'/>", "My Clip"},
        {"<clip><name/></clip>", ""},
        {"<clip/>", std::nullopt},
        {"<clip><name>My%20Clip</name></clip>", "My Clip"},
        {"<clip><name>100%</name></clip>", "100%"},
        {"<clip><name>50% of %41</name></clip>", "50% of %41"},
        {"<clip><name>Caf%C3%A9</name></clip>", "Caf%C3%A9"},
        {"<clip><name>Café%20</name></clip>", "Café%20"},
    };
    for (const auto& row : cases)
        EXPECT_EQ(asked(row.xml, "clip",
                        [](const auto& identity, Node node) { return identity.nameForNode(node); }),
                  row.name)
            << row.xml;
}

TEST(NodeIdentity, IdsAndUuids) {
    const struct {
        std::string_view xml;
        std::optional<std::string> id, uuid;
        Texts history;
    } cases[] = {
        {"<clip id='a'><file id='f'/></clip>", "a", {}, {}},
        {"<clip><file id='f%31'/><file id='g'/></clip>", "f1", {}, {}},
        {"<clip><video><file id='f'/></video></clip>", {}, {}, {}},
        {"<clip id=''/>", "", {}, {}},
        {"<clip><a><uuid>1</uuid></a><uuid>%32</uuid></clip>", {}, "2", {}},
        {"<clip><a><uuid>1</uuid></a><b><uuid>2</uuid></b></clip>", {}, "1", {}},
        {"<clip><itemhistory><uuid>1</uuid><uuid>2</uuid></itemhistory></clip>", {}, "1", {"1"}},
        {"<clip><itemhistory><uuid/></itemhistory><a><itemhistory><uuid>2</uuid></itemhistory></a>"
         "</clip>",
         {},
         "",
         {}},
        {"<clip><itemhistory/><a><itemhistory><uuid>1</uuid></itemhistory>"
         "<itemhistory><uuid>2</uuid></itemhistory></a><itemhistory><uuid>3</uuid></itemhistory>"
         "<b><itemhistory><uuid>4</uuid></itemhistory></b></clip>",
         {},
         "1",
         {"1", "4"}},
    };
    for (const auto& row : cases) {
        const auto document = parsed("<xmeml>" + std::string(row.xml) + "</xmeml>");
        const NodeIdentity identity(*document);
        const Node clip = firstNamed(*document, "clip");
        EXPECT_EQ(identity.idForNode(clip), row.id) << row.xml;
        EXPECT_EQ(identity.uuidForNode(clip), row.uuid) << row.xml;
        EXPECT_EQ(identity.uuidHistoryForNode(clip), row.history) << row.xml;
    }
}

TEST(NodeIdentity, EnclosingElementsAlsoInGreatDepth) {
    std::string deep = "<sequence><name>S</name>";
    for (int i = 0; i < 300; ++i)
        deep += "<bin><children>";
    deep += "<clip><video><x/><y/></video></clip>";
    for (int i = 0; i < 300; ++i)
        deep += "</children></bin>";
    const auto document = parsed("<xmeml>" + deep + "</sequence></xmeml>");
    const NodeIdentity identity(*document);
    for (const char* leaf : {"x", "y", "x"}) {
        const Node node = firstNamed(*document, leaf);
        EXPECT_EQ(identity.nodeParentWithName(node, XmemlName::sequence),
                  firstNamed(*document, "sequence"));
        EXPECT_EQ(identity.nodeParentWithName(node, XmemlName::clip),
                  firstNamed(*document, "clip"));
        EXPECT_FALSE(identity.nodeParentWithName(node, XmemlName::effect).exists());
        EXPECT_TRUE(identity.pathContains(node, XmemlName::video));
        EXPECT_FALSE(identity.pathContains(node, XmemlName::audio));
    }
    const Node clip = firstNamed(*document, "clip");
    EXPECT_FALSE(identity.nodeParentWithName(clip, XmemlName::clip).exists()) << "not itself";
    EXPECT_TRUE(identity.pathContains(clip, XmemlName::clip)) << "but on its own path";
    const std::string path = identity.xpath(firstNamed(*document, "y"));
    EXPECT_TRUE(path.starts_with(".../children[1]/bin[1]")) << path;
    EXPECT_TRUE(path.ends_with("/clip[1]/video[1]/y[1]")) << path;
}

TEST(NodeIdentity, PlacesAmongManySiblings) {
    std::string track = "<track>";
    for (int i = 0; i < 100; ++i)
        track += "<clipitem><name>C</name></clipitem><gap/>";
    const auto document = parsed("<xmeml>" + track + "<last><name>L</name></last></track></xmeml>");
    const NodeIdentity identity(*document);
    EXPECT_EQ(identity.xpath(firstNamed(*document, "clipitem", 100)),
              "/xmeml[1]/track[1]/clipitem[100]");
    EXPECT_EQ(identity.xpath(firstNamed(*document, "clipitem", 3)),
              "/xmeml[1]/track[1]/clipitem[3]");
    EXPECT_EQ(identity.xpath(firstNamed(*document, "last")), "/xmeml[1]/track[1]/last[1]");
    const Node track1 = firstNamed(*document, "track");
    for (int again = 0; again < 2; ++again) {
        EXPECT_EQ(identity.child(track1, XmemlName::uuid).index(), kMissingNode);
        EXPECT_EQ(identity.nameForNode(track1), "C") << "the first one anywhere below";
    }
}

TEST(NodeIdentity, StartTimesAndTimecodes) {
    const std::string sequence = "<sequence><rate><timebase>25</timebase></rate><timecode><frame>"
                                 "90000</frame><displayformat>NDF</displayformat></timecode>";
    const struct {
        std::string xml;
        std::optional<std::string> start;
    } cases[] = {
        {"<clipitem/>", std::nullopt},
        {"<clipitem><in>30</in><start>60</start></clipitem>", "00:00:02;00"},
        {"<clipitem><x><start>60</start></x><in>30</in></clipitem>", "00:00:01;00"},
        {"<clipitem><x><in>30</in><start>60</start></x></clipitem>", "00:00:02;00"},
        {"<clipitem><start>-1</start></clipitem>", "00:00:00;00"},
        {"<clipitem><rate><timebase>25</timebase></rate><start>25</start></clipitem>",
         "00:00:01;00"},
        {"<clipitem><rate/><rate><timebase>25</timebase></rate><start>25</start></clipitem>",
         "00:00:00;25"},
        {sequence + "<clipitem><rate><timebase>50</timebase></rate><start>0</start></clipitem>"
                    "</sequence>",
         "01:00:00:00"},
        {sequence + "<clipitem><start>-5</start></clipitem></sequence>", "00:00:00:00"},
        {"<sequence><clipitem><start>0</start></clipitem></sequence>", "01:00:00;00"},
        {"<sequence><timecode><frame>0</frame><displayformat>ndf</displayformat></timecode>"
         "<clipitem><start>30</start></clipitem></sequence>",
         "00:00:01;00"},
        {"<sequence><rate><timebase/></rate><clipitem><start>30</start></clipitem></sequence>",
         "00:00:00;00"},
    };
    for (const auto& row : cases)
        EXPECT_EQ(
            asked(row.xml, "clipitem",
                  [](const auto& identity, Node node) { return identity.startTimeForNode(node); }),
            row.start)
            << row.xml;
}

TEST(NodeIdentity, MarkerNamesAreThoseOfMarkersThemselves) {
    EXPECT_EQ(asked("<marker><name>A</name><name>B</name></marker><marker><x><name>C</name></x>"
                    "</marker><bin><marker><name>%41</name></marker></bin>",
                    "marker", [](const auto& identity, Node) { return identity.markerNames(); }),
              (Texts{"A", "%41"}));
}

TEST(UuidDict, KeepsEachValueOnceInOrder) {
    UuidDict dict;
    for (const char* uuid : {"2", "1", "2"})
        uuidDictAddUUID(dict, uuid, "clip");
    uuidDictAddUUID(dict, "2", "bin");
    EXPECT_EQ(dict, (UuidDict{{"bin", {"2"}}, {"clip", {"2", "1"}}}));
}

TEST(Timecode, Arithmetic) {
    constexpr std::int32_t kMost = 2147483647;
    const struct {
        std::int32_t frames;
        TimecodeFormat format;
        std::string_view timecode;
    } cases[] = {
        {0, {30, 0, true}, "00:00:00;00"},       {0, {30, 107892, true}, "01:00:00;00"},
        {1799, {30, 0, true}, "00:00:59;29"},    {1800, {30, 0, true}, "00:01:00;02"},
        {18000, {30, 0, true}, "00:10:00;18"},   {1500, {25, 0, true}, "00:01:00;02"},
        {90000, {25, 0, false}, "01:00:00:00"},  {24 * 3600 * 25, {25, 0, false}, "00:00:00:00"},
        {7, {1, 0, false}, "00:00:07:00"},       {480000, {48000, 0, false}, "00:00:10:00"},
        {-1, {30, 107892, true}, "00:00:00;00"}, {5, {0, 0, false}, "00:00:00:00"},
        {5, {-30, 0, true}, "00:00:00;00"},      {5, {25, -10, false}, "00:00:00:00"},
        {10, {25, -5, false}, "00:00:00:05"},    {kMost, {30, 107892, true}, "00:00:00;00"},
        {kMost, {30, 0, false}, "12:06:28:07"},
    };
    for (const auto& row : cases)
        EXPECT_EQ(timecodeOf(row.frames, row.format), row.timecode)
            << row.frames << " at " << row.format.timebase;
}

TEST(XmemlText, Integers) {
    const struct {
        std::string_view text;
        std::int32_t value;
    } cases[] = {{"12", 12},
                 {" \n\t12", 12},
                 {"+7", 7},
                 {"-1", -1},
                 {"- 1", 0},
                 {"12x", 12},
                 {"x12", 0},
                 {"", 0},
                 {"-", 0},
                 {"1.9", 1},
                 {"99999999999", 2147483647},
                 {"-99999999999999999999999", -2147483648LL},
                 {"0x10", 0},
                 {"\xD9\xA1", 0}};
    for (const auto& row : cases)
        EXPECT_EQ(integerValue(row.text), row.value) << row.text;
}

TEST(XmemlText, PathsAndCapitals) {
    const struct {
        std::string_view path, last;
    } paths[] = {{"a/b", "b"}, {"a/b//", "b"}, {"/", "/"},      {"///", "/"},
                 {"", ""},     {"b", "b"},     {"a/%2F", "%2F"}};
    for (const auto& row : paths)
        EXPECT_EQ(lastPathComponent(row.path), row.last) << row.path;
    EXPECT_EQ(fileNameOfUrl("file://localhost/a%2Fb/My%20Shot.mov"), "My Shot.mov");
    EXPECT_EQ(fileNameOfUrl("file://localhost/a/b%2Fc.mov"), "b/c.mov");

    const struct {
        std::string_view text, capital;
    } capitals[] = {{"", ""},      {"a", "A"}, {"étude", "Étude"},
                    {"ßx", "SSx"}, {"A", "A"}, {"str Ing", "Str Ing"},
                    {"1a", "1a"}};
    for (const auto& row : capitals)
        EXPECT_EQ(capitalizeFirstLetter(row.text), row.capital);
}

} // namespace
} // namespace cutstack
