#pragma once

// The value that a property list holds: settings, launchd jobs, caches and bundle information are
// all property lists. PropertyList is a plain value, copied and compared like one; its readers and
// writers stand in PropertyListReading.h and PropertyListWriting.h.
//
// Every accessor is total: it answers for any value, with nothing where the value is of another
// kind, and never throws. Lists come from other programs, so code asks instead of assuming.
//
// Different values may be used by different threads; one value is not guarded.

#include <chrono>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

namespace cutstack {

/// How deep arrays and dictionaries may stand inside each other in a list that is read; the
/// recursions over a list that was read stay within this.
inline constexpr std::size_t kPropertyListDepthLimit = 512;

/// A moment in UTC, with the precision that the XML form has.
using PropertyListDate = std::chrono::sys_seconds;

/// The dates that a list can hold: the years 1 to 9999, which the XML form has digits for.
[[nodiscard]] bool isPropertyListDate(PropertyListDate date);

/// Bytes that are no text.
struct PropertyListData {
    std::string bytes;
    bool operator==(const PropertyListData&) const = default;
};

class PropertyList {
public:
    using Array = std::vector<PropertyList>;
    using Dictionary = std::map<std::string, PropertyList, std::less<>>;

    /// An integer is unsigned only above the range of the signed one, so that equal numbers are
    /// equal values.
    using Value = std::variant<Dictionary, Array, std::string, std::int64_t, std::uint64_t, double,
                               bool, PropertyListDate, PropertyListData>;

    /// An empty dictionary.
    PropertyList();
    // Out of line, because all of these run through the whole variant.
    PropertyList(const PropertyList&);
    PropertyList(PropertyList&&) noexcept;
    PropertyList& operator=(const PropertyList&);
    PropertyList& operator=(PropertyList&&) noexcept;
    ~PropertyList();

    PropertyList(Dictionary values) : value_(std::move(values)) {}
    PropertyList(Array values) : value_(std::move(values)) {}
    PropertyList(std::string text) : value_(std::move(text)) {}
    PropertyList(std::string_view text) : value_(std::string(text)) {}
    PropertyList(const char* text) : value_(std::string(text)) {}
    PropertyList(std::same_as<bool> auto flag) : value_(flag) {}
    PropertyList(std::signed_integral auto number) : value_(std::int64_t{number}) {}
    PropertyList(std::unsigned_integral auto number) requires(!std::same_as<decltype(number), bool>)
        : value_(canonical(number)) {}
    PropertyList(double number) : value_(number) {}
    PropertyList(PropertyListDate date) : value_(date) {}
    PropertyList(PropertyListData data) : value_(std::move(data)) {}

    /// What std::visit looks into.
    [[nodiscard]] const Value& value() const { return value_; }

    // The value itself, when it is of exactly that kind. A pointer is into this object.
    [[nodiscard]] const std::string* asString() const { return std::get_if<std::string>(&value_); }
    [[nodiscard]] std::string* asString() { return std::get_if<std::string>(&value_); }
    [[nodiscard]] const PropertyListData* asData() const {
        return std::get_if<PropertyListData>(&value_);
    }
    [[nodiscard]] const Array* asArray() const { return std::get_if<Array>(&value_); }
    [[nodiscard]] Array* asArray() { return std::get_if<Array>(&value_); }
    [[nodiscard]] const Dictionary* asDictionary() const {
        return std::get_if<Dictionary>(&value_);
    }
    [[nodiscard]] Dictionary* asDictionary() { return std::get_if<Dictionary>(&value_); }
    [[nodiscard]] std::optional<bool> asBoolean() const { return copied<bool>(); }
    /// Nothing for an integer above 2^63-1: asUnsigned() has it.
    [[nodiscard]] std::optional<std::int64_t> asInteger() const { return copied<std::int64_t>(); }
    /// Any integer that is not negative.
    [[nodiscard]] std::optional<std::uint64_t> asUnsigned() const;
    [[nodiscard]] std::optional<double> asReal() const { return copied<double>(); }
    [[nodiscard]] std::optional<PropertyListDate> asDate() const {
        return copied<PropertyListDate>();
    }

    /// The value under `key`; nullptr when this is no dictionary or has no such key.
    [[nodiscard]] const PropertyList* valueForKey(std::string_view key) const;

    /// The value as a setting that wants a number reads it: integers and booleans as they are, a
    /// real cut towards zero, the number that a string begins with after white space. What is
    /// beyond 64 bits becomes the nearest number; everything else is 0.
    [[nodiscard]] std::int64_t integerValue() const;

    /// The value as a setting that wants a yes or no reads it: numbers but 0 are yes, and so is a
    /// string that begins with Y, T (in either case) or, after white space, a sign and zeros, with
    /// one of the digits 1 to 9. Everything else is no.
    [[nodiscard]] bool booleanValue() const;

    /// Same kind and same value all the way down; 1, 1.0 and true are three different values.
    bool operator==(const PropertyList& other) const;

private:
    static Value canonical(std::uint64_t number);

    template <typename T>
    [[nodiscard]] std::optional<T> copied() const {
        const T* held = std::get_if<T>(&value_);
        return held == nullptr ? std::nullopt : std::optional<T>(*held);
    }

    Value value_;
};

} // namespace cutstack
