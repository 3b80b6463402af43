#include "support/PropertyList.h"

#include <cmath>
#include <cstdlib>
#include <gtest/gtest.h>
#include <limits>

#include "support/BinaryPropertyList.h"
#include "support/PropertyListReading.h"
#include "support/PropertyListWriting.h"
#include "tests/TemporaryFolder.h"

namespace cutstack {

namespace {

using namespace std::chrono_literals;
using Array = PropertyList::Array;
using Dictionary = PropertyList::Dictionary;
using std::chrono::sys_days;

constexpr auto kInt64Min = std::numeric_limits<std::int64_t>::min();
constexpr auto kInt64Max = std::numeric_limits<std::int64_t>::max();
constexpr auto kUint64Max = std::numeric_limits<std::uint64_t>::max();

const PropertyListDate kFirstDate = sys_days(0001y / 1 / 1);
const PropertyListDate kMoonLanding = sys_days(1969y / 7 / 20) + 20h + 17min + 40s;
const PropertyListDate kBeyond32Bits = sys_days(2038y / 1 / 19) + 3h + 14min + 8s;
const PropertyListDate kLastDate = sys_days(9999y / 12 / 31) + 23h + 59min + 59s;

PropertyListData data(std::string bytes) { return {std::move(bytes)}; }

/// All kinds of value with their borders, for trips through files and through other programs.
PropertyList everything() {
    Array lengths;
    for (std::size_t length = 0; length < 100; length += length < 6 ? 1 : 43)
        lengths.emplace_back(data(std::string(length, '\xFB')));
    return Dictionary{
        {"", "an empty key"},
        {"<key> & \"key\"", "<&>\"']]>"},
        {"integers",
         Array{0, -1, 127, 128, 65536, kInt64Min, kInt64Max, kUint64Max, std::uint64_t{1} << 63}},
        {"reals", Array{0.0, -0.0, 0.1, -2.5, 1e300, 5e-324, 3.0}},
        {"flags", Array{true, false}},
        {"dates", Array{kFirstDate, kMoonLanding, kBeyond32Bits, kLastDate}},
        {"data", std::move(lengths)},
        {"texts",
         Array{"", " ", " a\tb\nc ", "\u00e9\u4e2d\U0001F3AC\u007f", std::string(70000, 'x')}},
        {"empty", Array{Dictionary{}, Array{}}},
        {"\u00fcber", Dictionary{{"inner", Dictionary{{"innermost", 1}}}}},
    };
}

std::string xmlOf(const PropertyList& list) {
    auto xml = xmlPropertyList(list);
    EXPECT_TRUE(xml.has_value());
    return xml.value_or("");
}

PropertyList readBack(std::string bytes) {
    std::string error;
    auto list = readPropertyList(std::move(bytes), error);
    EXPECT_TRUE(list.has_value()) << error;
    return list.value_or(PropertyList());
}

std::string errorOf(std::string bytes) {
    std::string error;
    EXPECT_FALSE(readPropertyList(std::move(bytes), error).has_value());
    EXPECT_FALSE(error.empty());
    return error;
}

std::string document(std::string_view body) {
    return "<?xml version=\"1.0\"?>\n<plist version=\"1.0\">" + std::string(body) + "</plist>\n";
}

/// Runs a Python script with the arguments; fails the running test when it fails.
void runPython(const TemporaryFolder& folder, std::string_view script,
               const std::string& arguments) {
    writeContent(folder / "script.py", script);
    const std::string command = "python3 '" + folder / "script.py" + "' " + arguments;
    ASSERT_EQ(std::system(command.c_str()), 0) << command;
}

TEST(PropertyListTest, readsAsTheNumberOrFlagThatASettingWants) {
    const struct {
        PropertyList value;
        std::int64_t integer;
        bool flag;
    } cases[] = {
        {0, 0, false},
        {-7, -7, true},
        {kUint64Max, kInt64Max, true},
        {true, 1, true},
        {false, 0, false},
        {2.9, 2, true},
        {-2.9, -2, true},
        {0.5, 0, true},
        {1e300, kInt64Max, true},
        {-1e300, kInt64Min, true},
        {std::nan(""), 0, true},
        {"25", 25, true},
        {" \t-3 days", -3, true},
        {"+4", 4, true},
        {"+-4", 0, false},
        {"99999999999999999999", kInt64Max, true},
        {"-99999999999999999999", kInt64Min, true},
        {"0x10", 0, false},
        {"000", 0, false},
        {"0002", 2, true},
        {"YES", 0, true},
        {"true", 0, true},
        {"NO", 0, false},
        {"", 0, false},
        {Array{1}, 0, false},
        {Dictionary{{"a", 1}}, 0, false},
        {data("1"), 0, false},
        {kMoonLanding, 0, false},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(xmlOf(row.value));
        EXPECT_EQ(row.value.integerValue(), row.integer);
        EXPECT_EQ(row.value.booleanValue(), row.flag);
    }
}

TEST(PropertyListTest, accessorsAnswerForEveryKind) {
    const PropertyList list = everything();
    ASSERT_NE(list.valueForKey("flags"), nullptr);
    EXPECT_EQ(list.valueForKey("absent"), nullptr);
    EXPECT_EQ(PropertyList("text").valueForKey("flags"), nullptr);
    EXPECT_EQ(PropertyList(5U).asUnsigned(), 5U);
    EXPECT_EQ(PropertyList(5U), PropertyList(5));
    EXPECT_EQ(PropertyList(kUint64Max).asUnsigned(), kUint64Max);
    EXPECT_EQ(PropertyList(kUint64Max).asInteger(), std::nullopt);
    EXPECT_EQ(PropertyList(-5).asUnsigned(), std::nullopt);
    EXPECT_EQ(PropertyList(true).asInteger(), std::nullopt);
    EXPECT_EQ(PropertyList(1).asBoolean(), std::nullopt);
    EXPECT_NE(PropertyList(1), PropertyList(true));
    EXPECT_NE(PropertyList(1), PropertyList(1.0));
    EXPECT_NE(PropertyList(data("a")), PropertyList("a"));
    EXPECT_EQ(PropertyList("a").asData(), nullptr);
}

TEST(PropertyListTest, xmlRoundTrip) {
    EXPECT_EQ(readBack(xmlOf(everything())), everything());
    const Array notEvenPython{"a\rb\r\n", std::numeric_limits<double>::infinity(),
                              -std::numeric_limits<double>::infinity()};
    EXPECT_EQ(readBack(xmlOf(notEvenPython)), PropertyList(notEvenPython));
    EXPECT_TRUE(std::isnan(readBack(xmlOf(std::nan(""))).asReal().value_or(0)));
}

TEST(PropertyListTest, xmlForm) {
    const PropertyList list =
        Dictionary{{"b", Array{1, true, Dictionary{}}}, {"a", "x\r<"}, {"c", data("\xFF")}};
    EXPECT_EQ(xmlOf(list), "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                           "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
                           "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
                           "<plist version=\"1.0\">\n"
                           "<dict>\n"
                           "\t<key>a</key>\n"
                           "\t<string>x&#13;&lt;</string>\n"
                           "\t<key>b</key>\n"
                           "\t<array>\n"
                           "\t\t<integer>1</integer>\n"
                           "\t\t<true/>\n"
                           "\t\t<dict/>\n"
                           "\t</array>\n"
                           "\t<key>c</key>\n"
                           "\t<data>\n"
                           "\t/w==\n"
                           "\t</data>\n"
                           "</dict>\n"
                           "</plist>\n");
}

TEST(PropertyListTest, refusesToWriteWhatXmlCannotCarry) {
    using namespace std::string_literals;
    const PropertyList cases[] = {
        "\x01"s,
        "nul \0 byte"s,
        "\x1f"s,
        "\x80"s,
        "cut off \xC3"s,
        "\xC0\xAF"s,
        "\xE0\x80\x80"s,
        "surrogate \xED\xA0\x80"s,
        "\xEF\xBF\xBE"s,
        "\xEF\xBF\xBF"s,
        "\xF4\x90\x80\x80"s,
        "\xF8\x88\x80\x80\x80"s,
        Dictionary{{"\x02", 1}},
        Dictionary{{"key", Array{"\x03"}}},
        kFirstDate - 1s,
        kLastDate + 1s,
        PropertyListDate::max(),
        PropertyListDate::min(),
    };
    for (const PropertyList& list : cases)
        EXPECT_FALSE(xmlPropertyList(list).has_value());
    for (const char* edge : {"\xED\x9F\xBF", "\xEE\x80\x80", "\xEF\xBF\xBD", "\xF4\x8F\xBF\xBF"})
        EXPECT_EQ(readBack(xmlOf(edge)), PropertyList(edge));
}

TEST(PropertyListTest, readsWhatIsAllowed) {
    const struct {
        std::string body;
        PropertyList value;
    } cases[] = {
        {"<integer>0x1F</integer>", 31},
        {"<integer>0XffffFFFFffffFFFF</integer>", kUint64Max},
        {"<integer>+5</integer>", 5},
        {"<integer>-0</integer>", 0},
        {"<integer>\n\t007 </integer>", 7},
        {"<real> +1.5e3 </real>", 1500.0},
        {"<real>5</real>", 5.0},
        {"<true></true>", true},
        {"<false> </false>", false},
        {"<string/>", ""},
        {"<string> a<!-- no --> &amp;<![CDATA[<b>]]>&#x41;</string>", " a &<b>A"},
        {"<data>/ w\n= =</data>", data("\xFF")},
        {"<data/>", data("")},
        {"<date>2000-02-29T23:59:59Z</date>", sys_days(2000y / 2 / 29) + 24h - 1s},
        {"\n<!-- c --><dict a='b'> <key>k</key> <true/> </dict> ", Dictionary{{"k", true}}},
        {"<dict><key>k</key><true/><key>k</key><integer>2</integer></dict>", Dictionary{{"k", 2}}},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.body);
        EXPECT_EQ(readBack(document(row.body)), row.value);
        EXPECT_EQ(readBack("\xEF\xBB\xBF" + document(row.body)), row.value);
        std::string utf16 = "\xFF\xFE";
        for (const char c : document(row.body))
            utf16 += {c, '\0'};
        EXPECT_EQ(readBack(utf16), row.value);
    }
}

TEST(PropertyListTest, refusesNearMissesWithTheirPlace) {
    const struct {
        std::string body; ///< in line 2, from column 22 on
        std::string error;
    } cases[] = {
        {"", "line 2, column 21: <plist> holds no value"},
        {"text", "text beside the values in <plist>"},
        {"<integer>1</integer><integer>2</integer>", "column 50: a second value in <plist>"},
        {"<integer>12x</integer>", "line 2, column 30: not a value of <integer>"},
        {"<integer/>", "not a value of <integer>"},
        {"<integer>- 5</integer>", "not a value of <integer>"},
        {"<integer>+-5</integer>", "not a value of <integer>"},
        {"<integer>1.0</integer>", "not a value of <integer>"},
        {"<integer>0x</integer>", "not a value of <integer>"},
        {"<integer>-0x1</integer>", "not a value of <integer>"},
        {"<integer>0x-1</integer>", "not a value of <integer>"},
        {"<integer>18446744073709551616</integer>", "not a value of <integer>"},
        {"<integer>-9223372036854775809</integer>", "not a value of <integer>"},
        {"<integer>\u0661</integer>", "not a value of <integer>"},
        {"<real>1,5</real>", "not a value of <real>"},
        {"<real>1e999</real>", "not a value of <real>"},
        {"<real>nan(1)</real>", "not a value of <real>"},
        {"<real>0x1p3</real>", "not a value of <real>"},
        {"<real>+-1</real>", "not a value of <real>"},
        {"<real></real>", "not a value of <real>"},
        {"<true>yes</true>", "not a value of <true>"},
        {"<date>2001-02-29T00:00:00Z</date>", "not a value of <date>"},
        {"<date>2001-13-01T00:00:00Z</date>", "not a value of <date>"},
        {"<date>2001-00-01T00:00:00Z</date>", "not a value of <date>"},
        {"<date>0000-01-01T00:00:00Z</date>", "not a value of <date>"},
        {"<date>2001-01-01T24:00:00Z</date>", "not a value of <date>"},
        {"<date>2001-01-01T00:60:00Z</date>", "not a value of <date>"},
        {"<date>2001-01-01T00:00:60Z</date>", "not a value of <date>"},
        {"<date>2001-01-01T00:00:00</date>", "not a value of <date>"},
        {"<date>2001-01-01T00:00:00+01:00</date>", "not a value of <date>"},
        {"<date>2001-01-01 00:00:00Z</date>", "not a value of <date>"},
        {"<date> 2001-01-01T00:00:00Z</date>", "not a value of <date>"},
        {"<date>12001-01-01T00:00:00Z</date>", "not a value of <date>"},
        {"<data>QQ</data>", "not a value of <data>"},
        {"<data>QQ=</data>", "not a value of <data>"},
        {"<data>QR==</data>", "not a value of <data>"},
        {"<data>Q===</data>", "not a value of <data>"},
        {"<data>====</data>", "not a value of <data>"},
        {"<data>QQ==QQ==</data>", "not a value of <data>"},
        {"<data>QQ-_</data>", "not a value of <data>"},
        {"<dict><true/></dict>", "column 33: a key is expected, not <true>"},
        {"<dict>\n<key>a</key></dict>", "line 2, column 27: the last key of a <dict> has no value"},
        {"<dict>\n<key>a</key>\n<key>b</key></dict>", "line 4, column 5: a value is expected"},
        {"<dict>a</dict>", "text beside the values in <dict>"},
        {"<array><key>a</key></array>", "a value is expected, not <key>"},
        {"<key>a</key>", "a value is expected, not <key>"},
        {"<string><b/></string>", "<b> is no element of a property list"},
        {"<string><true/></string>", "<true> inside <string>"},
        {"<plist><true/></plist>", "<plist> inside a property list"},
        {"<set/>", "<set> is no element of a property list"},
        {"<True/>", "<True> is no element"},
        {"<x:true xmlns:x='y'/>", "<true> is no element"},
        {"<true/></plist><plist><true/>", "line 2, column"},
        {"<string>&nbsp;</string>", "line 2, column"},
        {"<string>\x01</string>", "line 2, column"},
        {"<string>\xFF</string>", "line 2, column"},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.body);
        const std::string error = errorOf(document(row.body));
        EXPECT_TRUE(error.starts_with("line ")) << error;
        EXPECT_NE(error.find(row.error), std::string::npos) << error;
    }
    EXPECT_NE(errorOf("<dict/>").find("line 1, column 6: the root element is not <plist>"),
              std::string::npos);
    EXPECT_EQ(errorOf(""), "the document is empty");
    errorOf("{ old = style; }");
    errorOf("<!DOCTYPE plist [<!ENTITY a 'b'>]><plist><string>&a;</string></plist>");
}

