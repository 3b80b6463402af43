#pragma once

// Sentences and log lines are kept as templates with placeholders ("%@ bin name changed to %@").
// formatString() fills one in. Pure functions; any thread.

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <span>
#include <string>
#include <string_view>
#include <variant>

namespace cutstack {

/// What fills a placeholder. Texts are viewed, not copied: they must outlive the call.
class FormatArgument {
public:
    FormatArgument(std::string_view text) : value_(text) {}
    FormatArgument(const std::string& text) : value_(std::string_view(text)) {}
    FormatArgument(const char* text) : value_(std::string_view(text)) {}
    FormatArgument(double number) : value_(number) {}
    FormatArgument(std::signed_integral auto number) : value_(std::int64_t{number}) {}
    FormatArgument(std::unsigned_integral auto number) : value_(std::uint64_t{number}) {}

    [[nodiscard]] const std::variant<std::string_view, std::int64_t, std::uint64_t, double>&
    value() const {
        return value_;
    }

private:
    std::variant<std::string_view, std::int64_t, std::uint64_t, double> value_;
};

/// `format` with its placeholders replaced by `arguments`, in order.
///
/// "%@" and "%s" take a text, "%d", "%i", "%u" and "%x" an integer (length letters such as "ll" are
/// accepted), "%f" a number; width, zero flag and precision work as in C. "%%" is a per-cent sign.
/// An argument of another type is shown in its natural form; a placeholder without an argument
/// vanishes; a per-cent sign that begins no placeholder stands for itself.
[[nodiscard]] std::string formatString(std::string_view format,
                                       std::span<const FormatArgument> arguments);

[[nodiscard]] inline std::string formatString(std::string_view format,
                                              std::initializer_list<FormatArgument> arguments) {
    return formatString(format, std::span(arguments.begin(), arguments.size()));
}

/// How many "%@" a template holds, for tables that are checked by the compiler.
[[nodiscard]] constexpr std::size_t textPlaceholders(std::string_view format) {
    std::size_t count = 0;
    for (std::size_t i = 0; i + 1 < format.size(); ++i)
        count += format[i] == '%' && format[i + 1] == '@' ? 1U : 0U;
    return count;
}

} // namespace cutstack
