// Whole scenarios: each folder of tests/data/changelists holds two exports and the changelist that
// they give. Adding one needs no code; script/accept-changelists writes the expected text.

#include "changes/DocumentComparison.h"
#include "tests/TemporaryFolder.h"
#include "tests/changes/Documents.h"

#include <filesystem>

namespace cutstack {
namespace {

const std::filesystem::path kScenarios = std::filesystem::path(CUTSTACK_TEST_DATA) / "changelists";

std::string changelistOf(const std::filesystem::path& base, const std::filesystem::path& next) {
    RecordingHost host;
    const auto baseDocument = parsed(contentOf(base));
    const auto newDocument = parsed(contentOf(next));
    std::string lines;
    for (const std::string& sentence :
         changeListForXMLDoc(*newDocument, *baseDocument, host).value_or(Changelist()))
        lines += sentence + "\n";
    return lines;
}

TEST(ChangelistScenarios, GiveTheExpectedChangelists) {
    int scenarios = 0;
    for (const auto& folder : std::filesystem::directory_iterator(kScenarios)) {
        SCOPED_TRACE(folder.path().filename());
        ++scenarios;
        EXPECT_EQ(changelistOf(folder.path() / "base.xml", folder.path() / "new.xml"),
                  contentOf(folder.path() / "changes.txt"));
        EXPECT_EQ(changelistOf(folder.path() / "new.xml", folder.path() / "new.xml"),
                  "No change\n");
    }
    EXPECT_GT(scenarios, 20);
}

} // namespace
} // namespace cutstack
