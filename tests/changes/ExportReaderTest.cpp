#include "changes/ExportReader.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <gtest/gtest.h>
#include <thread>

#include "tests/TemporaryFolder.h"

namespace cutstack {
namespace {

namespace fs = std::filesystem;

class ExportReaderTest : public testing::Test {
protected:
    /// Writes a document with that root, again and again until the clock of the file system tells
    /// it from the one before.
    std::string write(std::string_view file, std::string_view root) {
        std::string path = folder_ / file;
        std::string error;
        const auto before = fileStamp(path, error);
        do
            writeContent(path, "<" + std::string(root) + "/>");
        while (fileStamp(path, error) == before);
        return path;
    }
    std::string rootOf(const std::string& path) {
        const ExportReading reading = reader_.read(path);
        EXPECT_FALSE(reading.unreadable || reading.malformed);
        return reading.document ? std::string(reading.document->root().nameText()) : "";
    }

    TemporaryFolder folder_;
    ExportReader reader_;
};

/// A comparison reads its new document first and its base document after it.
TEST_F(ExportReaderTest, ReadsEachOfAChainOfVersionsOnce) {
    std::vector<std::string> paths;
    for (const char* name : {"1", "2", "3", "4", "5"})
        paths.push_back(write(name, "xmeml"));
    for (const bool ahead : {false, true}) {
        SharedDocument previous;
        for (std::size_t i = 1; i < paths.size(); ++i) {
            if (ahead)
                reader_.readAhead(std::span(paths).subspan(i - 1));
            const SharedDocument next = reader_.read(paths[i]).document;
            const SharedDocument base = reader_.read(paths[i - 1]).document;
            EXPECT_TRUE(base == previous || previous == nullptr) << i << ahead;
            previous = next;
        }
        reader_.forget();
    }
}

TEST_F(ExportReaderTest, ReadsAnewWhatChanged) {
    const std::string path = write("a.xml", "one");
    EXPECT_EQ(rootOf(path), "one");
    const auto modified = fs::last_write_time(path);
    write("a.xml", "three");
    EXPECT_EQ(rootOf(path), "three");
    write("a.xml", "seven");
    fs::last_write_time(path, modified);
    EXPECT_EQ(rootOf(path), "seven");
    fs::rename(write("b.xml", "eight"), path);
    EXPECT_EQ(rootOf(path), "eight");

    reader_.readAhead(std::array{path, write("b.xml", "begun")});
    std::this_thread::sleep_for(std::chrono::milliseconds(50)); // most likely it has been read now
    EXPECT_EQ(rootOf(write("b.xml", "ended")), "ended");
    EXPECT_EQ(rootOf(path), "eight");
}

TEST_F(ExportReaderTest, HoldsFewDocumentsAndLetsGoOfThem) {
    std::vector<std::weak_ptr<const XmemlDocument>> documents;
    const auto held = [&] {
        return std::ranges::count_if(documents, [](const auto& one) { return !one.expired(); });
    };
    for (int i = 0; i < 10; ++i)
        documents.push_back(reader_.read(write(std::to_string(i), "xmeml")).document);
    EXPECT_EQ(held(), static_cast<std::ptrdiff_t>(ExportReader::kKept));
    reader_.readAhead(std::array{folder_ / "0", folder_ / "1", folder_ / "2"});
    reader_.forget();
    EXPECT_EQ(held(), 0);
}

TEST_F(ExportReaderTest, SaysWhyThereIsNoDocument) {
    writeContent(folder_ / "bad.xml", "<xmeml>\n<name>");
    writeContent(folder_ / "empty.xml", "");
    const std::array paths = {folder_ / "bad.xml", folder_ / "missing.xml"};
    for (const bool ahead : {false, true}) {
        if (ahead)
            reader_.readAhead(paths);
        const ExportReading bad = reader_.read(paths[0]);
        EXPECT_EQ(bad.malformed.value_or("").substr(0, 7), "line 2,");
        EXPECT_FALSE(bad.document || bad.unreadable);
        const ExportReading missing = reader_.read(paths[1]);
        EXPECT_EQ(missing.unreadable, "No such file or directory");
        EXPECT_FALSE(missing.document || missing.malformed);
    }
    EXPECT_TRUE(reader_.read(folder_ / "empty.xml").malformed);
    EXPECT_EQ(reader_.read(folder_.path()).unreadable, "Is a directory");
    EXPECT_EQ(rootOf(write("bad.xml", "repaired")), "repaired");
    EXPECT_EQ(rootOf(write("missing.xml", "there")), "there");
}

} // namespace
} // namespace cutstack
