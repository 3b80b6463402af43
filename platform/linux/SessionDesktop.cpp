#include "platform/Desktop.h"

#include <cerrno>
#include <memory>
#include <sys/stat.h>
#include <system_error>
#include <thread>
#include <unistd.h>
#include <utility>

#include "platform/SystemErrors.h"
#include "platform/linux/DetachedProgram.h"
#include "platform/linux/FileUri.h"
#include "platform/linux/FreedesktopApplication.h"
#include "platform/linux/LaunchedApplications.h"
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

int noteAnswer(sd_bus_message* /*message*/, void* hasAnswer, sd_bus_error* /*error*/) {
    *static_cast<bool*>(hasAnswer) = true;
    return 1;
}

/// An Open that the bus is starting an application for. The connection lives until the answer,
/// which tells that the start is over, whether or not it succeeded.
class Activation {
public:
    Activation(Bus bus, std::shared_ptr<const Launch> launch)
        : bus_(std::move(bus)), launch_(std::move(launch)) {}

    [[nodiscard]] bool begin(sd_bus_message* call, std::string& error) {
        constexpr auto time =
            std::chrono::duration_cast<std::chrono::microseconds>(LaunchedApplications::kStartTime);
        int result = sd_bus_call_async(bus_.get(), nullptr, call, noteAnswer, &hasAnswer_,
                                       static_cast<std::uint64_t>(time.count()));
        if (result >= 0)
            result = sd_bus_flush(bus_.get());
        if (result < 0)
            error = wordingOf(-result);
        return result >= 0;
    }

    void awaitAnswer() {
        while (!hasAnswer_) {
            int result = sd_bus_process(bus_.get(), nullptr);
            if (result == 0)
                result = sd_bus_wait(bus_.get(), UINT64_MAX);
            if (result < 0 && result != -EINTR)
                break;
        }
        launch_->end();
    }

private:
    Bus bus_;
    std::shared_ptr<const Launch> launch_;
    bool hasAnswer_ = false;
};

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
            return openInRunning(bus.get(), *owner, identifier, path, options, error);
        if (isActivatable(bus.get(), identifier))
            return activate(std::move(bus), identifier, path, options, error);
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
        const Bus bus = openSessionBus(error);
        if (bus == nullptr)
            return false;
        if (!ownerOf(bus.get(), kFileManager) && !isActivatable(bus.get(), kFileManager)) {
            error = "There is no file manager in this session";
            return false;
        }
        const BusMessage call =
            newCall(bus.get(), kFileManager, kFileManagerPath, kFileManager, "ShowItems", error);
        if (call == nullptr)
            return false;
        int result = appendStrings(call.get(), {fileUri(path)});
        if (result >= 0)
            result = sd_bus_message_append_basic(call.get(), 's', "");
        if (result < 0)
            error = wordingOf(-result);
        return result >= 0 && sendWithoutReply(bus.get(), call.get(), error);
    }

    int becomeForegroundApplication() override { return 0; } // every program may have windows

private:
    static bool openInRunning(sd_bus* bus, const NameOwner& owner, const std::string& identifier,
                              const std::string& path, LaunchOptions options, std::string& error) {
        if (owner.userId != ::geteuid()) {
            error = identifier + " is another user's";
            return false;
        }
        const BusMessage call = openCall(bus, owner.uniqueName, identifier, path, options, error);
        return call != nullptr && sendWithoutReply(bus, call.get(), error);
    }

    static bool activate(Bus bus, const std::string& identifier, const std::string& path,
                         LaunchOptions options, std::string& error) {
        BusMessage call = openCall(bus.get(), identifier, identifier, path, options, error);
        if (call == nullptr)
            return false;
        const auto launch = std::make_shared<const Launch>();
        const auto activation = std::make_shared<Activation>(std::move(bus), launch);
        if (!activation->begin(call.get(), error))
            return false;
        call.reset(); // it counts as a user of the connection, which now moves to a thread
        launchedApplications().remember(identifier, launch);
        try {
            std::thread([activation] { activation->awaitAnswer(); }).detach();
        } catch (const std::system_error&) {
            // Out of threads: the application starts all the same; only a failure goes unnoticed.
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
