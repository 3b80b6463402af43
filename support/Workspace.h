#pragma once

// What the desktop does for the program: finding applications, opening files with them, telling
// which of them run. Any thread.

#include <optional>
#include <string>
#include <string_view>

#include "platform/Desktop.h"
#include "support/ApplicationBundles.h"

namespace cutstack {

class Workspace {
public:
    /// Both outlive this.
    Workspace(Desktop& desktop, const ApplicationBundles& bundles)
        : desktop_(desktop), bundles_(bundles) {}
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

    /// Opens the file as a double click would: an application bundle is started.
    virtual bool openFile(const std::string& path);

    /// Shows the file in the file manager.
    virtual bool selectFile(const std::string& path);

    /// ApplicationBundles::isFilePackage().
    [[nodiscard]] virtual bool isFilePackageAtPath(const std::string& path);

    /// ApplicationBundles::registerBundle(), with a line in the system log when it fails.
    virtual bool registerApplication(const std::string& bundlePath);

private:
    Desktop& desktop_;
    const ApplicationBundles& bundles_;
};

} // namespace cutstack
