// Two exports from anywhere: the bytes up to the first NUL and the bytes after it. Whatever can be
// read must be comparable, both ways and with itself, where nothing has changed.

#include "changes/DocumentComparison.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>

namespace {

using namespace cutstack;

class SilentHost final : public ComparisonHost {
public:
    [[nodiscard]] bool progressCancelled() const override { return false; }
    void endProgress() override { std::abort(); }
    void appendLog(std::string_view) override {}
    void console(std::string_view) override {}
};

/// A document, or nothing together with a reason.
std::unique_ptr<const XmemlDocument> parsed(std::string_view bytes) {
    XmlError error;
    auto document = XmemlDocument::parse(std::string(bytes), error);
    if ((document == nullptr) == error.message.empty())
        std::abort();
    return document;
}

Changelist changes(const XmemlDocument& next, const XmemlDocument& base) {
    SilentHost host;
    const auto sentences = changeListForXMLDoc(next, base, host);
    if (!sentences || sentences->empty())
        std::abort();
    return *sentences;
}

void expectNoChange(const XmemlDocument& document) {
    if (changes(document, document) != Changelist{"No change"})
        std::abort();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    const std::string_view input(reinterpret_cast<const char*>(bytes), size);
    const std::size_t split = std::min(input.find('\0'), size);
    const auto base = parsed(input.substr(0, split));
    const auto next = parsed(input.substr(std::min(split + 1, size)));
    if (base != nullptr)
        expectNoChange(*base);
    if (next != nullptr)
        expectNoChange(*next);
    if (base == nullptr || next == nullptr)
        return 0;
    const bool areEqual = base->equals(*next);
    if (areEqual != next->equals(*base) ||
        areEqual != (changes(*next, *base) == Changelist{"No change"}))
        std::abort();
    static_cast<void>(changes(*base, *next));
    return 0;
}
