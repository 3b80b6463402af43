#pragma once

// What the desktop does for the program: finding applications, opening files with them, telling
// which of them run. Any thread.

#include <optional>
#include <string>
#include <string_view>

#include "platform/Desktop.h"
#include "platform/SystemLog.h"
#include "support/ApplicationBundles.h"

namespace cutstack {

class Workspace {
public:
    /// All of them outlive this. Failures are told to `console`.
    Workspace(Desktop& desktop, const ApplicationBundles& bundles, SystemLog& console)
        : desktop_(desktop), bundles_(bundles), console_(console) {}
    virtual ~Workspace() = default;
    Workspace(const Workspace&) = delete;
    Workspace& operator=(const Workspace&) = delete;

    /// The workspace of this process. Lives as long as the process.
    [[nodiscard]] static Workspace& sharedWorkspace();

    /// ApplicationBundles::absolutePathForAppBundleWithIdentifier().
    [[nodiscard]] virtual std::optional<std::string>
    absolutePathForAppBundleWithIdentifier(std::string_view identifier);

    /// Whether the application runs.
    [[nodiscard]] virtual bool isRunning(const std::string& identifier);

    /// Has the application with that identifier open the file at `path`; Desktop::open().
    /// Returns false, with a line in the system log, when that cannot be asked.
    virtual bool openFile(const std::string& path, const std::string& identifier,
                          LaunchOptions options);

    /// Opens the file as a double click would: an application bundle is started, or brought to the
    /// front when it runs. Returns false, with a line in the system log, when that cannot be asked.
    virtual bool openFile(const std::string& path);

    /// Shows the file in the file manager. Returns as openFile() does.
    virtual bool selectFile(const std::string& path);

    /// ApplicationBundles::isFilePackage().
    [[nodiscard]] virtual bool isFilePackageAtPath(const std::string& path);

    /// ApplicationBundles::registerBundle(), with a line in the system log when it fails.
    virtual bool registerApplication(const std::string& bundlePath);

private:
    /// Tells why `path` could not be dealt with as `what` says; false.
    bool failed(std::string_view what, const std::string& path, const std::string& error);

    Desktop& desktop_;
    const ApplicationBundles& bundles_;
    SystemLog& console_;
};

} // namespace cutstack
