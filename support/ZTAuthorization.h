#pragma once

// File operations that the user's own rights do not allow, by command-line tools with an
// administrator's rights. A process that runs as root runs the tools itself. Any other asks for the
// rights at the first operation that needs them, once in a run; a run without a window never asks,
// and its operations fail.
//
// Standard folders of the user and the machine are refused. Every refusal and failure is a line in
// the system log. The operations return when their tool has been started, not when it has finished.
// Any thread; the operations are not serialised.
//
// A Mac's process may inherit rights from the one that started it; here none does.

#include <cstdint>
#include <initializer_list>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "platform/Clock.h"
#include "platform/Privileges.h"
#include "support/Format.h"
#include "support/ZTLocalPaths.h"
#include "support/ZTTask.h"

namespace cutstack {

/// What privileged operations need from outside. All of it outlives them. Lines go to the system
/// log behind the log of the tasks.
struct AuthorizationServices {
    Privileges& privileges;
    const Locations& locations;
    const Clock& clock;
    const TaskServices& tasks;

    /// Those of this process.
    [[nodiscard]] static const AuthorizationServices& ofProcess();
};

class ZTAuthorization {
public:
    using Path = std::optional<std::string>; ///< nothing is refused with a line

    /// The instance of this process, made at the first call and never destroyed; what `hasGUI`
    /// says counts at that call only.
    [[nodiscard]] static ZTAuthorization& sharedController(bool hasGUI = true);

    /// What authExecTask() answers when the tool is missing, refused or without rights.
    static constexpr std::int32_t kNotExecuted = -1;

    /// With `hasGUI`, a person may be asked for a password.
    ZTAuthorization(bool hasGUI, const AuthorizationServices& services);
    /// Gives the rights up.
    virtual ~ZTAuthorization();
    ZTAuthorization(const ZTAuthorization&) = delete;
    ZTAuthorization& operator=(const ZTAuthorization&) = delete;

    [[nodiscard]] bool hasGUI() const { return hasGUI_; }
    /// As root, the home of the user at the console; else nothing.
    [[nodiscard]] const Path& userDirectory() const { return userDirectory_; }

    /// Whether operations can have the rights: they could be asked for, or this is root.
    [[nodiscard]] virtual bool canAuthorize();
    /// Whether the rights are there.
    [[nodiscard]] virtual bool isAuthorized();
    /// Asks for the rights if need be; whether they are there.
    virtual bool authStart();
    /// The same by an administrator's name and password, without a question, also when the rights
    /// are there; those stay when the new ones are refused.
    virtual bool authStartWithUser(const std::string& user, const std::string& password);
    /// Gives the rights up.
    virtual void authEnd();

    /// Runs `tool`, named by its place on a Mac, with the rights; asks for them if need be. With
    /// `async` returns 0 when the tool has been started, else when it has ended: as root 0
    /// whatever came of it, otherwise its exit status. kNotExecuted when it was not started.
    virtual std::int32_t authExecTask(const std::string& tool, const ZTTask::Arguments& parameters,
                                      bool async = true);

    // Each returns whether its tool could be started, and leaves everything as it was when not.
    virtual bool authCopyFile(const Path& oldPath, const Path& newPath);
    virtual bool authMoveFile(const Path& oldPath, const Path& newPath);
    virtual bool authRemoveFile(const std::string& path);
    virtual bool authCreateDir(const std::string& path);
    /// Moves what is in the folder, hidden entries too, one after the other in listing order into
    /// the folder `toPath`. True when each could be started; one that could not does not keep the
    /// others back.
    virtual bool authMoveFolderContents(const std::string& folder, const std::string& toPath);
    /// Puts each entry of the folder into the Trash; with `deleteOnRootAccount`, root removes them
    /// for good instead.
    virtual bool authTrashFolderContents(const std::string& folder,
                                         bool deleteOnRootAccount = false);
    /// Moves the item into the Trash of the user, whom root works for; the time is added to its
    /// name when there is one already, or may be soon. With `deleteOnRootAccount`, root that works
    /// for nobody removes it for good instead.
    virtual bool authTrashFile(const std::string& path, bool deleteOnRootAccount = false);

private:
    [[nodiscard]] bool isRoot() const { return services_.locations.environment.isRoot(); }
    void logToConsole(std::string_view format, std::initializer_list<FormatArgument> arguments);
    [[nodiscard]] bool refusesSystemDirectory(const std::string& path, std::string_view line,
                                              bool isContent = false);
    [[nodiscard]] std::optional<std::vector<std::string>> pathsInFolder(const std::string& folder);
    [[nodiscard]] std::string freePathInTrash(const std::string& trash, const std::string& path);
    bool removeAll(const std::vector<std::string>& paths);

    const bool hasGUI_;
    const AuthorizationServices& services_;
    const Path userDirectory_;
    std::mutex namesGuard_;
    std::set<std::string> namesInTrash_; ///< given to tools that may still be moving
};

} // namespace cutstack
