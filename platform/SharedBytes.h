#pragma once

// Bytes that never change and that any number of owners share without copying them: a string's, or
// memory that came from another process. Values; any thread.

#include <memory>
#include <string>
#include <string_view>
#include <utility>

namespace cutstack {

class SharedBytes {
public:
    SharedBytes() = default;
    /// Takes the string over.
    explicit SharedBytes(std::string bytes) {
        auto kept = std::make_shared<const std::string>(std::move(bytes));
        view_ = *kept;
        owner_ = std::move(kept);
    }
    /// `view` points into what `owner` keeps.
    SharedBytes(std::shared_ptr<const void> owner, std::string_view view)
        : owner_(std::move(owner)), view_(view) {}

    [[nodiscard]] std::string_view view() const { return view_; }
    [[nodiscard]] bool isEmpty() const { return view_.empty(); }

    /// The first `count` bytes, shared with this.
    [[nodiscard]] SharedBytes first(std::size_t count) const {
        return {owner_, view_.substr(0, count)};
    }

private:
    std::shared_ptr<const void> owner_;
    std::string_view view_;
};

} // namespace cutstack
