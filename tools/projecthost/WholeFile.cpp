#include "tools/projecthost/WholeFile.h"

#include "support/AtomicFile.h"

#include <algorithm>
#include <filesystem>
#include <system_error>

namespace cutstack::projecthost {

namespace {

using std::chrono::milliseconds;

/// How long ago the file was written to; nothing when its time lies in the future.
std::optional<milliseconds> ageOf(const FileStamp& stamp, const Clock& clock) {
    const auto modified = std::chrono::seconds(stamp.modified.seconds) +
                          std::chrono::duration_cast<milliseconds>(
                              std::chrono::nanoseconds(stamp.modified.nanoseconds));
    const auto age =
        std::chrono::duration_cast<milliseconds>(clock.now().time_since_epoch()) - modified;
    return age < milliseconds::zero() ? std::nullopt : std::optional(age);
}

class Reading {
public:
    Reading(const std::string& path, const WholeFileRules& rules, std::string& error)
        : path_(path),
          rules_(rules),
          error_(error),
          end_(std::chrono::steady_clock::now() + rules.longest) {}

    std::optional<FileStamp> run(const Accepting& accept);

private:
    enum class Attempt { done, again, failed };

    Attempt attempt(const Accepting& accept);
    Attempt judge(Acceptance acceptance);
    [[nodiscard]] bool waitForMore();

    const std::string& path_;
    const WholeFileRules& rules_;
    std::string& error_;
    const std::chrono::steady_clock::time_point end_;
    std::shared_ptr<FileWatch> watch_;
    FileStamp stamp_;
    milliseconds patience_{0}; ///< until the next attempt, if nothing happens
};

Reading::Attempt Reading::attempt(const Accepting& accept) {
    const auto before = fileStamp(path_, error_);
    if (!before)
        return Attempt::failed;
    stamp_ = *before;
    patience_ = rules_.stillFor;
    if (const auto age = ageOf(stamp_, rules_.clock); age && *age < rules_.stillFor) {
        patience_ = rules_.stillFor - *age;
        error_ = "The file is being written without a pause";
        return Attempt::again;
    }
    std::error_code fault;
    if (!std::filesystem::is_regular_file(path_, fault)) {
        error_ = fault ? fault.message() : "Not a regular file"; // a pipe may never end
        return Attempt::failed;
    }
    auto bytes = readFile(path_, rules_.sizeLimit, error_);
    if (!bytes)
        return Attempt::failed;
    if (std::string ignored; fileStamp(path_, ignored) != before) {
        error_ = "The file changes all the time";
        return Attempt::again;
    }
    return judge(accept(*bytes, error_));
}

Reading::Attempt Reading::judge(Acceptance acceptance) {
    if (acceptance == Acceptance::accepted)
        return Attempt::done;
    const auto age = ageOf(stamp_, rules_.clock);
    if (acceptance == Acceptance::refused || !age || *age >= rules_.finishedAfter)
        return Attempt::failed;
    patience_ = rules_.finishedAfter - *age;
    return Attempt::again;
}

/// Waits until the file changes, or it is time for another look; false when all time is over.
bool Reading::waitForMore() {
    const auto left = std::chrono::ceil<milliseconds>(end_ - std::chrono::steady_clock::now());
    if (left <= milliseconds::zero())
        return false;
    if (watch_ == nullptr) {
        std::string why;
        watch_ = watchFiles({path_}, why);
        // It may have changed before it was watched.
        if (fileStamp(path_, why) != stamp_)
            return true;
    }
    // Where the system grants no watch any more, it is looked at now and then.
    const auto longest = watch_ == nullptr ? std::min(patience_, rules_.stillFor) : patience_;
    rules_.interruption.wait(watch_, std::min(left, longest));
    return !rules_.interruption.isInterrupted();
}

std::optional<FileStamp> Reading::run(const Accepting& accept) {
    const std::string before = error_;
    for (;;) {
        const Attempt made = attempt(accept);
        if (made == Attempt::done) {
            error_ = before;
            return stamp_;
        }
        if (made == Attempt::failed || !waitForMore())
            return std::nullopt;
    }
}

} // namespace

void Interruption::interrupt() {
    const std::lock_guard lock(guard_);
    isInterrupted_ = true;
    if (waiting_ != nullptr)
        waiting_->wake();
    interrupted_.notify_all();
}

bool Interruption::isInterrupted() const {
    const std::lock_guard lock(guard_);
    return isInterrupted_;
}

void Interruption::wait(const std::shared_ptr<FileWatch>& watch,
                        std::chrono::milliseconds longest) {
    {
        std::unique_lock lock(guard_);
        if (watch == nullptr)
            interrupted_.wait_for(lock, longest, [this] { return isInterrupted_; });
        if (watch == nullptr || isInterrupted_)
            return;
        waiting_ = watch;
    }
    static_cast<void>(watch->wait(longest));
    const std::lock_guard lock(guard_);
    waiting_ = nullptr;
}

std::optional<FileStamp> readWholeFile(const std::string& path, const WholeFileRules& rules,
                                       const Accepting& accept, std::string& error) {
    return Reading(path, rules, error).run(accept);
}

} // namespace cutstack::projecthost
