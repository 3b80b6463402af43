#include "tools/xmemldiff/Options.h"

#include <algorithm>
#include <vector>

namespace cutstack::xmemldiff {

namespace {

/// Walks over the arguments and fills Options.
class Parser {
public:
    Parser(std::span<const char* const> arguments, std::string& error)
        : arguments_(arguments), error_(error) {}

    std::optional<Options> run();

private:
    bool takeOption(std::string_view argument);
    bool takeFlag(std::string_view name);
    bool takeValue(std::string_view name, std::string_view value);
    bool hide(std::string_view kinds);
    bool takeFiles();
    bool fail(std::string message) {
        error_ = std::move(message);
        return false;
    }

    std::span<const char* const> arguments_;
    std::string& error_;
    std::size_t at_ = 0;
    std::vector<std::string> files_;
    Options options_;
};

bool Parser::takeFlag(std::string_view name) {
    if (name == "--quiet" || name == "-q")
        options_.quiet = true;
    else if (name == "--help" || name == "-h")
        options_.wantsHelp = true;
    else if (name == "--version")
        options_.wantsVersion = true;
    else
        return false;
    return true;
}

bool Parser::takeValue(std::string_view name, std::string_view value) {
    if (name == "--hide")
        return hide(value);
    options_.logFile = value;
    return true;
}

bool Parser::hide(std::string_view kinds) {
    for (bool more = true; more;) {
        const std::size_t comma = std::min(kinds.find(','), kinds.size());
        const std::string_view kind = kinds.substr(0, comma);
        const auto* known = std::ranges::find(kChangeKindNames, kind);
        if (known == kChangeKindNames.end())
            return fail("unknown kind of change '" + std::string(kind) + "' (see --help)");
        options_.hidden.at(static_cast<std::size_t>(known - kChangeKindNames.begin())) = 1;
        more = comma < kinds.size();
        kinds.remove_prefix(std::min(comma + 1, kinds.size()));
    }
    return true;
}

bool Parser::takeOption(std::string_view argument) {
    if (takeFlag(argument))
        return true;
    const std::size_t equals = argument.find('=');
    const std::string_view name = argument.substr(0, equals);
    if (name != "--hide" && name != "--log")
        return fail("unknown option '" + std::string(argument) + "'");
    if (equals != std::string_view::npos)
        return takeValue(name, argument.substr(equals + 1));
    if (at_ == arguments_.size())
        return fail("option '" + std::string(name) + "' needs a value");
    return takeValue(name, arguments_[at_++]);
}

bool Parser::takeFiles() {
    if (files_.size() != 2)
        return fail(files_.size() < 2 ? "two files are needed, the base and the new one"
                                      : "only two files can be compared");
    if (files_[0] == "-" && files_[1] == "-")
        return fail("standard input can be only one of the two files");
    options_.baseFile = std::move(files_[0]);
    options_.newFile = std::move(files_[1]);
    return true;
}

std::optional<Options> Parser::run() {
    bool onlyFiles = false;
    while (at_ < arguments_.size()) {
        const std::string_view argument = arguments_[at_++];
        if (onlyFiles || argument == "-" || !argument.starts_with('-'))
            files_.emplace_back(argument);
        else if (argument == "--")
            onlyFiles = true;
        else if (!takeOption(argument))
            return std::nullopt;
    }
    const bool needsFiles = !options_.wantsHelp && !options_.wantsVersion;
    if (needsFiles && !takeFiles())
        return std::nullopt;
    return std::move(options_);
}

} // namespace

std::optional<Options> parseOptions(std::span<const char* const> arguments, std::string& error) {
    return Parser(arguments, error).run();
}

std::string_view helpText() {
    return "Usage: xmemldiff [OPTION]... BASE NEW\n"
           "Says in plain sentences what changed between two XMEML exports of a project.\n"
           "One of the two may be '-' for standard input.\n"
           "\n"
           "  --hide KIND[,KIND]...  leave out kinds of change: in-points, out-points, markers,\n"
           "                         filters, sequences, clips, subclips, freeze-frames, bins,\n"
           "                         multiclips\n"
           "  --log FILE             write the log lines and console lines of the comparison\n"
           "  -q, --quiet            print nothing, only set the exit status\n"
           "  -h, --help             print this help\n"
           "      --version          print the version\n"
           "\n"
           "Exit status: 0 no change, 1 changes, 2 trouble.\n";
}

} // namespace cutstack::xmemldiff
