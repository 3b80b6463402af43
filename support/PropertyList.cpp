#include "support/PropertyList.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>

namespace cutstack {

namespace {

using Limits = std::numeric_limits<std::int64_t>;

/// 2^63, which a double holds exactly.
constexpr double kBeyondInteger = 9223372036854775808.0;

std::string_view withoutLeadingSpace(std::string_view text) {
    const auto first = text.find_first_not_of(" \t\n\r\v\f");
    return first == std::string_view::npos ? std::string_view() : text.substr(first);
}

std::int64_t leadingInteger(std::string_view text) {
    text = withoutLeadingSpace(text);
    if (text.starts_with('+')) {
        text.remove_prefix(1);
        if (text.starts_with('-'))
            return 0;
    }
    std::int64_t number = 0;
    const auto [end, fault] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (fault == std::errc::result_out_of_range)
        return text.starts_with('-') ? Limits::min() : Limits::max();
    return number;
}

bool meansYes(std::string_view text) {
    text = withoutLeadingSpace(text);
    if (text.starts_with('+') || text.starts_with('-'))
        text.remove_prefix(1);
    text.remove_prefix(std::min(text.find_first_not_of('0'), text.size()));
    return !text.empty() &&
           std::string_view("YyTt123456789").find(text.front()) != std::string_view::npos;
}

std::int64_t nearestInteger(double real) {
    if (std::isnan(real))
        return 0;
    if (real >= kBeyondInteger)
        return Limits::max();
    if (real < -kBeyondInteger)
        return Limits::min();
    return static_cast<std::int64_t>(real);
}

/// The leniency of settings, kind by kind; what has no number is 0 and no.
struct IntegerOf {
    std::int64_t operator()(std::int64_t number) const { return number; }
    std::int64_t operator()(std::uint64_t) const { return Limits::max(); }
    std::int64_t operator()(double real) const { return nearestInteger(real); }
    std::int64_t operator()(bool flag) const { return flag ? 1 : 0; }
    std::int64_t operator()(const std::string& text) const { return leadingInteger(text); }
    std::int64_t operator()(const auto&) const { return 0; }
};

struct BooleanOf {
    bool operator()(std::int64_t number) const { return number != 0; }
    bool operator()(std::uint64_t) const { return true; }
    bool operator()(double real) const { return real != 0; }
    bool operator()(bool flag) const { return flag; }
    bool operator()(const std::string& text) const { return meansYes(text); }
    bool operator()(const auto&) const { return false; }
};

} // namespace

bool isPropertyListDate(PropertyListDate date) {
    using namespace std::chrono;
    constexpr sys_days first = year(1) / January / 1;
    constexpr sys_days end = year(10000) / January / 1;
    return date >= first && date < end;
}

PropertyList::PropertyList() = default;
PropertyList::PropertyList(const PropertyList&) = default;
PropertyList::PropertyList(PropertyList&&) noexcept = default;
PropertyList& PropertyList::operator=(const PropertyList&) = default;
PropertyList& PropertyList::operator=(PropertyList&&) noexcept = default;
PropertyList::~PropertyList() = default;

bool PropertyList::operator==(const PropertyList& other) const { return value_ == other.value_; }

PropertyList::Value PropertyList::canonical(std::uint64_t number) {
    if (number > static_cast<std::uint64_t>(Limits::max()))
        return number;
    return static_cast<std::int64_t>(number);
}

std::optional<std::uint64_t> PropertyList::asUnsigned() const {
    if (const auto number = asInteger(); number && *number >= 0)
        return static_cast<std::uint64_t>(*number);
    return copied<std::uint64_t>();
}

const PropertyList* PropertyList::valueForKey(std::string_view key) const {
    const Dictionary* dictionary = asDictionary();
    if (dictionary == nullptr)
        return nullptr;
    const auto found = dictionary->find(key);
    return found == dictionary->end() ? nullptr : &found->second;
}

std::int64_t PropertyList::integerValue() const { return std::visit(IntegerOf(), value_); }

bool PropertyList::booleanValue() const { return std::visit(BooleanOf(), value_); }

} // namespace cutstack
