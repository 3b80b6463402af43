#include "tools/launchctl/UnitFiles.h"

#include <algorithm>
#include <set>
#include <sstream>

#include <gtest/gtest.h>

#include "tests/Subprocess.h"
#include "tests/TemporaryFolder.h"
#include "tools/launchctl/UnitText.h"

namespace cutstack::launchctl {
namespace {

const std::string kHostile[] = {
    "plain",
    "-leading dash",
    ".hidden",
    "100% %n %%",
    "$HOME ${HOME} $$",
    "it's",
    "\"quoted\"",
    "back\\slash\\",
    "two\nExecStart=/x",
    "\r\n[Service]",
    "; /bin/evil",
    "\xff\xfe",
    "\xc3\xa4 \xe6\x97\xa5",
    "# comment",
    "# Label: ",
    " spaces ",
};

JobDefinition jobCalled(const std::string& text) {
    return {.label = text,
            .program = "/bin/true",
            .arguments = {text, text, ""},
            .watchPaths = {"/" + text},
            .startIntervalInSeconds = 900,
            .runAtLoad = true,
            .startOnMount = true,
            .nice = 10,
            .lowPriorityIO = true};
}

/// What stands in the lines of a unit in front of "=", comments and empty lines apart.
std::multiset<std::string> directivesIn(const std::string& unit) {
    std::multiset<std::string> directives;
    std::istringstream lines(unit);
    for (std::string line; std::getline(lines, line);) {
        if (!line.empty() && line.front() != '#')
            directives.insert(line.substr(0, line.find('=')));
    }
    return directives;
}

TEST(UnitFilesTest, NothingInAJobBecomesADirective) {
    const auto plain = unitFiles(jobCalled("plain"), "/jobs/plain.plist", "/opt/launchctl");
    ASSERT_EQ(plain.size(), 6U);
    for (const std::string& text : kHostile) {
        const std::string file = "/jobs/" + text + ".plist";
        const UnitNames names = UnitNames::ofJobFile(file);
        ASSERT_TRUE(names.areUsable());
        const auto files = unitFiles(jobCalled(text), file, "/opt/" + text);
        for (const auto& [name, unit] : files) {
            SCOPED_TRACE(name);
            EXPECT_TRUE(std::ranges::all_of(unit, [](char letter) {
                return letter == '\n' || (letter >= ' ' && letter < '\x7f');
            }));
            const auto origin = originOf(unit);
            ASSERT_TRUE(origin);
            EXPECT_EQ(origin->file, file);
            EXPECT_EQ(origin->label, text);
        }
        EXPECT_EQ(directivesIn(files.at(names.service())), directivesIn(plain.at("plain.service")));
        EXPECT_EQ(directivesIn(files.at(names.watch())),
                  directivesIn(plain.at("plain-watch.service")));
    }
}

TEST(UnitFilesTest, SystemdHasNothingToSayAgainstThem) {
    const TemporaryFolder folder;
    std::filesystem::create_directory(folder / "run");
    setenv("XDG_RUNTIME_DIR", (folder / "run").c_str(), 1);
    setenv("SYSTEMD_UNIT_PATH", (folder / "units:").c_str(), 1);
    std::vector<std::string> command = {"/usr/bin/systemd-analyze", "verify", "--user", "--man=no"};
    for (const std::string& text : kHostile) {
        const std::string file = "/jobs/" + text + ".plist";
        for (const auto& [name, unit] : unitFiles(jobCalled(text), file, "/bin/true")) {
            const std::string path = folder / ("units/" + name);
            writeContent(path, unit);
            // To systemd-analyze a colon parts a file from another name for it.
            if (!name.ends_with(".conf") && name.find_first_of("@:") == std::string::npos)
                command.push_back(path);
        }
    }
    const Finished verified = finished(command);
    EXPECT_EQ(verified.status, 0);
    EXPECT_EQ(verified.output + verified.errors, "");
}

TEST(UnitFilesTest, NamesOfDifferentJobsNeverMeet) {
    std::set<std::string> files;
    std::size_t count = 0;
    for (const char* name :
         {"a", "a-watch", "a-idle", "a-onmount@", "a/b", "a.service", "A", "a\\x2dwatch"}) {
        const auto own = UnitNames(name).files();
        files.insert(own.begin(), own.end());
        count += own.size();
    }
    EXPECT_EQ(files.size(), count);
    EXPECT_EQ(UnitNames::ofJobFile("/jobs/com.zantrel.Cutstack.plist").service(),
              "com.zantrel.Cutstack.service");
    EXPECT_FALSE(UnitNames::ofJobFile("/jobs/.plist").areUsable());
    EXPECT_FALSE(UnitNames(std::string(200, 'a')).areUsable());
}

TEST(UnitFilesTest, OnlyWhatAJobNeedsIsMade) {
    JobDefinition job;
    job.label = "a";
    job.program = "/bin/true";
    job.arguments = {"a"};
    const UnitNames names("a");
    EXPECT_EQ(unitFiles(job, "/a.plist", "/l").size(), 1U);
    EXPECT_TRUE(unitsAtLogin(job, names).empty());
    job.startIntervalInSeconds = 60;
    EXPECT_EQ(unitsAtLogin(job, names), std::vector<std::string>{"a.timer"});
    const std::string timer = unitFiles(job, "/a.plist", "/l").at("a.timer");
    EXPECT_NE(timer.find("OnActiveSec=60\nOnUnitInactiveSec=60\n"), std::string::npos) << timer;
    EXPECT_FALSE(isOwnUnit("[Unit]\n" + timer));
}

TEST(UnitTextTest, ProgramsThatSystemdRefusesRunThroughAnother) {
    EXPECT_EQ(commandLine("/a b/c%", {"Cutstack", "$x"}), R"(":@/a b/c%%" "Cutstack" "$x")");
    EXPECT_EQ(commandLine("/Bob's/c", {"Cutstack", "-x"}),
              R"(":/usr/bin/nice" "-n" "0" "/Bob's/c" "-x")");
}

TEST(UnitTextTest, TakesBackOnlyWhatItQuoted) {
    for (const char* text : {"", "\"", "a", "\"a", "\"\\x4\"", "\"\\xzz\"", "\"a\"b\"", "\"\\n\""})
        EXPECT_FALSE(plainText(text)) << text;
}

} // namespace
} // namespace cutstack::launchctl
