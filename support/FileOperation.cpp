#include "support/FileOperation.h"

#include <system_error>
#include <thread>
#include <utility>

#include "support/FolderListing.h"
#include "support/PlainFiles.h"
#include "support/ZTFileManager.h"

namespace cutstack {

std::shared_ptr<FileOperation> FileOperation::start(FileOperationContext context,
                                                    const FileServices& at, std::string& error) {
    std::shared_ptr<FileOperation> operation(new FileOperation(at));
    try {
        std::thread([operation, info = FileOperationInfo{std::move(context),
                                                         FileOperationStage::preparing,
                                                         {},
                                                         CopyEnd::copied,
                                                         {}}]() mutable {
            operation->copy(std::move(info));
        }).detach();
    } catch (const std::system_error& fault) {
        error = fault.code().message();
        return nullptr;
    }
    return operation;
}

void FileOperation::copy(FileOperationInfo info) {
    const std::string source = withoutSlashAtEnd(info.context.source);
    const std::string destination = pathInFolder(info.context.destination, fileNameOf(source));
    info.end =
        isCancelled_
            ? CopyEnd::cancelled
            : copyItem(
                  source, destination, at_.copier,
                  [&](const CopyProgress& progress) { return goOn(info, progress); }, info.error);
    if (info.end == CopyEnd::failed || info.end == CopyEnd::failedForAnybody)
        at_.log.appendLog("Error copying file: %@", info.error);
    // The delegate goes with the last call, so that the main thread is where it is let go of.
    statusCallback(FileOperationStage::complete, std::move(info));
}

bool FileOperation::goOn(FileOperationInfo& info, const CopyProgress& progress) {
    info.status = progress;
    if (!isCancelled_)
        statusCallback(FileOperationStage::running, info);
    return !isCancelled_;
}

void FileOperation::statusCallback(FileOperationStage stage, FileOperationInfo info) {
    stage_ = stage;
    info.stage = stage;
    if (!info.context.delegate)
        return;
    at_.mainThread.perform([operation = shared_from_this(), info = std::move(info)] {
        FileOperationDelegate& delegate = *info.context.delegate;
        if (info.stage == FileOperationStage::complete)
            delegate.fileOperationFinished(info, *operation);
        else
            delegate.fileOperationProgress(info, *operation);
    });
}

std::shared_ptr<FileOperation>
ZTFileManager::copyFileWithProgress(const std::string& source, const std::string& destination,
                                    std::shared_ptr<FileOperationDelegate> delegate,
                                    std::any object, std::any otherObject, const FileServices& at) {
    if (!somethingIsAt(source)) {
        at.log.appendLog("Error: File %@ doesn't exist. Aborting copy process...", source);
        return nullptr;
    }
    if (!fileExistsAtPath(destination)) {
        at.log.appendLog("Unable to copy file %@ - destination directory %@ doesn't exist. "
                         "Aborting copy process...",
                         source, destination);
        return nullptr;
    }
    std::string error;
    auto operation = FileOperation::start({"copy",
                                           source,
                                           destination,
                                           std::move(delegate),
                                           {std::move(object), std::move(otherObject)}},
                                          at, error);
    if (!operation)
        at.log.appendLog("Failed to schedule operation with run loop: %@", error);
    return operation;
}

void ZTFileManager::cancelFileOperation(const std::shared_ptr<FileOperation>& operation) {
    if (operation)
        operation->cancel();
}

} // namespace cutstack
