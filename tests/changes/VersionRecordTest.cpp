#include "changes/VersionRecord.h"

#include <gtest/gtest.h>

namespace cutstack {
namespace {

using Array = PropertyList::Array;
using Dictionary = PropertyList::Dictionary;

constexpr PropertyListDate kDate{std::chrono::seconds(1268582709)};

Dictionary completeRecord() {
    return {{"changelist", Array{"Clip A removed", "Clip \xC3\x9C added"}},
            {"version", "00012"},
            {"date", kDate},
            {"size", "1.20 MB"},
            {"file", "/v/Promo.fcp/Promo.00012.xml"},
            {"type", "xml"},
            {"noProcess", true}};
}

TEST(VersionRecord, IsADictionaryAndBack) {
    const VersionRecord whole{{"Clip A removed", "Clip \xC3\x9C added"},
                              "00012",
                              kDate,
                              "1.20 MB",
                              "/v/Promo.fcp/Promo.00012.xml",
                              "xml",
                              true};
    EXPECT_EQ(propertyListOf(whole), PropertyList(completeRecord()));
    EXPECT_EQ(versionRecordFrom(propertyListOf(whole)), whole);

    const VersionRecord least{{}, "", kDate, "", "", "fcp"};
    const PropertyList dictionary = propertyListOf(least);
    EXPECT_EQ(versionRecordFrom(PropertyList(dictionary)), least);
    for (const std::string_view absent : {"size", "noProcess"})
        EXPECT_EQ(dictionary.valueForKey(absent), nullptr);
}

TEST(VersionRecord, IsNotReadFromWrongKinds) {
    const PropertyList kinds[] = {
        Dictionary(),        Array(), "text", 1, 1.5, true, kDate, PropertyListData{"bytes"},
        Array{"sentence", 1}};
    for (const auto& [key, right] : completeRecord()) {
        for (const PropertyList& kind : kinds) {
            Dictionary damaged = completeRecord();
            damaged.insert_or_assign(key, kind);
            const bool isRight = kind.value().index() == right.value().index() && key != "type" &&
                                 kind != PropertyList(Array{"sentence", 1});
            EXPECT_EQ(versionRecordFrom(damaged).has_value(), isRight)
                << key << " of kind " << kind.value().index();
        }
        Dictionary shortened = completeRecord();
        shortened.erase(key);
        EXPECT_EQ(versionRecordFrom(shortened).has_value(), key == "size" || key == "noProcess")
            << key;
    }
    for (const PropertyList& kind : kinds)
        EXPECT_FALSE(versionRecordFrom(PropertyList(kind)));
    Dictionary extended = completeRecord();
    extended.emplace("added later", 1);
    EXPECT_TRUE(versionRecordFrom(extended));
}

} // namespace
} // namespace cutstack
