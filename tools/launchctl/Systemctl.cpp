#include "tools/launchctl/Systemctl.h"

#include <algorithm>
#include <iterator>
#include <string_view>

namespace cutstack::launchctl {

namespace {

constexpr const char* kSystemctl = "/usr/bin/systemctl";

struct Property {
    std::string_view name;
    std::string UnitState::*field;
};

constexpr Property kProperties[] = {
    {"FragmentPath", &UnitState::fragmentPath},
    {"ActiveState", &UnitState::activeState},
    {"MainPID", &UnitState::mainPid},
    {"ExecMainCode", &UnitState::exitCode},
    {"ExecMainStatus", &UnitState::exitStatus},
    {"ExecMainExitTimestampMonotonic", &UnitState::exitMoment},
};

void takeProperty(std::string_view line, UnitState& state) {
    const auto equals = line.find('=');
    const auto* const property =
        std::ranges::find(kProperties, line.substr(0, equals), &Property::name);
    if (equals != std::string_view::npos && property != std::end(kProperties))
        state.*property->field = line.substr(equals + 1);
}

/// The states that systemctl prints, with an empty line between one and the next.
std::vector<UnitState> statesIn(std::string_view output) {
    std::vector<UnitState> states;
    bool isNew = true;
    while (!output.empty()) {
        const std::string_view line = output.substr(0, output.find('\n'));
        output.remove_prefix(std::min(line.size() + 1, output.size()));
        if (!line.empty() && isNew)
            states.emplace_back();
        if (!line.empty())
            takeProperty(line, states.back());
        isNew = line.empty();
    }
    return states;
}

/// What systemctl says on its standard error, on one line.
std::string onOneLine(std::string_view errors) {
    std::string line(errors.substr(0, errors.find_last_not_of('\n') + 1));
    std::ranges::replace(line, '\n', ' ');
    return line;
}

} // namespace

bool Systemctl::run(const std::vector<std::string>& arguments, std::string& error) const {
    return outputOf(arguments, error).has_value();
}

std::optional<std::vector<UnitState>> Systemctl::show(const std::vector<std::string>& units,
                                                      std::string& error) const {
    if (units.empty())
        return std::vector<UnitState>();
    std::vector<std::string> arguments = {"show"};
    for (const Property& property : kProperties)
        arguments.push_back("--property=" + std::string(property.name));
    arguments.insert(arguments.end(), units.begin(), units.end());
    const auto output = outputOf(arguments, error);
    if (!output)
        return std::nullopt;
    auto states = statesIn(*output);
    if (states.size() == units.size())
        return states;
    error = "systemctl told of other units than it was asked about";
    return std::nullopt;
}

std::optional<UnitState> Systemctl::show(const std::string& unit, std::string& error) const {
    const auto states = show(std::vector{unit}, error);
    return states ? std::optional(states->front()) : std::nullopt;
}

std::optional<std::string> Systemctl::outputOf(const std::vector<std::string>& arguments,
                                               std::string& error) const {
    std::vector<std::string> words = {"--user", "--no-pager", "--no-ask-password"};
    words.insert(words.end(), arguments.begin(), arguments.end());
    const ChildStreams streams = {ChildStreams::Output::collected, ChildStreams::Output::collected};
    const auto process = launcher_.launch(kSystemctl, words, streams, error);
    if (process == nullptr) {
        error = std::string(kSystemctl) + ": " + error;
        return std::nullopt;
    }
    const auto said = process->readToEnd();
    const int status = process->waitUntilExit();
    if (status == 0)
        return said.output;
    error = said.errors.empty()
                ? "systemctl " + arguments.front() + " ended with status " + std::to_string(status)
                : onOneLine(said.errors);
    return std::nullopt;
}

} // namespace cutstack::launchctl
