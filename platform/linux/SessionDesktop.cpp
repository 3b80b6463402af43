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

/// What an application is asked for: to open a file, or only to show itself.
struct Wish {
    std::string identifier;
    std::string path; ///< empty for no file
    LaunchOptions options;

    [[nodiscard]] bool hasFile() const { return !path.empty(); }
};

BusMessage callFor(sd_bus* bus, const std::string& destination, const Wish& wish,
                   std::string& error) {
    BusMessage call = newCall(bus, destination, applicationPath(wish.identifier),
                              kApplicationInterface, wish.hasFile() ? "Open" : "Activate", error);
    if (call == nullptr)
        return nullptr;
    const bool inBackground = wish.options == LaunchOptions::withoutActivation;
    const int result = wish.hasFile() ? appendOpen(call.get(), {wish.path}, inBackground)
                                      : appendPlatformData(call.get(), inBackground);
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
        if (!path.empty() && !isAbsolute(path, error))
            return false;
        const Wish wish{identifier, path, options};
        if (identifier.empty())
            return start(executable, wish, error);
        Bus bus = openSessionBus(error);
        if (bus == nullptr)
            return false;
        if (const auto owner = ownerOf(bus.get(), identifier))
            return askRunning(std::move(bus), *owner, wish, error);
        if (isActivatable(bus.get(), identifier))
            return activate(std::move(bus), wish, error);
        if (auto launch = launchedApplications().underWay(identifier))
            return !wish.hasFile() ||
                   askWhenStarted(std::move(bus), std::move(launch), wish, error);
        return start(executable, wish, error);
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
    static bool askRunning(Bus bus, const NameOwner& owner, const Wish& wish, std::string& error) {
        if (owner.userId != ::geteuid()) {
            error = wish.identifier + " is another user's";
            return false;
        }
        BusMessage call = callFor(bus.get(), owner.uniqueName, wish, error);
        return call != nullptr && beginCall(
                                      std::move(bus), std::move(call), [] {}, error);
    }

    static bool activate(Bus bus, const Wish& wish, std::string& error) {
        BusMessage call = callFor(bus.get(), wish.identifier, wish, error);
        if (call == nullptr)
            return false;
        const auto launch = std::make_shared<const Launch>();
        if (!beginCall(
                std::move(bus), std::move(call), [launch] { launch->end(); }, error))
            return false;
        launchedApplications().remember(wish.identifier, launch);
        return true;
    }

    /// A second process of an application that is only just starting would find its name taken.
    static bool askWhenStarted(Bus bus, std::shared_ptr<const Launch> launch, const Wish& wish,
                               std::string& error) {
        try {
            std::thread([bus = std::move(bus), launch = std::move(launch), wish]() mutable {
                const auto deadline =
                    std::chrono::steady_clock::now() + LaunchedApplications::kStartTime;
                std::string reason = "it did not start";
                const auto owner = awaitOwner(bus.get(), wish.identifier, *launch, deadline);
                if (!owner || !askRunning(std::move(bus), *owner, wish, reason))
                    systemLog().log(wish.identifier + " could not open " + wish.path + ": " +
                                    reason);
            }).detach();
        } catch (const std::system_error& fault) {
            error = wordingOf(fault.code().value());
            return false;
        }
        return true;
    }

    static bool start(const std::string& executable, const Wish& wish, std::string& error) {
        if (executable.empty()) {
            error = "Nothing is known by which " +
                    (wish.identifier.empty() ? "it" : wish.identifier) + " could be started";
            return false;
        }
        std::vector<std::string> arguments;
        if (wish.hasFile())
            arguments.push_back(wish.path);
        const auto launch = std::make_shared<const Launch>();
        if (!startDetached(
                executable, arguments, [launch] { launch->end(); }, error))
            return false;
        if (!wish.identifier.empty())
            launchedApplications().remember(wish.identifier, launch);
        return true;
    }
};

} // namespace

Desktop& desktop() {
    static auto& instance = *new SessionDesktop;
    return instance;
}

} // namespace cutstack
