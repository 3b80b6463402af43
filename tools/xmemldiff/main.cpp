// xmemldiff BASE NEW: what changed between two XMEML exports, a sentence a line.

#include "changes/ChangeFilter.h"
#include "changes/DocumentComparison.h"
#include "platform/ProcessPreparation.h"
#include "support/AtomicFile.h"
#include "tools/SentenceOutput.h"
#include "tools/xmemldiff/Exports.h"
#include "tools/xmemldiff/Options.h"

#include <exception>
#include <filesystem>
#include <iostream>
#include <system_error>

namespace cutstack::xmemldiff {

namespace {

enum ExitStatus : int { kNoChange = 0, kChanges = 1, kTrouble = 2 };

/// Runs the comparison to its end and keeps its lines.
class ToolHost final : public ComparisonHost {
public:
    [[nodiscard]] bool progressCancelled() const override { return false; }
    void endProgress() override {}
    void appendLog(std::string_view line) override { lines.append(onOneLine(line)).append("\n"); }
    void console(std::string_view line) override { appendLog(line); }

    std::string lines;
};

int trouble(std::string_view message) {
    std::cerr << "xmemldiff: " << message << '\n';
    return kTrouble;
}

bool saysThatSomethingChanged(const Changelist& changes) {
    return !changes.empty() && changes.front() != "No change" &&
           changes.front() != "No notable changes";
}

bool isOneOfTheExports(const std::string& file, const Options& options) {
    std::error_code ignored;
    return std::filesystem::equivalent(file, options.baseFile, ignored) ||
           std::filesystem::equivalent(file, options.newFile, ignored);
}

/// Writes the log where it is wanted; false with the reason in `error` when that fails.
bool writeLog(const std::string& file, const std::string& lines, std::string& error) {
    if (file != "-")
        return writeFileAtomically(file, lines, error);
    std::cerr << lines;
    return true;
}

int compare(const Options& options) {
    if (options.logFile && isOneOfTheExports(*options.logFile, options))
        return trouble(*options.logFile + ": the log would replace an export");
    const Exports exports = readExports(options.baseFile, options.newFile);
    for (const std::string& error : exports.errors)
        trouble(error);
    if (!exports.errors.empty())
        return kTrouble;

    ToolHost host;
    const auto changes = changeListForXMLDoc(*exports.next, *exports.base, host);
    const Changelist shown =
        ChangeFilter(options.hidden).filterArray(changes.value_or(Changelist()));
    std::string error;
    if (options.logFile && !writeLog(*options.logFile, host.lines, error))
        return trouble(*options.logFile + ": " + error);
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
    cutstack::prepareProcess();
    try {
        return cutstack::xmemldiff::run({argv + (argc > 0 ? 1 : 0), argv + argc});
    } catch (const std::bad_alloc&) {
        return cutstack::xmemldiff::trouble("out of memory");
    } catch (const std::exception& exception) {
        return cutstack::xmemldiff::trouble(exception.what());
    }
}
