#include "support/Format.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <optional>

namespace cutstack {

namespace {

/// The widest field and the most digits that a placeholder may ask for.
constexpr int kWidestField = 1000;

struct Placeholder {
    bool zeroPadded = false;
    int width = 0;
    int precision = -1;
    char conversion = '@';
    std::size_t length = 0; ///< bytes of the template that it covers
};

/// Reads a decimal number at `at` and moves behind it.
int readNumber(std::string_view format, std::size_t& at) {
    int number = 0;
    while (at < format.size() && format[at] >= '0' && format[at] <= '9')
        number = std::min(kWidestField, number * 10 + (format[at++] - '0'));
    return number;
}

/// The placeholder that begins with the per-cent sign at `start`, if one does.
std::optional<Placeholder> placeholderAt(std::string_view format, std::size_t start) {
    Placeholder found;
    std::size_t at = start + 1;
    while (at < format.size() && format[at] == '0') {
        found.zeroPadded = true;
        ++at;
    }
    found.width = readNumber(format, at);
    if (at < format.size() && format[at] == '.')
        found.precision = readNumber(format, ++at);
    while (at < format.size() &&
           std::string_view("hlqzjt").find(format[at]) != std::string_view::npos)
        ++at;
    if (at >= format.size() ||
        std::string_view("@sdiuxf%").find(format[at]) == std::string_view::npos)
        return std::nullopt;
    found.conversion = format[at];
    found.length = at + 1 - start;
    return found;
}

std::string digitsOf(std::uint64_t magnitude, int base) {
    char digits[32];
    const auto end = std::to_chars(std::begin(digits), std::end(digits), magnitude, base).ptr;
    return {std::begin(digits), end};
}

std::string integerText(bool negative, std::uint64_t magnitude, const Placeholder& as) {
    std::string digits = digitsOf(magnitude, as.conversion == 'x' ? 16 : 10);
    const int sign = negative ? 1 : 0;
    const int least = as.precision >= 0 ? as.precision : as.zeroPadded ? as.width - sign : 0;
    if (const auto wanted = static_cast<std::size_t>(std::max(least, 0)); digits.size() < wanted)
        digits.insert(0, wanted - digits.size(), '0');
    return negative ? "-" + digits : digits;
}

std::string numberText(double number, const Placeholder& as) {
    char text[512];
    const int precision = std::clamp(as.precision < 0 ? 6 : as.precision, 0, 40);
    const int length = std::snprintf(text, sizeof text, "%.*f", precision, number);
    return {text, std::min(static_cast<std::size_t>(std::max(length, 0)), sizeof text - 1)};
}

std::string filled(const FormatArgument& argument, const Placeholder& as) {
    const auto& value = argument.value();
    if (const auto* text = std::get_if<std::string_view>(&value))
        return std::string(*text);
    if (const auto* number = std::get_if<double>(&value))
        return numberText(*number, as);
    if (const auto* natural = std::get_if<std::uint64_t>(&value))
        return integerText(false, *natural, as);
    const std::int64_t number = std::get<std::int64_t>(value);
    const auto bits = static_cast<std::uint64_t>(number);
    return integerText(number < 0, number < 0 ? 0 - bits : bits, as);
}

void appendPadded(std::string& result, const std::string& text, int width) {
    if (const auto wanted = static_cast<std::size_t>(width); text.size() < wanted)
        result.append(wanted - text.size(), ' ');
    result += text;
}

} // namespace

std::string formatString(std::string_view format, std::span<const FormatArgument> arguments) {
    std::string result;
    result.reserve(format.size() + 16 * arguments.size());
    std::size_t used = 0;
    for (std::size_t at = 0; at < format.size();) {
        const std::size_t sign = std::min(format.find('%', at), format.size());
        result += format.substr(at, sign - at);
        if (sign == format.size())
            break;
        const auto placeholder = placeholderAt(format, sign);
        at = sign + (placeholder ? placeholder->length : 1);
        if (!placeholder || placeholder->conversion == '%')
            result += '%';
        else if (used < arguments.size())
            appendPadded(result, filled(arguments[used++], *placeholder), placeholder->width);
    }
    return result;
}

} // namespace cutstack
