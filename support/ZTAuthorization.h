#pragma once

// File operations that the user's own rights do not allow, by command-line tools with an
// administrator's rights. A process that runs as root runs the tools itself. Any other asks for the
// rights at the first operation that needs them, once in a run; a run without a window never asks,
// and its operations fail.
//
// Standard folders of the user and the machine are refused. Every refusal and failure is a line in
// the system log. The operations return when their tool has been started, not when it has finished.
// Any thread; the operations are not serialised.

#include <chrono>
#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "platform/Clock.h"
#include "platform/Privileges.h"
#include "support/ZTLocalPaths.h"
#include "support/ZTTask.h"

namespace cutstack {

/// What privileged operations need from outside. All of it outlives them.
struct AuthorizationServices {
    Privileges& privileges;
    const Locations& locations;
    const Clock& clock;
    const TaskServices& tasks;
};

class ZTAuthorization {
public:
    using Path = std::optional<std::string>; ///< nothing is refused with a line

    /// The instance of this process, made at the first call and never destroyed; what `hasGUI`
    /// says counts at that call only.
    [[nodiscard]] static ZTAuthorization& sharedController(bool hasGUI = true);

    /// With `hasGUI`, a person may be asked for a password.
    ZTAuthorization(bool hasGUI, const AuthorizationServices& services);
    virtual ~ZTAuthorization() = default;
    ZTAuthorization(const ZTAuthorization&) = delete;
    ZTAuthorization& operator=(const ZTAuthorization&) = delete;

    /// Whether operations can have the rights: they could be asked for, or this is root.
    [[nodiscard]] virtual bool canAuthorize();
    /// Whether the rights are there.
    [[nodiscard]] virtual bool isAuthorized();
    /// Asks for the rights if need be; whether they are there.
    virtual bool authStart();
    /// The same by an administrator's name and password, without a question.
    virtual bool authStartWithUser(const std::string& user, const std::string& password);
    /// Gives the rights up.
    virtual void authEnd();

    /// Runs `tool` with the rights; 0 on success, else a number that is not. With `async` returns
    /// when the tool has been started.
    virtual std::int32_t authExecTask(const std::string& tool, const ZTTask::Arguments& parameters,
                                      bool async = true);

    // Each returns whether its tool could be started.
    virtual bool authCopyFile(const Path& oldPath, const Path& newPath);
    virtual bool authMoveFile(const Path& oldPath, const Path& newPath);
    virtual bool authRemoveFile(const std::string& path);
    virtual bool authCreateDir(const std::string& path);
    virtual bool authMoveFolderContents(const std::string& folder, const std::string& toPath);
    /// With `deleteOnRootAccount`, root removes instead of moving to the Trash.
    virtual bool authTrashFolderContents(const std::string& folder,
                                         bool deleteOnRootAccount = false);
    virtual bool authTrashFile(const std::string& path, bool deleteOnRootAccount = false);

private:
    const bool hasGUI_;
    const AuthorizationServices& services_;
    Path userDirectory_; ///< as root: the home of the user at the console
};

} // namespace cutstack
