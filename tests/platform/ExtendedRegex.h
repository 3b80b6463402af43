#pragma once

// Texts that hold a time or a process id are compared with a POSIX extended regular expression.

#include <cstddef>
#include <regex.h>
#include <string>
#include <vector>

namespace cutstack {

/// What `expression` and its groups find in `text`; empty when it is not found.
inline std::vector<std::string> found(const std::string& text, const std::string& expression) {
    regex_t compiled{};
    if (regcomp(&compiled, expression.c_str(), REG_EXTENDED) != 0)
        return {};
    std::vector<regmatch_t> matches(compiled.re_nsub + 1);
    const bool isFound = regexec(&compiled, text.c_str(), matches.size(), matches.data(), 0) == 0;
    regfree(&compiled);
    std::vector<std::string> texts;
    for (const regmatch_t& match : isFound ? matches : std::vector<regmatch_t>())
        texts.push_back(text.substr(static_cast<std::size_t>(match.rm_so),
                                    static_cast<std::size_t>(match.rm_eo - match.rm_so)));
    return texts;
}

/// Whether the whole of `text` is as `expression` says.
inline bool matches(const std::string& text, const std::string& expression) {
    return !found(text, "^(" + expression + ")$").empty();
}

} // namespace cutstack
