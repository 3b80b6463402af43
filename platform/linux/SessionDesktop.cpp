#include "platform/Desktop.h"

#include <cerrno>
#include <chrono>
#include <memory>
#include <sys/stat.h>
#include <system_error>
#include <thread>
#include <unistd.h>
#include <utility>

#include "platform/SystemErrors.h"
#include "platform/SystemLog.h"
#include "platform/linux/DetachedProgram.h"
#include "platform/linux/FileUri.h"
#include "platform/linux/FreedesktopApplication.h"
#include "platform/linux/LaunchedApplications.h"
#include "platform/linux/PendingCall.h"
#include "platform/linux/SessionBus.h"

namespace cutstack {

namespace {

constexpr auto kFileManager = "org.freedesktop.FileManager1";
constexpr auto kFileManagerPath = "/org/freedesktop/FileManager1";

bool isAbsolute(const std::string& path, std::string& error) {
    if (path.starts_with('/') && path.find('\0') == std::string::npos)
        return true;
    error = "Not an absolute path: " + path;
    return false;
}

bool isThere(const std::string& path, std::string& error) {
    struct stat status {};
    if (!isAbsolute(path, error))
        return false;
    if (::stat(path.c_str(), &status) == 0)
        return true;
    error = wordingOf(errno);
    return false;
}

BusMessage openCall(sd_bus* bus, const std::string& destination, const std::string& identifier,
                    const std::string& path, LaunchOptions options, std::string& error) {
    BusMessage call = newCall(bus, destination, applicationPath(identifier), kApplicationInterface,
                              "Open", error);
    if (call == nullptr)
        return nullptr;
    const int result = appendOpen(call.get(), {path}, options == LaunchOptions::withoutActivation);
    if (result >= 0)
        return call;
    error = wordingOf(-result);
    return nullptr;
}

class SessionDesktop final : public Desktop {
public:
    bool isRunning(const std::string& identifier) override {
        std::string error;
        const Bus bus = openSessionBus(error);
        return bus != nullptr && ownerOf(bus.get(), identifier);
    }

    bool open(const std::string& path, const std::string& identifier, const std::string& executable,
              LaunchOptions options, std::string& error) override {
        if (!isAbsolute(path, error))
            return false;
        Bus bus = openSessionBus(error);
        if (bus == nullptr)
            return false;
        if (const auto owner = ownerOf(bus.get(), identifier))
            return openInRunning(std::move(bus), *owner, identifier, path, options, error);
        if (isActivatable(bus.get(), identifier))
            return activate(std::move(bus), identifier, path, options, error);
        if (auto launch = launchedApplications().underWay(identifier))
            return openWhenStarted(std::move(bus), std::move(launch), identifier, path, options,
                                   error);
        if (!executable.empty())
            return start(executable, identifier, path, error);
        error = "Nothing is known by which " + identifier + " could be started";
        return false;
    }

    bool openWithPreferred(const std::string& path, std::string& error) override {
        return isThere(path, error) && startDetached(
                                           "xdg-open", {path}, [] {}, error);
    }

    bool reveal(const std::string& path, std::string& error) override {
        if (!isThere(path, error))
            return false;
        Bus bus = openSessionBus(error);
        if (bus == nullptr)
            return false;
        if (!ownerOf(bus.get(), kFileManager) && !isActivatable(bus.get(), kFileManager)) {
            error = "There is no file manager in this session";
            return false;
        }
        BusMessage call =
            newCall(bus.get(), kFileManager, kFileManagerPath, kFileManager, "ShowItems", error);
        if (call == nullptr)
            return false;
        int result = appendStrings(call.get(), {fileUri(path)});
        if (result >= 0)
            result = sd_bus_message_append_basic(call.get(), 's', "");
        if (result < 0)
            error = wordingOf(-result);
        return result >= 0 && beginCall(
                                  std::move(bus), std::move(call), [] {}, error);
    }

    int becomeForegroundApplication() override { return 0; } // every program may have windows

private:
    static bool openInRunning(Bus bus, const NameOwner& owner, const std::string& identifier,
                              const std::string& path, LaunchOptions options, std::string& error) {
        if (owner.userId != ::geteuid()) {
            error = identifier + " is another user's";
            return false;
        }
        BusMessage call = openCall(bus.get(), owner.uniqueName, identifier, path, options, error);
        return call != nullptr && beginCall(
                                      std::move(bus), std::move(call), [] {}, error);
    }

    static bool activate(Bus bus, const std::string& identifier, const std::string& path,
                         LaunchOptions options, std::string& error) {
        BusMessage call = openCall(bus.get(), identifier, identifier, path, options, error);
        if (call == nullptr)
            return false;
        const auto launch = std::make_shared<const Launch>();
        if (!beginCall(
                std::move(bus), std::move(call), [launch] { launch->end(); }, error))
            return false;
        launchedApplications().remember(identifier, launch);
        return true;
    }

    /// A second process of an application that is only just starting would find its name taken.
    static bool openWhenStarted(Bus bus, std::shared_ptr<const Launch> launch,
                                const std::string& identifier, const std::string& path,
                                LaunchOptions options, std::string& error) {
        try {
            std::thread([bus = std::move(bus), launch = std::move(launch), identifier, path,
                         options]() mutable {
                const auto deadline =
                    std::chrono::steady_clock::now() + LaunchedApplications::kStartTime;
                std::string reason = "it did not start";
                const auto owner = awaitOwner(bus.get(), identifier, *launch, deadline);
                if (!owner ||
                    !openInRunning(std::move(bus), *owner, identifier, path, options, reason))
                    systemLog().log(identifier + " could not open " + path + ": " + reason);
            }).detach();
        } catch (const std::system_error& fault) {
            error = wordingOf(fault.code().value());
            return false;
        }
        return true;
    }

    static bool start(const std::string& executable, const std::string& identifier,
                      const std::string& path, std::string& error) {
        const auto launch = std::make_shared<const Launch>();
        if (!startDetached(
                executable, {path}, [launch] { launch->end(); }, error))
            return false;
        launchedApplications().remember(identifier, launch);
        return true;
    }
};

} // namespace

Desktop& desktop() {
    static auto& instance = *new SessionDesktop;
    return instance;
}

} // namespace cutstack
