#pragma once

// Small exports written in the tests, and a host that records what a comparison says.

#include "changes/ComparisonHost.h"
#include "changes/XmemlDocument.h"

#include <gtest/gtest.h>
#include <limits>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace cutstack {

/// The document of an export; fails the running test when it cannot be read.
inline std::unique_ptr<const XmemlDocument> parsed(std::string_view xml) {
    XmlError error;
    auto document = XmemlDocument::parse(std::string(xml), error);
    EXPECT_TRUE(document) << error.description() << " in " << xml.substr(0, 200);
    return document;
}

/// Why an export is refused; empty when it is not.
inline std::string refusalOf(std::string_view xml) {
    XmlError error;
    return XmemlDocument::parse(std::string(xml), error) ? "" : error.description();
}

/// The first element of a document with that name, a missing node if there is none.
inline Node firstNamed(const XmemlDocument& document, std::string_view name, int nth = 1) {
    for (Node node = document.root(); node.exists(); node = node.next())
        if (node.nameText() == name && --nth == 0)
            return node;
    return {};
}

/// Records the lines of a comparison, and cancels it at a poll of the test's choice.
class RecordingHost final : public ComparisonHost {
public:
    int cancelAtPoll = std::numeric_limits<int>::max();
    int ends = 0;
    std::vector<std::string> log;
    std::vector<std::string> consoleLines;

    [[nodiscard]] bool progressCancelled() const override { return ++polls_ >= cancelAtPoll; }
    void endProgress() override { ++ends; }
    void appendLog(std::string_view line) override { log.emplace_back(line); }
    void console(std::string_view line) override { consoleLines.emplace_back(line); }

    [[nodiscard]] int polls() const { return polls_; }

private:
    mutable int polls_ = 0;
};

} // namespace cutstack
