#include "tools/ditto/Options.h"

#include "tools/CommandLine.h"

#include <array>
#include <utility>

namespace cutstack::ditto {

namespace {

constexpr std::array kRules = {OptionRule{"create", 'c', false}, OptionRule{"zip", 'k', false},
                               OptionRule{"keepParent", 0, false}, OptionRule{"help", 'h', false}};

} // namespace

std::optional<Options> parseOptions(std::span<const char* const> arguments, std::string& error) {
    auto line = parseCommandLine(arguments, kRules, error);
    if (!line)
        return std::nullopt;
    Options options;
    options.keepsParent = line->has("keepParent");
    options.wantsHelp = line->has("help");
    if (options.wantsHelp)
        return options;
    if (!line->has("create") || !line->has("zip"))
        error = "only zip archives can be made, with -c -k";
    else if (line->operands.size() != 2)
        error = "a source and an archive are needed, and nothing else";
    if (!error.empty())
        return std::nullopt;
    options.source = std::move(line->operands[0]);
    options.destination = std::move(line->operands[1]);
    return options;
}

std::string_view helpText() {
    return "Usage: ditto -c -k [--keepParent] SOURCE ARCHIVE\n"
           "Makes a zip archive of a file, a folder or a link.\n"
           "\n"
           "  -c, --create      make an archive\n"
           "  -k, --zip         a zip archive\n"
           "      --keepParent  with the name of the folder SOURCE above what is in it\n"
           "  -h, --help        print this help\n"
           "\n"
           "An archive that is there already is replaced when the new one is whole.\n"
           "Exit status: 0, or 1 when no archive was made.\n";
}

} // namespace cutstack::ditto