TEST(PropertyListTest, nestsToTheLimitAndNoFurther) {
    const auto nested = [](std::size_t levels) {
        PropertyList list = Array{1};
        for (std::size_t i = 1; i < levels; ++i)
            list = i % 2 == 0 ? PropertyList(Array{std::move(list)})
                              : PropertyList(Dictionary{{"k", std::move(list)}});
        return list;
    };
    const PropertyList deepest = nested(kPropertyListDepthLimit);
    EXPECT_EQ(readBack(xmlOf(deepest)), deepest);
    EXPECT_FALSE(xmlPropertyList(nested(kPropertyListDepthLimit + 1)).has_value());

    const auto arrays = [](std::size_t levels) {
        std::string body;
        for (std::size_t i = 0; i < levels; ++i)
            body += "<array>";
        for (std::size_t i = 0; i < levels; ++i)
            body += "</array>";
        return document(body);
    };
    readBack(arrays(kPropertyListDepthLimit));
    for (const std::size_t levels : {kPropertyListDepthLimit + 1, std::size_t{100000}})
        EXPECT_NE(errorOf(arrays(levels)).find("nested deeper than 512 levels"), std::string::npos);
}

TEST(PropertyListTest, pythonReadsAndWritesTheSame) {
    const TemporaryFolder folder;
    writeContent(folder / "ours", xmlOf(everything()));
    runPython(folder, R"(
import plistlib, sys
ours, xml, binary = sys.argv[1:]
with open(ours, 'rb') as file:
    value = plistlib.load(file)
for path, form in (xml, plistlib.FMT_XML), (binary, plistlib.FMT_BINARY):
    with open(path, 'wb') as file:
        plistlib.dump(value, file, fmt=form)
)",
              folder / "ours" + " " + folder / "xml" + " " + folder / "binary");
    EXPECT_EQ(readBack(contentOf(folder / "xml")), everything());
    EXPECT_TRUE(isBinaryPropertyList(contentOf(folder / "binary")));
    EXPECT_EQ(readBack(contentOf(folder / "binary")), everything());
}

