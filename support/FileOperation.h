#pragma once

// A copy that goes on in the background and tells how far it is.
//
//   own thread:   preparing ---> running ---------------------------> complete
//                                   | some ten times a second            | once
//   main thread:                    +--> fileOperationProgress           +--> fileOperationFinished
//
// Any thread may start and cancel one; the delegate is called on the main thread only.

#include <any>
#include <atomic>
#include <memory>
#include <string>
#include <vector>

#include "platform/FileCopier.h"
#include "support/FileServices.h"

namespace cutstack {

class FileOperation;
class FileOperationDelegate;

enum class FileOperationStage { preparing = 1, running = 2, complete = 3 };

/// What an operation is about. The caller's own parts are kept until the last call of the delegate
/// is over.
struct FileOperationContext {
    std::string operationtype;
    std::string source;
    std::string destination; ///< the folder
    std::shared_ptr<FileOperationDelegate> delegate;
    std::vector<std::any> objects; ///< whatever the caller wants to find again
};

/// What a delegate is told.
struct FileOperationInfo {
    FileOperationContext context;
    FileOperationStage stage = FileOperationStage::preparing;
    CopyProgress status; ///< as of the last step

    /// Of the complete stage: how it ended, and the reason of a failure.
    CopyEnd end = CopyEnd::copied;
    std::string error;
};

class FileOperationDelegate {
public:
    virtual ~FileOperationDelegate() = default;

    virtual void fileOperationProgress(const FileOperationInfo& /*info*/,
                                       FileOperation& /*operation*/) {}
    /// Called once, also for an operation that failed or was cancelled.
    virtual void fileOperationFinished(const FileOperationInfo& /*info*/,
                                       FileOperation& /*operation*/) {}
};

class FileOperation : public std::enable_shared_from_this<FileOperation> {
public:
    /// Starts the copy that `context` describes on a thread of its own, which keeps the operation
    /// alive. On failure returns nullptr with the system's wording in `error`.
    [[nodiscard]] static std::shared_ptr<FileOperation>
    start(FileOperationContext context, const FileServices& at, std::string& error);

    /// Ends the copy at its next step; nothing of it is left. Does nothing when it is complete.
    void cancel() { isCancelled_ = true; }

    [[nodiscard]] FileOperationStage stage() const { return stage_; }

private:
    explicit FileOperation(const FileServices& at) : at_(at) {}

    void copy(FileOperationInfo info);
    [[nodiscard]] bool goOn(FileOperationInfo& info, const CopyProgress& progress);
    void statusCallback(FileOperationStage stage, FileOperationInfo info);

    const FileServices& at_;
    std::atomic<bool> isCancelled_ = false;
    std::atomic<FileOperationStage> stage_ = FileOperationStage::preparing;
};

} // namespace cutstack
