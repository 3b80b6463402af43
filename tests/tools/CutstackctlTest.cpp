// The tool as its user meets it, on a version store of the test's own. HOME is a temporary folder,
// so that caches, settings and log are too.

#include "tests/Subprocess.h"
#include "tests/TemporaryFolder.h"

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace cutstack {
namespace {

const std::string kExamples = CUTSTACK_EXAMPLES;

class Cutstackctl : public testing::Test {
protected:
    Cutstackctl() {
        setenv("HOME", folder_.path().c_str(), 1);
        setenv("CUTSTACK_LOCAL_ROOT", folder_.path().c_str(), 1);
        setenv("TZ", "UTC", 1);
        addVersion(1, contentOf(kExamples + "/harbour-1.xml"));
        addVersion(2, contentOf(kExamples + "/harbour-2.xml"));
        writeContent(copy(3, "fcp"), "a project copy without an XML copy");
    }

    std::string store() const {
        return folder_ / "Library/Application Support/Zantrel/Cutstack/Versions";
    }
    std::string copy(int number, const std::string& type) const {
        return store() + "/Harbour.fcp/Harbour.0000" + std::to_string(number) + "." + type;
    }
    void addVersion(int number, const std::string& xml) {
        writeContent(copy(number, "fcp"), "a project copy");
        writeContent(copy(number, "xml"), xml);
        // Times stand in the output, so they are the same whenever the test runs.
        const std::chrono::sys_seconds time =
            std::chrono::sys_days(std::chrono::year(2026) / 11 / 20) + std::chrono::hours(number);
        std::filesystem::last_write_time(copy(number, "xml"),
                                         std::filesystem::file_time_type::clock::from_sys(time));
    }
    static Finished run(std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), CUTSTACKCTL);
        return finished(arguments);
    }

    TemporaryFolder folder_;
};

TEST_F(Cutstackctl, TellsTheHistoryTheNewestFirst) {
    const Finished history = run({"history", "harbour", "--search", "clip", "--hide", "sequences"});
    EXPECT_EQ(
        history.output,
        "Version 00002, 2026-11-20 02:00:00 +0000, XML copy, 4.65 KB\n"
        "    In Point of clip Boats at dawn changed from 00:00:00;00 to 00:00:02;00 (+61)\n"
        "    Out Point of clip Pier wide changed from 00:00:16;00 to 00:00:15;00 (-30)\n"
        "    Boats at dawn clip duration changed from 01:00:05;00 to 01:00:04;22 (-8)\n"
        "    End point of video clip Boats at dawn changed from 01:00:05;00 to 01:00:04;22 (-8)\n"
        "    Pier wide clip duration changed from 01:00:09;00 to 01:00:09;08 (+8)\n"
        "    Start point of video clip Pier wide changed from 01:00:05;00 to 01:00:04;22 (-8)\n"
        "    New filter added for clip Interview: Gaussian Blur\n"
        "    New clip added: Dogs\n"
        "    Out Point of clip Dogs changed from 00:00:10;00 to 00:00:03;00 (-210)\n"
        "    Clip Gulls removed\n");
    EXPECT_EQ(history.status, 0);
    EXPECT_EQ(history.errors, "");
}

TEST_F(Cutstackctl, ShowsTheSameFromTheCacheAndFromTheFolder) {
    const Finished first = run({"history", "Harbour.fcp"});
    EXPECT_NE(first.output.find("Version 00003"), std::string::npos);
    EXPECT_NE(first.output.find("XML copy 00003 not generated"), std::string::npos);
    EXPECT_EQ(first.output.find("XML copy 00002 not generated"), std::string::npos);
    EXPECT_TRUE(first.output.ends_with("    (Base version)\n"));
    // What was worked out once is not looked at again.
    writeContent(copy(2, "xml"), "no longer an export");
    EXPECT_EQ(run({"history", store() + "/Harbour.fcp/"}).output, first.output);
}

