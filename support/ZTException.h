#pragma once

// Exceptions end at the border of an operation: guarded() runs it, and an exception becomes one
// line in the log and in the system log instead of a failure of the program. Exception is the kind
// that the program itself throws, with a name that tells callers what happened and a reason for
// people. Any thread.

#include <exception>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

#include "support/ZTLog.h"

namespace cutstack {

/// What a reply that did not come in time is called.
inline constexpr std::string_view kPortTimeoutException = "NSPortTimeoutException";
/// What has no better name.
inline constexpr std::string_view kGenericException = "NSGenericException";

class Exception : public std::exception {
public:
    Exception(std::string_view name, std::string_view reason) : name_(name), reason_(reason) {}

    [[nodiscard]] const std::string& name() const { return name_; }
    /// The reason.
    [[nodiscard]] const char* what() const noexcept override { return reason_.c_str(); }

private:
    std::string name_;
    std::string reason_;
};

class ZTException {
public:
    /// The name of an exception: its own, or the platform's name for a standard one.
    [[nodiscard]] static std::string nameOf(const std::exception& exception);

    /// Whether the exception says that a reply did not come in time.
    [[nodiscard]] static bool didTimeout(const std::exception& exception);

    /// Logs and prints "Exception in METHOD. NAME - REASON." and returns that text. `method` is a
    /// full printable name ("-[AppController processProjects]"). The text is the log's format, so
    /// a per-cent sign in it counts.
    static std::string logException(const std::exception& exception, std::string_view method,
                                    LogWriter& log = ZTLog::sharedController());
};

/// Runs `operation` so that no exception leaves it: one is logged in the name of `method`.
/// Returns whether the operation came to its end or, when it has a result, that result; nothing
/// after an exception.
template <typename Operation>
auto guarded(std::string_view method, Operation&& operation,
             LogWriter& log = ZTLog::sharedController()) {
    using Result = std::invoke_result_t<Operation>;
    constexpr bool hasResult = !std::is_void_v<Result>;
    try {
        if constexpr (hasResult) {
            return std::optional<Result>(std::forward<Operation>(operation)());
        } else {
            std::forward<Operation>(operation)();
            return true;
        }
    } catch (const std::exception& exception) {
        ZTException::logException(exception, method, log);
    } catch (...) {
        ZTException::logException(Exception(kGenericException, "no reason given"), method, log);
    }
    return std::conditional_t<hasResult, std::optional<Result>, bool>();
}

} // namespace cutstack
