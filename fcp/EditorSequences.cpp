#include "fcp/EditorSequences.h"

#include <cstddef>
#include <string_view>
#include <utility>

namespace cutstack {

namespace {

/// Collects sequences while their document is read. `open_` has the sequences that the reading is
/// inside of, the innermost one last: text goes to the field of that one which is open.
class SequenceCollector final : public XmlEvents {
public:
    void startElement(const XmlStartTag& tag) override {
        ++depth_;
        if (!tag.prefix.empty())
            return;
        if (!open_.empty() && depth_ == open_.back().depth + 1)
            startField(tag.localName);
        if (tag.localName == "sequence") {
            open_.push_back({depth_, found_.size(), nullptr});
            found_.emplace_back();
        }
    }

    void endElement() override {
        if (!open_.empty() && depth_ == open_.back().depth + 1)
            open_.back().field = nullptr;
        if (!open_.empty() && depth_ == open_.back().depth)
            open_.pop_back();
        --depth_;
    }

    void text(std::string_view piece) override {
        if (!open_.empty() && open_.back().field != nullptr)
            (found_[open_.back().index].*(open_.back().field))->append(piece);
    }

    [[nodiscard]] std::vector<EditorSequence> sequences() && {
        std::vector<EditorSequence> named;
        for (Found& sequence : found_)
            if (sequence.name)
                named.push_back(
                    {*std::move(sequence.name), std::move(sequence.uuid).value_or(std::string())});
        return named;
    }

private:
    struct Found {
        std::optional<std::string> name;
        std::optional<std::string> uuid;
    };
    using Field = std::optional<std::string> Found::*;
    struct Open {
        std::size_t depth;
        std::size_t index; ///< in found_
        Field field;       ///< of which the reading is inside
    };

    void startField(std::string_view name) {
        const Field field = name == "name" ? &Found::name : name == "uuid" ? &Found::uuid : nullptr;
        if (field == nullptr || found_[open_.back().index].*field)
            return;
        (found_[open_.back().index].*field).emplace();
        open_.back().field = field;
    }

    std::size_t depth_ = 0;
    std::vector<Found> found_;
    std::vector<Open> open_;
};

} // namespace

std::optional<std::vector<EditorSequence>> readEditorSequences(const SharedBytes& xml,
                                                               XmlError& fault) {
    std::string bytes(xml.view());
    SequenceCollector collector;
    auto error = convertXmlToUtf8(bytes);
    if (!error)
        error = readStrictXml(bytes, collector);
    if (error) {
        fault = *std::move(error);
        return std::nullopt;
    }
    return std::move(collector).sequences();
}

} // namespace cutstack
