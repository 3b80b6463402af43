#include "tools/launchctl/UnitText.h"

#include <algorithm>
#include <array>

namespace cutstack::launchctl {

namespace {

constexpr std::string_view kDigits = "0123456789abcdef";
/// What systemd allows in no path of a program, control characters apart.
constexpr std::string_view kUnsafeInPrograms = "\"'\\\x7f";

bool isAlphanumeric(char letter) {
    return (letter >= '0' && letter <= '9') || (letter >= 'A' && letter <= 'Z') ||
           (letter >= 'a' && letter <= 'z');
}

bool isPrintable(char letter) { return letter >= ' ' && letter <= '~'; }

std::string hexadecimal(char letter) {
    const auto byte = static_cast<unsigned char>(letter);
    return {'\\', 'x', kDigits[byte >> 4U], kDigits[byte & 15U]};
}

/// `text` in quotation marks, with `percent` for each per-cent sign.
std::string quotedWith(std::string_view percent, std::string_view text) {
    std::string line = "\"";
    for (const char letter : text) {
        if (letter == '%')
            line += percent;
        else if (isPrintable(letter) && letter != '"' && letter != '\\')
            line += letter;
        else
            line += hexadecimal(letter);
    }
    return line + "\"";
}

std::string quotedWord(std::string_view text) { return quotedWith("%%", text); }

bool isSafeProgram(std::string_view path) {
    return std::ranges::none_of(path, [](char letter) {
        return (letter >= 0 && letter < ' ') ||
               kUnsafeInPrograms.find(letter) != std::string_view::npos;
    });
}

/// The byte that a "\xNN" at the beginning of `text` stands for.
std::optional<char> byteOf(std::string_view text) {
    if (text.size() < 4 || text[1] != 'x')
        return std::nullopt;
    const auto high = kDigits.find(text[2]);
    const auto low = kDigits.find(text[3]);
    if (high == std::string_view::npos || low == std::string_view::npos)
        return std::nullopt;
    return static_cast<char>(high * kDigits.size() + low);
}

} // namespace

std::string escapedForUnitName(std::string_view text) {
    std::string name;
    for (const char letter : text) {
        const bool isFirstDot = letter == '.' && name.empty();
        if (isAlphanumeric(letter) || letter == ':' || letter == '_' ||
            (letter == '.' && !isFirstDot))
            name += letter;
        else if (letter == '/')
            name += '-';
        else
            name += hexadecimal(letter);
    }
    return name;
}

std::string quotedText(std::string_view text) { return quotedWith("%", text); }

std::optional<std::string> plainText(std::string_view text) {
    if (text.size() < 2 || text.front() != '"' || text.back() != '"')
        return std::nullopt;
    text = text.substr(1, text.size() - 2);
    std::string plain;
    while (!text.empty()) {
        const bool isEscape = text.front() == '\\';
        const auto letter = isEscape ? byteOf(text) : text.front();
        if (!letter || text.front() == '"')
            return std::nullopt;
        plain += *letter;
        text.remove_prefix(isEscape ? 4 : 1);
    }
    return plain;
}

std::string commandLine(std::string_view program, const std::vector<std::string>& arguments) {
    // ':' says that nothing is a variable, '@' that the name of the process follows.
    std::string line;
    if (isSafeProgram(program)) {
        line = quotedWord(":@" + std::string(program));
        line += " " + quotedWord(arguments.front());
    } else {
        line = R"(":/usr/bin/nice" "-n" "0" )" + quotedWord(program);
    }
    for (std::size_t i = 1; i < arguments.size(); ++i)
        line += " " + quotedWord(arguments[i]);
    return line;
}

} // namespace cutstack::launchctl
