#include "support/FolderListing.h"

#include <filesystem>
#include <gtest/gtest.h>

#include "tests/TemporaryFolder.h"

namespace cutstack {
namespace {

using Names = std::vector<std::string>;

TEST(FolderListing, NamesComeWithoutRegardToCaseHiddenOnesToo) {
    const TemporaryFolder folder;
    const std::string small = "\xC3\xA9";   // e with an acute accent
    const std::string capital = "\xC3\x89"; // E with one
    const Names expected = {".hidden", "2",   "A.fcp", "a.fcp",     "a.xml",       "B.fcp",
                            "C.XML",   "c_1", "cb",    small + "a", capital + "b", small + "c"};
    for (const std::string& name : expected)
        writeContent(folder / name, "");
    EXPECT_EQ(namesInFolder(folder.path()), expected);
    Names shuffled(expected.rbegin(), expected.rend());
    sortAsListed(shuffled);
    EXPECT_EQ(shuffled, expected);
}

TEST(FolderListing, WhatCannotBeListedIsNotEmpty) {
    const TemporaryFolder folder;
    writeContent(folder / "file", "");
    std::filesystem::create_directory(folder / "empty");
    std::filesystem::create_symlink("nowhere", folder / "dangling");
    EXPECT_EQ(namesInFolder(folder / "empty"), Names());
    for (const std::string_view name : {"file", "missing", "dangling", "file/below"})
        EXPECT_EQ(namesInFolder(folder / name), std::nullopt) << name;
    EXPECT_EQ(namesInFolder(""), std::nullopt);
}

TEST(FolderListing, PartsOfPaths) {
    const struct {
        std::string_view path, fileName, extension, without;
    } cases[] = {
        {"/v/Promo.fcp/Promo.00012.xml", "Promo.00012.xml", "xml", "/v/Promo.fcp/Promo.00012"},
        {"Promo.00012", "Promo.00012", "00012", "Promo"},
        {"Promo.FCP", "Promo.FCP", "FCP", "Promo"},
        {"Promo", "Promo", "", "Promo"},
        {".fcp", ".fcp", "", ".fcp"},
        {"/v/.fcp", ".fcp", "", "/v/.fcp"},
        {".a.fcp", ".a.fcp", "fcp", ".a"},
        {"a.", "a.", "", "a."},
        {"a..b", "a..b", "b", "a."},
        {"a.b/c", "c", "", "a.b/c"},
        {"a.b/", "", "", "a.b/"},
        {"/", "", "", "/"},
        {"", "", "", ""},
    };
    for (const auto& [path, fileName, extension, without] : cases) {
        SCOPED_TRACE(path);
        EXPECT_EQ(fileNameOf(path), fileName);
        EXPECT_EQ(pathExtension(path), extension);
        EXPECT_EQ(withoutPathExtension(path), without);
    }
}

} // namespace
} // namespace cutstack