/// A binary list of Python's with all kinds of value in it, small enough to be damaged everywhere.
std::string smallBinaryList() {
    const TemporaryFolder folder;
    runPython(folder, R"(
import datetime, plistlib, sys
with open(sys.argv[1], 'wb') as file:
    plistlib.dump({'a': [1, -1, 2**64 - 1, 1.5, True], 'b': b'data', 'c': 'long' * 5,
                   'd': {'date': datetime.datetime(1985, 3, 4), 'wide': '\u00fc\U0001F3AC'}},
                  file, fmt=plistlib.FMT_BINARY)
)",
              folder / "list");
    return contentOf(folder / "list");
}

TEST(PropertyListTest, refusesWhatIsCutOffAnywhere) {
    const std::string xml = xmlOf(Dictionary{{"a", Array{1, "x", data("abc"), kMoonLanding}}});
    const std::string binary = smallBinaryList();
    readBack(binary);
    for (const std::string& whole : {xml.substr(0, xml.size() - 1), binary})
        for (std::size_t length = 0; length < whole.size(); ++length)
            errorOf(whole.substr(0, length));
}

TEST(PropertyListTest, survivesDamageAtEveryByte) {
    const std::string whole = smallBinaryList();
    for (std::size_t i = 0; i < whole.size(); ++i) {
        for (int flip = 1; flip < 256; ++flip) {
            std::string damaged = whole;
            damaged[i] = static_cast<char>(damaged[i] ^ flip);
            std::string error;
            const auto list = readPropertyList(std::move(damaged), error);
            EXPECT_NE(list.has_value(), !error.empty());
        }
    }
}

