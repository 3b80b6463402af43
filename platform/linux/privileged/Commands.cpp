#include "platform/linux/privileged/Commands.h"

#include <algorithm>
#include <array>
#include <climits>
#include <initializer_list>
#include <limits>
#include <string_view>

namespace cutstack {

namespace {

constexpr std::size_t kAny = std::numeric_limits<std::size_t>::max();

/// Some words, as a row of the table holds them.
class Words {
public:
    template <typename... Texts>
    constexpr Words(const Texts&... texts) : words_{texts...}, count_(sizeof...(texts)) {}
    [[nodiscard]] constexpr const std::string_view* begin() const { return words_.data(); }
    [[nodiscard]] constexpr const std::string_view* end() const { return words_.data() + count_; }

private:
    std::array<std::string_view, 3> words_;
    std::size_t count_;
};

struct KnownCommand {
    std::string_view tool; ///< as callers name it
    Words options;         ///< as callers give them
    std::size_t fewest;    ///< paths
    std::size_t most;      ///< paths
    std::size_t changed;   ///< CommandFor::changedOperands
    std::string_view program;
    Words programOptions;
};

// On a Mac the first group is called wheel; here it has root's name, like the user.
constexpr std::array kKnownCommands = {
    KnownCommand{"/bin/cp", {"-f", "-p", "-R"}, 2, 2, 0, "/bin/cp", {"-f", "-p", "-R"}},
    KnownCommand{"/bin/mv", {"-f"}, 2, 2, 1, "/bin/mv", {"-f"}},
    KnownCommand{"/bin/rm", {"-Rdf"}, 1, 1, kAny, "/bin/rm", {"-Rdf"}},
    KnownCommand{"/bin/rm", {"-R", "-f"}, 1, kAny, kAny, "/bin/rm", {"-R", "-f"}},
    KnownCommand{"/bin/mkdir", {"-p"}, 1, 1, 0, "/bin/mkdir", {"-p"}},
    KnownCommand{"/usr/bin/touch", {"-c"}, 1, 1, kAny, "/usr/bin/touch", {"-c"}},
    KnownCommand{"/bin/chmod", {"644"}, 1, 1, kAny, "/bin/chmod", {"644"}},
    KnownCommand{"/usr/sbin/chown", {"root:wheel"}, 1, 1, kAny, "/bin/chown", {"root:root"}},
};

bool takesOptions(const KnownCommand& known, const std::vector<std::string>& arguments) {
    const auto count = static_cast<std::size_t>(known.options.end() - known.options.begin());
    return arguments.size() >= count &&
           std::equal(known.options.begin(), known.options.end(), arguments.begin()) &&
           arguments.size() - count >= known.fewest && arguments.size() - count <= known.most;
}

bool isPlainAbsolutePath(std::string_view path) {
    if (!path.starts_with('/') || path.size() >= PATH_MAX ||
        path.find('\0') != std::string_view::npos)
        return false;
    while (!path.empty()) {
        path.remove_prefix(1); // a slash
        const std::string_view component = path.substr(0, path.find('/'));
        if (component == "." || component == "..")
            return false;
        path.remove_prefix(component.size());
    }
    return true;
}

} // namespace

std::optional<PrivilegedCommand> commandFor(const PrivilegedRequest& request,
                                            std::string& refusal) {
    const auto* const known =
        std::ranges::find_if(kKnownCommands, [&](const KnownCommand& candidate) {
            return candidate.tool == request.tool && takesOptions(candidate, request.arguments);
        });
    if (known == kKnownCommands.end()) {
        refusal = "this tool is not run with administrator rights, or not with these arguments";
        return std::nullopt;
    }
    const auto options = known->options.end() - known->options.begin();
    PrivilegedCommand command{std::string(known->program),
                              {known->programOptions.begin(), known->programOptions.end()},
                              {request.arguments.begin() + options, request.arguments.end()},
                              0};
    if (!std::ranges::all_of(command.operands, isPlainAbsolutePath)) {
        refusal = "only plain absolute paths are worked on with administrator rights";
        return std::nullopt;
    }
    command.changedOperands = std::min(known->changed, command.operands.size());
    return command;
}

} // namespace cutstack
