#include "tools/CommandLine.h"

#include <algorithm>
#include <getopt.h>

namespace cutstack {

namespace {

/// What the parser answers for an option without a letter: its place in the table, above all
/// letters.
constexpr int kFirstPlace = 256;

std::vector<option> longOptions(std::span<const OptionRule> rules) {
    std::vector<option> options;
    options.reserve(rules.size() + 1);
    for (const OptionRule& rule : rules)
        options.push_back({rule.name, rule.takesValue ? required_argument : no_argument, nullptr,
                           kFirstPlace + static_cast<int>(options.size())});
    options.push_back({});
    return options;
}

std::string letters(std::span<const OptionRule> rules) {
    // With the colon a missing value is told apart from an unknown option.
    std::string letters = ":";
    for (const OptionRule& rule : rules)
        if (rule.letter != 0)
            letters.append(1, rule.letter).append(rule.takesValue ? ":" : "");
    return letters;
}

const OptionRule& ruleFor(int answer, std::span<const OptionRule> rules) {
    if (answer >= kFirstPlace)
        return rules[static_cast<std::size_t>(answer - kFirstPlace)];
    return *std::ranges::find(rules, static_cast<char>(answer), &OptionRule::letter);
}

} // namespace

bool CommandLine::has(std::string_view name) const {
    return std::ranges::find(options, name, &GivenOption::name) != options.end();
}

std::optional<std::string> CommandLine::valueOf(std::string_view name) const {
    std::optional<std::string> value;
    for (const GivenOption& option : options)
        if (option.name == name)
            value = option.value;
    return value;
}

std::optional<CommandLine> parseCommandLine(std::span<const char* const> arguments,
                                            std::span<const OptionRule> rules, std::string& error) {
    std::vector<std::string> words = {"program"};
    words.insert(words.end(), arguments.begin(), arguments.end());
    std::vector<char*> argv;
    argv.reserve(words.size() + 1);
    for (std::string& word : words)
        argv.push_back(word.data());
    argv.push_back(nullptr);

    const int count = static_cast<int>(words.size());
    const std::vector<option> options = longOptions(rules);
    const std::string shortOptions = letters(rules);
    CommandLine line;
    optind = 0; // begins anew
    opterr = 0;
    for (int answer = 0; (answer = getopt_long(count, argv.data(), shortOptions.c_str(),
                                               options.data(), nullptr)) != -1;) {
        const std::string given = argv[static_cast<std::size_t>(optind) - 1];
        if (answer == '?')
            error = "unknown option '" + given + "'";
        else if (answer == ':')
            error = "option '" + given + "' needs a value";
        if (answer == '?' || answer == ':')
            return std::nullopt;
        line.options.push_back(
            {ruleFor(answer, rules).name, optarg == nullptr ? "" : std::string(optarg)});
    }
    line.operands.assign(argv.begin() + optind, argv.end() - 1);
    return line;
}

} // namespace cutstack
