#include "tools/xmemldiff/Options.h"

#include "tools/CommandLine.h"
#include "tools/FilterOptions.h"

#include <array>
#include <utility>

namespace cutstack::xmemldiff {

namespace {

constexpr std::array kRules = {OptionRule{"hide", 0, true}, OptionRule{"log", 0, true},
                               OptionRule{"quiet", 'q', false}, OptionRule{"help", 'h', false},
                               OptionRule{"version", 0, false}};

/// What is wrong with the files that were named; empty when nothing is.
std::string_view faultOf(const std::vector<std::string>& files) {
    if (files.size() < 2)
        return "two files are needed, the base and the new one";
    if (files.size() > 2)
        return "only two files can be compared";
    return files[0] == "-" && files[1] == "-" ? "standard input can be only one of the two files"
                                              : "";
}

} // namespace

std::optional<Options> parseOptions(std::span<const char* const> arguments, std::string& error) {
    auto line = parseCommandLine(arguments, kRules, error);
    if (!line)
        return std::nullopt;
    Options options;
    options.quiet = line->has("quiet");
    options.wantsHelp = line->has("help");
    options.wantsVersion = line->has("version");
    options.logFile = line->valueOf("log");
    const auto hidden = hiddenKinds(*line, error);
    if (!hidden)
        return std::nullopt;
    options.hidden = *hidden;
    if (options.wantsHelp || options.wantsVersion)
        return options;
    error = faultOf(line->operands);
    if (!error.empty())
        return std::nullopt;
    options.baseFile = std::move(line->operands[0]);
    options.newFile = std::move(line->operands[1]);
    return options;
}

std::string_view helpText() {
    return "Usage: xmemldiff [OPTION]... BASE NEW\n"
           "Says in plain sentences what changed between two XMEML exports of a project.\n"
           "One of the two may be '-' for standard input.\n"
           "\n"
           "  --hide KIND[,KIND]...  leave out kinds of change: in-points, out-points, markers,\n"
           "                         filters, sequences, clips, subclips, freeze-frames, bins,\n"
           "                         multiclips\n"
           "  --log FILE             write the log lines and console lines of the comparison;\n"
           "                         '-' is standard error\n"
           "  -q, --quiet            print nothing, only set the exit status\n"
           "  -h, --help             print this help\n"
           "      --version          print the version\n"
           "\n"
           "Exit status: 0 no change, 1 changes, 2 trouble.\n";
}

} // namespace cutstack::xmemldiff
