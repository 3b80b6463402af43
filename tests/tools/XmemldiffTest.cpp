// The tool as its user meets it: arguments, files, exit status, messages.

#include "tests/Subprocess.h"
#include "tests/TemporaryFolder.h"
#include "tools/SentenceOutput.h"

#include <gtest/gtest.h>
#include <string>
#include <unistd.h>
#include <vector>

namespace cutstack {
namespace {

const std::string kBase = "<xmeml><bin><uuid>1</uuid><name>A</name></bin></xmeml>\n";
const std::string kNew = "<xmeml><bin><uuid>1</uuid><name>B</name></bin><clip id='x'/></xmeml>\n";

class Xmemldiff : public testing::Test {
protected:
    Xmemldiff() {
        writeContent(folder_ / "base.xml", kBase);
        writeContent(folder_ / "new.xml", kNew);
    }

    Finished run(std::vector<std::string> arguments, const std::string& input = "") {
        for (std::string& argument : arguments)
            if (argument.ends_with(".xml") || argument.ends_with(".log"))
                argument = folder_ / argument;
        arguments.insert(arguments.begin(), XMEMLDIFF);
        return finished(arguments, input);
    }

    TemporaryFolder folder_;
};

TEST_F(Xmemldiff, SaysWhatChanged) {
    const struct {
        std::vector<std::string> arguments;
        std::string output;
        int status;
    } cases[] = {
        {{"base.xml", "new.xml"}, "A bin name changed to B\n", 1},
        {{"base.xml", "base.xml"}, "No change\n", 0},
        {{"-q", "base.xml", "new.xml"}, "", 1},
        {{"base.xml", "new.xml", "--hide", "bins,clips"}, "", 0},
        {{"--hide=clips", "--", "base.xml", "new.xml"}, "A bin name changed to B\n", 1},
        {{"-", "new.xml"}, "A bin name changed to B\n", 1},
        {{"new.xml", "-"}, "B bin name changed to A\n", 1},
    };
    for (const auto& row : cases) {
        const Finished tool = run(row.arguments, kBase);
        EXPECT_EQ(tool.output, row.output) << testing::PrintToString(row.arguments);
        EXPECT_EQ(tool.errors, "") << testing::PrintToString(row.arguments);
        EXPECT_EQ(tool.status, row.status) << testing::PrintToString(row.arguments);
    }
}

TEST_F(Xmemldiff, NamesTheFileThePlaceAndTheReason) {
    writeContent(folder_ / "cut.xml", "<xmeml>\n<bin>");
    writeContent(folder_ / "empty.xml", "");
    writeContent(folder_ / "fragment.xml", "<filter/>");
    const struct {
        std::vector<std::string> arguments;
        std::string errors;
    } cases[] = {
        {{"base.xml", "missing.xml"}, "missing.xml: No such file or directory\n"},
        {{"/", "base.xml"}, "xmemldiff: /: Is a directory\n"},
        {{"base.xml", "cut.xml"}, "cut.xml:2:6: Premature end of data in tag bin line 2\n"},
        {{"empty.xml", "base.xml"}, "empty.xml: the document is empty\n"},
        {{"fragment.xml", "base.xml"},
         "fragment.xml: this is no XMEML export: its root element is 'filter'\n"},
        {{"-", "base.xml"}, "standard input: the document is empty\n"},
        {{"base.xml"}, "two files are needed, the base and the new one\n"},
        {{"a", "b", "c"}, "only two files can be compared\n"},
        {{"-", "-"}, "standard input can be only one of the two files\n"},
        {{"--hide", "bin", "a", "b"}, "unknown kind of change 'bin' (see --help)\n"},
        {{"--hide=", "a", "b"}, "unknown kind of change '' (see --help)\n"},
        {{"a", "b", "--log"}, "option '--log' needs a value\n"},
        {{"--nonsense", "a", "b"}, "unknown option '--nonsense'\n"},
        {{"--log", "/no/such/folder/x", "base.xml", "new.xml"},
         "/no/such/folder/x: No such file or directory\n"},
        {{"--log", "new.xml", "base.xml", "new.xml"}, "new.xml: the log would replace an export\n"},
    };
    for (const auto& row : cases) {
        const Finished tool = run(row.arguments);
        EXPECT_NE(tool.errors.find(row.errors), std::string::npos)
            << testing::PrintToString(row.arguments) << " says " << tool.errors;
        EXPECT_EQ(tool.output, "") << testing::PrintToString(row.arguments);
        EXPECT_EQ(tool.status, 2) << testing::PrintToString(row.arguments);
    }
}

TEST_F(Xmemldiff, WritesTheLinesOfTheComparison) {
    writeContent(folder_ / "other.xml", "<xmeml><clip id='y'><x/><label>1</label></clip></xmeml>");
    writeContent(folder_ / "later.xml", "<xmeml><clip id='z'><x/><label>2</label></clip></xmeml>");
    EXPECT_EQ(run({"--log", "lines.log", "other.xml", "later.xml"}).output, "Label changed to 2\n");
    EXPECT_EQ(contentOf(folder_ / "lines.log"),
              "Getting changelist from XML doc...\n"
              "Unknown change: Label changed to 2. XPath: /xmeml[1]/clip[1]/label[1]\n"
              "err2: Invalid type in .//@id=\"y\"[1]\n");
}

TEST_F(Xmemldiff, HelpAndVersion) {
    EXPECT_TRUE(run({"--help"}).output.starts_with("Usage: xmemldiff "));
    EXPECT_TRUE(run({"--version"}).output.starts_with("xmemldiff (Cutstack) "));
    EXPECT_EQ(run({"--help"}).status, 0);
}

TEST_F(Xmemldiff, AFullDiskIsTrouble) {
    if (access("/dev/full", W_OK) != 0)
        GTEST_SKIP() << "this machine has no /dev/full";
    const Finished tool = finished({"/bin/sh", "-c", R"(exec "$0" "$@" > /dev/full)", XMEMLDIFF,
                                    folder_ / "base.xml", folder_ / "new.xml"});
    EXPECT_EQ(tool.status, 2);
    EXPECT_EQ(tool.errors, "xmemldiff: the sentences could not be written\n");
}

TEST_F(Xmemldiff, LowMemoryIsTrouble) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "sanitizers need all the address space that there is";
#endif
    std::string large = "<xmeml>";
    large.append(50'000'000, 'x').append("</xmeml>");
    writeContent(folder_ / "large.xml", large);
    const Finished tool = finished({"/bin/sh", "-c", R"(ulimit -v 150000; exec "$0" "$@")",
                                    XMEMLDIFF, folder_ / "large.xml", folder_ / "large.xml"});
    EXPECT_EQ(tool.status, 2);
    EXPECT_NE(tool.errors.find("out of memory"), std::string::npos) << tool.errors;
}

TEST(SentenceOutput, KeepsASentenceOnOneHarmlessLine) {
    const struct {
        std::string_view sentence, line;
    } cases[] = {
        {"Café\tau lait", "Café\tau lait"},
        {"a\nb\r\n", R"(a\nb\r\n)"},
        {"\x1b[31mred\x7f", "\\x1b[31mred\\x7f"},
        {std::string_view("\0", 1), "\\x00"},
        // NOLINTNEXTLINE(misc-misleading-bidirectional): that is what it is about
        {"\u009B31m\u2028\u202Eabc\u2069\u2030", "\\u009b31m\\u2028\\u202eabc\\u2069\u2030"}};
    for (const auto& row : cases)
        EXPECT_EQ(onOneLine(row.sentence), row.line);
}

} // namespace
} // namespace cutstack
