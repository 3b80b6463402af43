#include "support/FileOperation.h"

#include "support/ZTFileManager.h"
#include "tests/support/FileManagerFixture.h"

namespace cutstack {
namespace {

using Lines = std::vector<std::string>;

/// Keeps what it was told.
struct RecordingDelegate final : FileOperationDelegate {
    std::vector<FileOperationInfo> progress;
    std::optional<FileOperationInfo> finished;
    bool cancels = false;

    void fileOperationProgress(const FileOperationInfo& info, FileOperation& operation) override {
        progress.push_back(info);
        if (cancels)
            operation.cancel();
    }
    void fileOperationFinished(const FileOperationInfo& info, FileOperation&) override {
        finished = info;
        finished->context.delegate.reset(); // not itself
    }
};

class FileOperationTest : public FileManagerTest {
protected:
    std::shared_ptr<FileOperation> start(const std::string& source,
                                         const std::string& destination) {
        return ZTFileManager::copyFileWithProgress(source, destination, delegate, 42,
                                                   std::string("more"), at);
    }
    void runToEnd() {
        while (!delegate->finished)
            mainThread.runNext();
    }
    void TearDown() override {
        // What the delegate was told is all that keeps it besides this.
        for (auto& each : delegate->progress)
            each.context.delegate.reset();
        EXPECT_EQ(delegate.use_count(), 1);
    }

    std::shared_ptr<RecordingDelegate> delegate = std::make_shared<RecordingDelegate>();
};

TEST_F(FileOperationTest, CopiesUnderItsOwnNameAndTells) {
    const std::string source = file("folder/inner");
    std::filesystem::create_directory(path("to"));
    const auto operation = start(path("folder/"), path("to"));
    ASSERT_NE(operation, nullptr);
    runToEnd();
    EXPECT_EQ(contentOf(path("to/folder/inner")), "folder/inner");
    ASSERT_EQ(delegate->progress.size(), 2U);
    EXPECT_EQ(delegate->progress[1].stage, FileOperationStage::running);
    EXPECT_EQ(delegate->progress[1].status.bytesCompleted, 10U);
    const FileOperationInfo& end = *delegate->finished;
    EXPECT_EQ(end.stage, FileOperationStage::complete);
    EXPECT_EQ(operation->stage(), FileOperationStage::complete);
    EXPECT_EQ(end.end, CopyEnd::copied);
    EXPECT_EQ(end.context.operationtype, "copy");
    EXPECT_EQ(end.context.source, path("folder/"));
    EXPECT_EQ(end.context.destination, path("to"));
    EXPECT_EQ(std::any_cast<int>(end.context.objects.at(0)), 42);
    EXPECT_EQ(std::any_cast<std::string>(end.context.objects.at(1)), "more");
}

TEST_F(FileOperationTest, MissingEndsAreLogged) {
    const std::string source = file("source");
    EXPECT_EQ(start(path("gone"), files), nullptr);
    EXPECT_EQ(start(source, path("gone")), nullptr);
    EXPECT_EQ(logged(),
              (Lines{"Error: File " + path("gone") + " doesn't exist. Aborting copy process...",
                     "Unable to copy file " + source + " - destination directory " + path("gone") +
                         " doesn't exist. Aborting copy process..."}));
}

TEST_F(FileOperationTest, CancelledCopyFinishesWithoutACopy) {
    const std::string source = file("source");
    std::filesystem::create_directory(path("to"));
    delegate->cancels = true;
    copier.duringCopy = [this] { mainThread.runNext(); }; // the delegate hears of the first step
    ASSERT_NE(start(source, path("to")), nullptr);
    runToEnd();
    EXPECT_EQ(delegate->finished->end, CopyEnd::cancelled);
    EXPECT_EQ(delegate->progress.size(), 1U);
    EXPECT_FALSE(exists(path("to/source")));
    ZTFileManager::cancelFileOperation(nullptr);
}

TEST_F(FileOperationTest, FailureIsToldAndLogged) {
    const std::string source = file("source");
    file("to/source");
    ASSERT_NE(start(source, path("to")), nullptr);
    runToEnd();
    EXPECT_EQ(delegate->finished->end, CopyEnd::failed);
    EXPECT_EQ(delegate->finished->error, "File exists");
    EXPECT_EQ(contentOf(path("to/source")), "to/source");
    EXPECT_EQ(logged(), Lines{"Error copying file: File exists"});
}

} // namespace
} // namespace cutstack
