#include "store/VersionStore.h"

#include <gtest/gtest.h>

#include "tests/TemporaryFolder.h"

namespace cutstack {
namespace {

constexpr std::string_view kStreet = "Stra\xC3\x9F" // sharp s
                                     "e.fcp";

class VersionStoreTest : public testing::Test {
protected:
    void add(std::string_view file) { writeContent(folder_ / file, ""); }
    [[nodiscard]] StoredProject project(const std::string& name) const {
        return {name, folder_ / name};
    }

    TemporaryFolder folder_;
    VersionStore store_{folder_.path()};
};

TEST_F(VersionStoreTest, ListsTheFoldersThatHoldVersions) {
    for (const std::string_view file :
         {"beta.fcp/beta.00001.FCP", "Alpha.fcp/Alpha.00001.Xml", "gamma/old.MOTN", ".hidden/.xml",
          "Empty.fcp/notes.txt", "Near.fcp/a.fcp.txt", "Deep.fcp/folder/a.fcp", "a.fcp"})
        add(file);
    EXPECT_EQ(store_.projects(),
              (std::vector<StoredProject>{project(".hidden"), project("Alpha.fcp"),
                                          project("beta.fcp"), project("gamma")}));
    EXPECT_TRUE(VersionStore(folder_ / "missing").projects().empty());
    EXPECT_TRUE(VersionStore(folder_ / "a.fcp").projects().empty());
}

TEST_F(VersionStoreTest, FindsTheProjectThatIsMeant) {
    constexpr std::string_view kNames[] = {"PROMO.fcp", "Promo", "promo.fcp", "Promo.final.fcp",
                                           kStreet};
    for (const std::string_view name : kNames)
        add(std::string(name) + "/a.xml");
    add("Empty.fcp/notes.txt");
    const struct {
        std::string_view wanted;
        std::optional<std::string_view> found;
    } cases[] = {
        {"promo.fcp", "promo.fcp"},  {"PROMO.fcp", "PROMO.fcp"},
        {"Promo", "Promo"},          {"promo", "promo.fcp"},
        {"PROMO", "PROMO.fcp"},      {"Promo.FCP", "PROMO.fcp"},
        {"pRoMo", "Promo"},          {"PROMO.FINAL", "Promo.final.fcp"},
        {"STRASSE", kStreet},        {"Prom", std::nullopt},
        {"Empty.fcp", std::nullopt}, {"", std::nullopt},
    };
    for (const auto& [wanted, found] : cases)
        EXPECT_EQ(store_.find(wanted),
                  found ? std::optional(project(std::string(*found))) : std::nullopt)
            << wanted;
}

TEST_F(VersionStoreTest, FindsAFolderWhereverItLies) {
    add("store/Promo.fcp/a.xml");
    add("elsewhere/Other.fcp/a.fcp");
    add("elsewhere/Empty.fcp/notes.txt");
    const VersionStore store(folder_ / "store");
    EXPECT_EQ(store.find(folder_ / "store/Promo.fcp/"),
              (StoredProject{"Promo.fcp", folder_ / "store/Promo.fcp"}));
    EXPECT_EQ(store.find(folder_ / "store/../elsewhere/Other.fcp"),
              (StoredProject{"Other.fcp", folder_ / "elsewhere/Other.fcp"}));
    for (const std::string_view path :
         {"elsewhere/Empty.fcp", "elsewhere/missing", "store/Promo.fcp/a.xml"})
        EXPECT_EQ(store.find(folder_ / path), std::nullopt) << path;
}

} // namespace
} // namespace cutstack
