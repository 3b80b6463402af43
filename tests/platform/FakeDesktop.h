#pragma once

// A session that is not there: answers from its members and keeps what it was asked.

#include <set>
#include <string>
#include <vector>

#include "platform/Desktop.h"

namespace cutstack {

struct FakeDesktop final : Desktop {
    std::set<std::string> running; ///< identifiers
    std::string failure;           ///< when there is one, nothing can be asked
    int becomeForeground = 0;
    std::vector<std::vector<std::string>> asked; ///< what was asked and with what

    bool isRunning(const std::string& identifier) override { return running.contains(identifier); }
    bool open(const std::string& path, const std::string& identifier, const std::string& executable,
              LaunchOptions options, std::string& error) override {
        const bool inFront = options == LaunchOptions::launchDefault;
        return answered({"open", path, identifier, executable, inFront ? "front" : "background"},
                        error);
    }
    bool openWithPreferred(const std::string& path, std::string& error) override {
        return answered({"preferred", path}, error);
    }
    bool reveal(const std::string& path, std::string& error) override {
        return answered({"reveal", path}, error);
    }
    int becomeForegroundApplication() override { return becomeForeground; }

private:
    bool answered(std::vector<std::string> question, std::string& error) {
        asked.push_back(std::move(question));
        error = failure;
        return failure.empty();
    }
};

} // namespace cutstack
