#pragma once

// What the tests of Changelists work with: a project folder in a store, caches, a log, and
// stand-ins that keep what they were asked.

#include "changes/Changelists.h"

#include <algorithm>
#include <functional>
#include <gtest/gtest.h>
#include <map>
#include <sstream>
#include <utility>

#include "support/ZTException.h"
#include "tests/TemporaryFolder.h"
#include "tests/platform/Fakes.h"
#include "tests/platform/FileFakes.h"

namespace cutstack {

using Calls = std::vector<std::string>;

/// Runs what belongs on the main thread at once, and answers alerts.
class FakeUserInterface final : public UserInterface {
public:
    Calls calls;
    int answer = 1;
    std::function<void()> onStart = [] {};
    std::function<void()> onIncrement = [] {};

    void startProgress() override {
        add("startProgress");
        onStart();
    }
    void setDeterminateProgress(double steps) override {
        add(formatString("setDeterminateProgress %0.0f", {steps}));
    }
    void incrementProgressBar() override {
        add("incrementProgressBar");
        onIncrement();
    }
    void endProgress() override { add("endProgress"); }
    void performOnMainThread(std::function<void()> work) override {
        performOnMainThreadAndWait(work);
    }
    void performOnMainThreadAndWait(const std::function<void()>& work) override {
        const bool before = std::exchange(isMainThread_, true);
        work();
        isMainThread_ = before;
    }
    int alertSheet(const Alert& alert) override {
        add(alert.messageText + " | " + alert.informativeText + " | " + alert.defaultButton +
            " | " + alert.alternateButton + " | " + alert.otherButton);
        return answer;
    }

private:
    void add(std::string call) {
        EXPECT_TRUE(isMainThread_) << call;
        calls.push_back(std::move(call));
    }

    bool isMainThread_ = false;
};

/// What an alert with a single button leaves in the calls.
inline std::string alertSaying(const std::string& message, const std::string& information) {
    return message + " | " + information + " | OK |  | ";
}

struct FakePane final : VersionsPane {
    explicit FakePane(Calls& kept) : calls(kept) {}

    Calls& calls;
    VersionArray shown;

    void startVersionSpinner() override { calls.emplace_back("startVersionSpinner"); }
    void stopVersionSpinner() override { calls.emplace_back("stopVersionSpinner"); }
    void enableGenerateXMLButton(bool enabled) override {
        calls.emplace_back(enabled ? "enableGenerateXMLButton" : "disableGenerateXMLButton");
    }
    void updateVersionArray(VersionArray versions) override {
        calls.emplace_back("updateVersionArray");
        shown = std::move(versions);
    }
};

/// Succeeds unless there is a `failure`.
struct FakeTrash final : Trash {
    std::string failure;
    Calls moved;

    bool moveToTrash(const std::string& path, std::string& error) override {
        moved.push_back(path);
        if (!failure.empty())
            error = failure;
        return failure.empty();
    }
};

/// An export of a sequence with a clip for each letter.
inline std::string exportOf(std::string_view clips) {
    std::string tracks;
    for (const char clip : clips) {
        const std::string name(1, clip);
        tracks += formatString("<clipitem id='%@'><uuid>U-%@</uuid><name>%@</name></clipitem>",
                               {name, name, name});
    }
    return formatString("<xmeml><sequence id='S'><uuid>S</uuid><name>Scene</name><media><video>"
                        "<track>%@</track></video></media></sequence></xmeml>",
                        {tracks});
}

inline const Changelist kBase = {"(Base version)"};
inline const Changelist kNoRecord = {"no record"};
inline const Changelist kTooLarge = {
    "Project file size exceeds 80 MB and will not be processed. To reduce file sizes, go to the "
    "Projects tab and change Backup from \"Entire Project\" to a specific sequence."};

class ChangelistsTest : public testing::Test {
protected:
    ChangelistsTest() {
        environment_.home = home_ / "anna";
        log_.createNewLog(std::nullopt);
        std::filesystem::create_directories(folder_);
    }

    [[nodiscard]] ChangelistServices services(UserInterface* userInterface) {
        return {caches_, "42",         log_,          clock_,       metadata_,
                trash_,  isCancelled_, userInterface, userInterface};
    }
    /// A run of the program of its own, without a window.
    [[nodiscard]] Changelists anotherRun() { return Changelists(services(nullptr)); }

    /// The path of a file of the project folder, and that file written.
    [[nodiscard]] std::string at(std::string_view name) const {
        return folder_ + "/" + std::string(name);
    }
    std::string add(std::string_view name, std::string_view content) const {
        writeContent(at(name), content);
        return at(name);
    }
    /// A file of that size that takes no place.
    std::string addSparse(std::string_view name, std::uintmax_t size) const {
        std::filesystem::resize_file(add(name, ""), size);
        return at(name);
    }

    /// The messages that were logged since the last time.
    Calls newLines() {
        log_.finishWriting();
        std::istringstream log(contentOf(home_ / "anna/Library/Logs/Zantrel/Cutstack.1.log"));
        Calls lines;
        constexpr std::string_view kDate = "2010-03-14 17:05:09 +0100 - ";
        for (std::string line; std::getline(log, line);)
            if (line.starts_with(kDate))
                lines.push_back(line.substr(kDate.size()));
        const auto read = static_cast<std::ptrdiff_t>(std::exchange(linesRead_, lines.size()));
        lines.erase(lines.begin(), lines.begin() + read);
        return lines;
    }
    [[nodiscard]] std::ptrdiff_t newLinesThatBegin(std::string_view beginning) {
        return std::ranges::count_if(newLines(),
                                     [&](const auto& line) { return line.starts_with(beginning); });
    }

    static Changelist changesIn(const std::optional<VersionRecord>& record) {
        return record ? record->changelist : kNoRecord;
    }
    /// The changelists by file name, which a failing test can show.
    static std::map<std::string, Changelist>
    changesIn(const std::optional<VersionRecords>& records) {
        std::map<std::string, Changelist> changes;
        for (const auto& [name, record] : records.value_or(VersionRecords()))
            changes.emplace(name, record.changelist);
        return changes;
    }
    static Changelist changesIn(const std::optional<VersionRecords>& records,
                                const std::string& name) {
        const auto changes = changesIn(records);
        return changes.contains(name) ? changes.at(name) : kNoRecord;
    }

    TemporaryFolder home_;
    std::string caches_ = home_ / "caches";
    std::string folder_ = home_ / "store/P.fcp";
    FakeEnvironment environment_;
    FakeConsole screen_;
    Locations locations_{environment_, screen_};
    FakeClock clock_;
    FakeSystemLog console_;
    LogWriter log_{{locations_, clock_, console_, [] { return LogHeader(); }}};
    FakeFinderMetadata metadata_;
    FakeTrash trash_;
    std::atomic<bool> isCancelled_ = false;
    FakeUserInterface window_;
    Changelists changelists_{services(nullptr)};
    Changelists windowed_{services(&window_)};

private:
    std::size_t linesRead_ = 0;
};

} // namespace cutstack
