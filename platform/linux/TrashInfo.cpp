#include "platform/linux/TrashInfo.h"

#include <cstdio>
#include <string_view>

namespace cutstack {

namespace {

constexpr std::string_view kKeptCharacters =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_.~/";

std::string percentEncoded(std::string_view path) {
    constexpr std::string_view digits = "0123456789ABCDEF";
    std::string encoded;
    for (const char c : path) {
        const auto byte = static_cast<unsigned char>(c);
        if (kKeptCharacters.find(c) != std::string_view::npos)
            encoded += c;
        else
            encoded.append(1, '%').append(1, digits[byte >> 4]).append(1, digits[byte & 15]);
    }
    return encoded;
}

std::string dateAndTime(std::chrono::sys_seconds time) {
    const auto day = std::chrono::floor<std::chrono::days>(time);
    const std::chrono::year_month_day date(day);
    const std::chrono::hh_mm_ss clock(time - day);
    char text[64];
    std::snprintf(text, sizeof text, "%04d-%02u-%02uT%02d:%02d:%02d", static_cast<int>(date.year()),
                  static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
                  static_cast<int>(clock.hours().count()),
                  static_cast<int>(clock.minutes().count()),
                  static_cast<int>(clock.seconds().count()));
    return text;
}

/// Where the extension of a name begins: at its end when it has none, or none worth keeping.
std::size_t extensionStart(const std::string& name, std::size_t mostBytes) {
    const std::size_t dot = name.rfind('.');
    const bool isExtension =
        dot != std::string::npos && dot > 0 && name.size() - dot <= mostBytes / 2;
    return isExtension ? dot : name.size();
}

std::string shortened(const std::string& text, std::size_t mostBytes) {
    if (text.size() <= mostBytes)
        return text;
    // In UTF-8 at most three bytes of a character stand after its first; other text has no such
    // borders to keep to.
    constexpr std::size_t mostContinuationBytes = 3;
    const auto isContinuation = [&](std::size_t at) {
        return (static_cast<unsigned char>(text[at]) & 0xC0U) == 0x80U;
    };
    std::size_t end = mostBytes;
    while (end > 0 && mostBytes - end < mostContinuationBytes && isContinuation(end))
        --end;
    return text.substr(0, isContinuation(end) ? mostBytes : end);
}

} // namespace

std::string trashInfo(const std::string& originalPath, std::chrono::sys_seconds localTime) {
    return "[Trash Info]\nPath=" + percentEncoded(originalPath) +
           "\nDeletionDate=" + dateAndTime(localTime) + "\n";
}

std::string trashName(const std::string& name, unsigned number, std::size_t mostBytes) {
    const std::size_t stemEnd = extensionStart(name, mostBytes);
    std::string ending = name.substr(stemEnd);
    if (number > 1)
        ending = " " + std::to_string(number) + ending;
    return shortened(name.substr(0, stemEnd), mostBytes - ending.size()) + ending;
}

} // namespace cutstack
