#include "platform/linux/OsRelease.h"

namespace cutstack {

namespace {

/// A value as the shell would read it: one quoted string, or a word without quotes.
std::string unquoted(std::string_view value) {
    const char quote = value.empty() ? '\0' : value.front();
    const bool quoted = quote == '"' || quote == '\'';
    if (quoted)
        value.remove_prefix(1);
    std::string result;
    for (std::size_t at = 0; at < value.size(); ++at) {
        if (quoted && value[at] == quote)
            break;
        if (value[at] == '\\' && quote != '\'' && at + 1 < value.size())
            ++at;
        result += value[at];
    }
    return result;
}

} // namespace

std::optional<std::string> osReleaseValue(std::string_view content, std::string_view key) {
    std::optional<std::string> found;
    while (!content.empty()) {
        const std::string_view line = content.substr(0, content.find('\n'));
        content.remove_prefix(std::min(content.size(), line.size() + 1));
        if (line.starts_with(key) && line.substr(key.size()).starts_with('='))
            found = unquoted(line.substr(key.size() + 1));
    }
    return found && found->empty() ? std::nullopt : found;
}

} // namespace cutstack