/// The text "k" as an object: 0x51, an ASCII string of one byte.
const std::string kKey = "Qk";

/// A binary list of these objects, with one-byte offsets and references; the first one is the top.
std::string binaryList(const std::vector<std::string>& objects) {
    std::string bytes = "bplist00";
    std::string table;
    for (const std::string& object : objects) {
        table.push_back(static_cast<char>(bytes.size()));
        bytes += object;
    }
    const auto tableOffset = static_cast<char>(bytes.size());
    bytes += table + std::string(6, '\0') + "\x01\x01" + std::string(7, '\0') +
             static_cast<char>(objects.size()) + std::string(15, '\0') + tableOffset;
    return bytes;
}

TEST(PropertyListTest, readsBinaryObjects) {
    using namespace std::string_literals;
    const struct {
        std::vector<std::string> objects;
        PropertyList value;
    } cases[] = {
        {{"\x10\xFF"s}, 255},
        {{"\x11\xFF\xFE"s}, 65534},
        {{"\x12\xFF\xFF\xFF\xFF"s}, 4294967295},
        {{"\x13\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF"s}, -1},
        {{"\x14"s + std::string(16, '\xFF')}, -1},
        {{"\x14"s + std::string(8, '\0') + std::string(8, '\xFF')}, kUint64Max},
        {{"\x22\x3F\xC0\x00\x00"s}, 1.5},
        {{"\x33\x00\x00\x00\x00\x00\x00\x00\x00"s}, PropertyListDate(sys_days(2001y / 1 / 1))},
        {{"\x33\xBF\xE0\x00\x00\x00\x00\x00\x00"s}, sys_days(2001y / 1 / 1) - 1s},
        {{"\x5F\x10\x03"
          "abc"s},
         "abc"},
        {{"\x62\x00\x41\x20\xAC"s}, "A\u20ac"},
        {{"\xA2\x01\x01"s, "\x09"s}, Array{true, true}},
        {{"\xD2\x01\x01\x02\x03"s, kKey, "\x08"s, "\x09"s}, Dictionary{{"k", true}}},
    };
    for (const auto& row : cases)
        EXPECT_EQ(readBack(binaryList(row.objects)), row.value);
}

