#include "changes/VersionSearch.h"

#include <gtest/gtest.h>

namespace cutstack {
namespace {

VersionRecord version(std::string_view number, Changelist changelist) {
    const PropertyListDate date(std::chrono::seconds(1268582709));
    const std::string file = "/v/P.fcp/P." + std::string(number) + ".xml";
    return {std::move(changelist), std::string(number), date, "1 B", file, "xml",
            number == "00003"};
}

const std::string kSmall = "Clip caf\xC3\xA9 added"; // with an accent
const std::string kStreet = "Clip Stra\xC3\x9F"
                            "e removed"; // with a sharp s
const std::vector<VersionRecord> kVersions = {
    version("00004", {"In Point of clip A changed", "No marker", "in point again"}),
    version("00003", {kStreet, "100% [a.b]* done"}),
    version("00002", {}),
    version("00001", {"(Base version)", kSmall}),
};

TEST(VersionSearch, FindsSentencesWithoutRegardToCase) {
    struct Match {
        std::size_t version;
        Changelist sentences;
    };
    const struct {
        std::string_view text;
        std::vector<Match> matches;
    } cases[] = {
        {"IN POINT", {{0, {"In Point of clip A changed", "in point again"}}}},
        {"point of", {{0, {"In Point of clip A changed"}}}},
        {"CAF\xC3\x89", {{3, {kSmall}}}},
        {"cafe", {}},
        {"STRASSE", {{1, {kStreet}}}},
        {"stra\xC3\x9F", {{1, {kStreet}}}},
        {"[A.B]*", {{1, {"100% [a.b]* done"}}}},
        {".*", {}},
        {"clip", {{0, {"In Point of clip A changed"}}, {1, {kStreet}}, {3, {kSmall}}}},
        {"00004", {}},
        {"changedNo marker", {}},
    };
    for (const auto& [text, matches] : cases) {
        std::vector<VersionRecord> expected;
        for (const Match& match : matches) {
            expected.push_back(kVersions[match.version]);
            expected.back().changelist = match.sentences;
        }
        EXPECT_EQ(versionsContaining(text, kVersions), expected) << text;
    }
}

} // namespace
} // namespace cutstack
