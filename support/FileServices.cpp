#include "support/FileServices.h"

#include "support/Workspace.h"
#include "support/ZTAuthorization.h"
#include "support/ZTLog.h"
#include "support/ZTTask.h"

namespace cutstack {

namespace {

/// Asks for the shared controller at each call, so that whoever starts the program has made it
/// with a window or without one.
class SharedAuthorization final : public PrivilegedFiles {
public:
    bool copyFile(const std::string& source, const std::string& destination) const override {
        return ZTAuthorization::sharedController().authCopyFile(source, destination);
    }
    bool moveFile(const std::string& source, const std::string& destination) const override {
        return ZTAuthorization::sharedController().authMoveFile(source, destination);
    }
    bool removeFile(const std::string& path) const override {
        return ZTAuthorization::sharedController().authRemoveFile(path);
    }
    bool createDirectory(const std::string& path) const override {
        return ZTAuthorization::sharedController().authCreateDir(path);
    }
    bool trashFile(const std::string& path) const override {
        return ZTAuthorization::sharedController().authTrashFile(path);
    }
    std::int32_t execTask(const std::string& tool,
                          const std::vector<std::string>& arguments) const override {
        return ZTAuthorization::sharedController().authExecTask(tool, arguments, false);
    }
};

bool runToEnd(const std::string& tool, const std::vector<std::string>& arguments,
              std::optional<FileServices::Seconds> timeout) {
    if (!timeout)
        return ZTTask::runTask(tool, arguments);
    ZTTask::runTaskTimeout(tool, arguments, *timeout);
    return true;
}

} // namespace

const FileServices& FileServices::ofProcess() {
    static const auto& privileged = *new SharedAuthorization;
    static const auto& instance =
        *new FileServices{fileCopier(),
                          fileMover(),
                          fileFlags(),
                          cutstack::finderMetadata(),
                          cutstack::trash(),
                          eventTransport(),
                          mainThreadQueue(),
                          steadyClock(),
                          privileged,
                          ZTLog::sharedController(),
                          runToEnd,
                          [](const std::string& path) {
                              return Workspace::sharedWorkspace().isFilePackageAtPath(path);
                          },
                          [](const std::string& bundlePath) {
                              return Workspace::sharedWorkspace().registerApplication(bundlePath);
                          }};
    return instance;
}

} // namespace cutstack
