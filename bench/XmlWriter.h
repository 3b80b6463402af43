#pragma once

// Writes XML as editors indent it: a line for each leaf, a tab for each level. Without indentation
// for what is nested so deep that the tabs would outgrow the elements. One thread.

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace cutstack::bench {

enum class Indentation : bool { none, tabs };

class XmlWriter {
public:
    explicit XmlWriter(Indentation indentation = Indentation::tabs) : indentation_(indentation) {}

    /// An element that is open as long as this lives.
    class Scope {
    public:
        explicit Scope(XmlWriter& writer) : writer_(writer) {}
        ~Scope() { writer_.close(); }
        Scope(const Scope&) = delete;
        Scope& operator=(const Scope&) = delete;

    private:
        XmlWriter& writer_;
    };

    /// A line that stands outside of all elements.
    void prologue(std::string_view line);

    [[nodiscard]] Scope element(std::string_view name);
    [[nodiscard]] Scope element(std::string_view name, std::string_view attribute,
                                std::string_view value);

    void leaf(std::string_view name, std::string_view text);
    void leaf(std::string_view name, std::int64_t number);
    /// An element without content, its end tag on a line of its own.
    void blankLeaf(std::string_view name);
    /// An empty element that refers to another by its id.
    void reference(std::string_view name, std::string_view id);

    [[nodiscard]] std::size_t size() const { return text_.size(); }
    [[nodiscard]] std::string take() { return std::move(text_); }

private:
    void indent();
    void endLine();
    void open(std::string_view name, std::string_view attribute, std::string_view value);
    void close();
    void escape(std::string_view text);

    Indentation indentation_;
    std::string text_;
    std::vector<std::string_view> open_;
};

} // namespace cutstack::bench