TEST_F(Cutstackctl, PrintsJsonForPrograms) {
    EXPECT_EQ(
        run({"history", "Harbour", "--json", "--search", "music CUE marker"}).output,
        "{\"project\":\"Harbour.fcp\",\"version\":\"00002\",\"number\":2,"
        "\"date\":\"2026-11-20T02:00:00Z\",\"type\":\"xml\",\"size\":\"4.65 KB\",\"file\":\"" +
            copy(2, "xml") +
            "\",\"compared\":true,"
            "\"changes\":[\"Music cue marker description changed to strings, softer\"]}\n");
    EXPECT_EQ(run({"projects", "--json"}).output,
              "{\"project\":\"Harbour.fcp\",\"folder\":\"" + store() + "/Harbour.fcp\"}\n");
    EXPECT_EQ(run({"projects"}).output, "Harbour.fcp\n");
}

TEST_F(Cutstackctl, ProjectsOfTheSameNameInOtherStoresDontMix) {
    const Finished own = run({"history", "Harbour"});
    const std::string other = folder_ / "other/Harbour.fcp/Harbour.0000";
    writeContent(other + "1.xml", contentOf(kExamples + "/harbour-2.xml"));
    writeContent(other + "2.xml", contentOf(kExamples + "/harbour-2.xml"));
    const Finished theirs = run({"history", "--store", folder_ / "other", "Harbour"});
    EXPECT_NE(theirs.output.find("    No change\n"), std::string::npos) << theirs.output;
    EXPECT_EQ(run({"history", "Harbour"}).output, own.output);
}

TEST_F(Cutstackctl, TellsWhatItCouldNotWorkOut) {
    addVersion(4, "<xmeml>\n<bin>");
    addVersion(5, contentOf(kExamples + "/harbour-1.xml"));
    const Finished history = run({"history", "Harbour"});
    EXPECT_EQ(history.status, 2);
    EXPECT_NE(history.output.find("Clip Gulls removed"), std::string::npos);
    EXPECT_EQ(history.errors, "cutstackctl: " + copy(4, "xml") +
                                  ": line 2, column 6: Premature end of data in tag bin line 2\n"
                                  "cutstackctl: " +
                                  copy(5, "xml") + ": the XML copy before it cannot be read\n");
}

TEST_F(Cutstackctl, MistakesAndEmptyAnswers) {
    const struct {
        std::vector<std::string> arguments;
        std::string_view errors;
        int status;
    } cases[] = {
        {{}, "a command is needed\n", 2},
        {{"histroy"}, "unknown command 'histroy'\n", 2},
        {{"history"}, "history: a project is needed\n", 2},
        {{"history", "a", "b"}, "history: there is an argument too many\n", 2},
        {{"history", "Harbour", "--hide", "bin"}, "unknown kind of change 'bin' (see --help)\n", 2},
        {{"projects", "--color", "blue"}, "'blue' is none of auto, always and never\n", 2},
        {{"history", "Nobody"}, "no project 'Nobody' in ", 1},
        {{"history", "/"}, "no project '/' in ", 1},
        {{"history", "Harbour", "-s", "elephant"}, "", 1},
        {{"projects", "--store", "/no/such/store"}, "", 1},
        {{"--help"}, "", 0},
    };
    for (const auto& row : cases) {
        const Finished tool = run(row.arguments);
        EXPECT_NE(tool.errors.find(row.errors), std::string::npos)
            << testing::PrintToString(row.arguments) << " says " << tool.errors;
        EXPECT_EQ(tool.errors.empty(), row.errors.empty()) << tool.errors;
        EXPECT_EQ(tool.status, row.status) << testing::PrintToString(row.arguments);
    }
}

/// Exports of real editors, where a checkout has them beside it.
TEST_F(Cutstackctl, ReadsTheExportsOfRealEditors) {
    const std::filesystem::path samples = CUTSTACK_SAMPLES;
    if (!std::filesystem::exists(samples))
        GTEST_SKIP() << "there are no samples beside this checkout";
    int number = 3;
    for (const auto& name : {"resolve_sequence_full.xml", "resolve_sequence_filtered.xml",
                             "premiere_markers_template.xml", "premiere_markers_only.xml"})
        addVersion(++number, contentOf(samples / name));
    const Finished history = run({"history", "Harbour"});
    EXPECT_EQ(history.errors, "");
    EXPECT_EQ(history.status, 0);
    for (const char* sentence :
         {"Start point of video clip shot_004 changed from 01:00:00:00 to 01:00:21:07 (+511)",
          "New filter added for clip shot_004: Time Remap",
          "New marker 5 added for sequence Sample Sequence with Markers"})
        EXPECT_NE(history.output.find(sentence), std::string::npos) << sentence;
}

} // namespace
} // namespace cutstack
