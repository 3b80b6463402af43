// xmemldiff BASE NEW: what changed between two XMEML exports, a sentence a line.

#include "changes/ChangeFilter.h"
#include "changes/DocumentComparison.h"
#include "tools/SentenceOutput.h"
#include "tools/xmemldiff/Exports.h"
#include "tools/xmemldiff/Options.h"

#include <cstring>
#include <exception>
#include <fstream>
#include <iostream>

namespace cutstack::xmemldiff {

namespace {

enum ExitStatus : int { kNoChange = 0, kChanges = 1, kTrouble = 2 };

/// Runs the comparison to its end; its lines go into the log file, if there is one.
class ToolHost final : public ComparisonHost {
public:
    explicit ToolHost(std::ofstream& log) : log_(log) {}

    [[nodiscard]] bool progressCancelled() const override { return false; }
    void endProgress() override {}
    void appendLog(std::string_view line) override { log_ << line << '\n'; }
    void console(std::string_view line) override { log_ << line << '\n'; }

private:
    std::ofstream& log_;
};

int trouble(std::string_view message) {
    std::cerr << "xmemldiff: " << message << '\n';
    return kTrouble;
}

bool saysThatSomethingChanged(const Changelist& changes) {
    return !changes.empty() && changes.front() != "No change" &&
           changes.front() != "No notable changes";
}

int compare(const Options& options) {
    std::ofstream log;
    if (options.logFile) {
        log.open(*options.logFile);
        if (!log)
            return trouble(*options.logFile + ": " + std::strerror(errno));
    }
    const Exports exports = readExports(options.baseFile, options.newFile);
    for (const std::string& error : exports.errors)
        trouble(error);
    if (!exports.errors.empty())
        return kTrouble;

    ToolHost host(log);
    const auto changes =
        changeListForXMLDoc(*exports.next, *exports.base, host).value_or(Changelist());
    const Changelist shown = ChangeFilter(options.hidden).filterArray(changes);
    if (options.logFile && !log.flush())
        return trouble(*options.logFile + ": the log could not be written");
    if (!options.quiet && !printSentences(std::cout, shown))
        return trouble("the sentences could not be written");
    return saysThatSomethingChanged(shown) ? kChanges : kNoChange;
}

int run(std::span<const char* const> arguments) {
    std::string error;
    const auto options = parseOptions(arguments, error);
    if (!options) {
        trouble(error);
        std::cerr << "Try 'xmemldiff --help'.\n";
        return kTrouble;
    }
    if (options->wantsHelp)
        std::cout << helpText();
    else if (options->wantsVersion)
        std::cout << "xmemldiff (Cutstack) " CUTSTACK_VERSION "\n";
    else
        return compare(*options);
    return std::cout.flush() ? kNoChange : trouble("the text could not be written");
}

} // namespace

} // namespace cutstack::xmemldiff

int main(int argc, char** argv) {
    try {
        return cutstack::xmemldiff::run({argv + 1, argv + argc});
    } catch (const std::bad_alloc&) {
        return cutstack::xmemldiff::trouble("out of memory");
    } catch (const std::exception& exception) {
        return cutstack::xmemldiff::trouble(exception.what());
    }
}