TEST(PropertyListTest, refusesHostileBinaryObjects) {
    using namespace std::string_literals;
    std::vector<std::string> doubling;
    for (char next = 1; next <= 60; ++next)
        doubling.push_back("\xA2"s + next + next);
    doubling.emplace_back("\x09");
    const struct {
        std::string bytes;
        std::string error;
    } cases[] = {
        {binaryList({"\xA1\x00"s}), "holds itself"},
        {binaryList({"\xA2\x00\x00"s}), "holds itself"},
        {binaryList({"\xD1\x01\x00"s, kKey}), "holds itself"},
        {binaryList(doubling), "refer to each other so often"},
        {binaryList({"\xA1\x01"s}), "object 1, which there is not"},
        {binaryList({"\xAF\x13\x7F\xFF\xFF\xFF\xFF\xFF\xFF\xFF"s}), "reaches beyond"},
        {binaryList({"\xDF\x13\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF"s}), "reaches beyond"},
        {binaryList({"\x4F\x12\x00\x00\x00\x02\x61"s}), "reaches beyond"},
        {binaryList({"\x61\x00"s}), "reaches beyond"},
        {binaryList({"\x5F\x22\x00\x00\x00\x00"s}), "without a size"},
        {binaryList({"\x5F\x14"s + std::string(16, '\0')}), "without a size"},
        {binaryList({"\xDF"s}), "without a size"},
        {binaryList({"\x62\xD8\x3C\x00\x41"s}), "not valid UTF-16"},
        {binaryList({"\x61\xDF\xAC"s}), "not valid UTF-16"},
        {binaryList({"\x61\xD8\x3C"s}), "not valid UTF-16"},
        {binaryList({"\x51\xE9"s}), "ASCII string"},
        {binaryList({"\xD1\x01\x01"s, "\x10\x05"s}), "key is no string"},
        {binaryList({"\x14"s + std::string(7, '\0') + "\x01"s + std::string(8, '\0')}),
         "more than 64 bits"},
        {binaryList({"\x15"s + std::string(32, '\0')}), "unknown width"},
        {binaryList({"\x13\x00"s}), "unknown width"},
        {binaryList({"\x21\x00\x00"s}), "real of an unknown width"},
        {binaryList({"\x32\x00\x00\x00\x00"s}), "date of an unknown width"},
        {binaryList({"\x33\x7F\xF8\x00\x00\x00\x00\x00\x00"s}), "years 1 to 9999"},
        {binaryList({"\x33\x7F\xEF\xFF\xFF\xFF\xFF\xFF\xFF"s}), "years 1 to 9999"},
        {binaryList({"\x33\x42\x6D\x42\x45\x5B\x51\x80\x00"s}), "years 1 to 9999"},
        {binaryList({"\x80\x01"s}), "UID"},
        {binaryList({"\xC1\x01"s, "\x09"s}), "a set"},
        {binaryList({"\xB1\x01"s, "\x09"s}), "a set"},
        {binaryList({"\x00"s}), "null"},
        {binaryList({"\x70\x00"s}), "unknown kind"},
        {binaryList({}), "trailer"},
    };
    for (const auto& row : cases) {
        const std::string error = errorOf(row.bytes);
        EXPECT_NE(error.find(row.error), std::string::npos) << error << ", not " << row.error;
    }
}

