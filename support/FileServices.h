#pragma once

// What the file operations need from outside, so that each can be tried out without the system and
// without an administrator.

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "platform/EventTransport.h"
#include "platform/FileCopier.h"
#include "platform/FileFlags.h"
#include "platform/FileMover.h"
#include "platform/FinderMetadata.h"
#include "platform/MainThreadQueue.h"
#include "platform/SteadyClock.h"
#include "platform/Trash.h"
#include "support/LogWriter.h"

namespace cutstack {

/// The operations of ZTAuthorization that file operations fall back to. They return when their
/// tool was started; true when it was. Any thread.
class PrivilegedFiles {
public:
    virtual ~PrivilegedFiles() = default;

    virtual bool copyFile(const std::string& source, const std::string& destination) const = 0;
    virtual bool moveFile(const std::string& source, const std::string& destination) const = 0;
    virtual bool removeFile(const std::string& path) const = 0;
    virtual bool createDirectory(const std::string& path) const = 0;
    virtual bool trashFile(const std::string& path) const = 0;
    /// Runs `tool` to its end; 0 on success.
    [[nodiscard]] virtual std::int32_t
    execTask(const std::string& tool, const std::vector<std::string>& arguments) const = 0;
};

/// All of it outlives every operation, also those that go on in the background.
struct FileServices {
    using Seconds = std::chrono::duration<double>;

    const FileCopier& copier;
    const FileMover& mover;
    const FileFlags& flags;
    const FinderMetadata& finderMetadata;
    Trash& trash;
    EventTransport& events;
    MainThreadQueue& mainThread;
    const SteadyClock& clock;
    const PrivilegedFiles& privileged;
    LogWriter& log;
    /// Runs a tool, to its end or until the time has passed; false when it was refused.
    std::function<bool(const std::string& tool, const std::vector<std::string>& arguments,
                       std::optional<Seconds> timeout)>
        runTool;
    /// Whether a person sees the folder as one thing.
    std::function<bool(const std::string& path)> isFilePackage;
    /// Makes an application bundle known to the desktop.
    std::function<bool(const std::string& bundlePath)> registerApplication;

    /// Those of this process.
    [[nodiscard]] static const FileServices& ofProcess();
};

} // namespace cutstack