TEST(PropertyListTest, refusesHostileTrailers) {
    const std::string good = binaryList({"\x09"});
    readBack(good);
    const struct {
        std::size_t offset; ///< in the trailer
        std::string bytes;
    } cases[] = {
        {6, std::string(1, '\0')},   // no bytes an offset
        {6, "\x09"},                 // too many
        {7, std::string(1, '\0')},   // no bytes a reference
        {7, "\xFF"},                 // too many
        {8, "\x80"},                 // 2^63 objects
        {8, std::string(8, '\xFF')}, // 2^64-1 objects
        {15, "\x02"},                // one more than the table has
        {23, "\x01"},                // top object outside
        {24, std::string(8, '\xFF')},
        {31, std::string(1, '\0')}, // table before the objects
        {31, "\x0A"},               // table behind its only entry
    };
    for (const auto& row : cases) {
        std::string bytes = good;
        bytes.replace(bytes.size() - 32 + row.offset, row.bytes.size(), row.bytes);
        errorOf(bytes);
    }
    for (const char offset : {'\x00', '\x07', '\x09', '\xFF'}) { // of the only object
        std::string bytes = good;
        bytes[9] = offset;
        EXPECT_NE(errorOf(bytes).find("outside the objects"), std::string::npos);
    }
}

TEST(PropertyListTest, boundsWhatSharedTextsGrowTo) {
    // An array that means one text of 64 KB in each of 30,000 places: 2 GB from 124 KB.
    constexpr std::size_t kPlaces = 30000;
    constexpr std::size_t kLength = 65536;
    std::string bytes = "bplist00";
    bytes += "\xAF\x11\x75\x30" + std::string(kPlaces, '\1');
    const std::size_t textOffset = bytes.size();
    bytes += std::string("\x5F\x12\x00\x01\x00\x00", 6) + std::string(kLength, 'x');
    const auto number = [](std::size_t value, int width) {
        std::string text;
        for (int i = width - 1; i >= 0; --i)
            text.push_back(static_cast<char>(value >> (8 * i)));
        return text;
    };
    const std::size_t tableOffset = bytes.size();
    bytes += number(8, 4) + number(textOffset, 4);
    bytes +=
        std::string(6, '\0') + "\x04\x01" + number(2, 8) + number(0, 8) + number(tableOffset, 8);
    EXPECT_NE(errorOf(bytes).find("refer to each other so often"), std::string::npos);
}

} // namespace

} // namespace cutstack
