#include "changes/ChangelistCache.h"

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <functional>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include "support/PropertyListWriting.h"
#include "tests/Subprocess.h"
#include "tests/TemporaryFolder.h"

namespace cutstack {
namespace {

using Array = PropertyList::Array;
using Dictionary = PropertyList::Dictionary;
using Found = ChangelistCache::Found;

VersionRecord saying(const std::string& sentence) {
    const PropertyListDate date(std::chrono::seconds(1268582709));
    return {{sentence}, "00001", date, "1 B", "/v/P.fcp/P.00001.xml", "xml"};
}

class ChangelistCacheTest : public testing::Test {
protected:
    [[nodiscard]] ChangelistCache cache(const std::string& version = "42") const {
        return {file_, version};
    }
    /// Puts a record beside those in the file.
    bool add(const std::string& name, const std::string& sentence) {
        ChangelistCache added = cache();
        added.put(name, saying(sentence));
        return added.save(error_);
    }
    /// The records in the file, by name and sentence; what was found when it holds none.
    std::string content() {
        ChangelistCache loaded = cache();
        error_.clear();
        const Found found = loaded.load(error_);
        EXPECT_EQ(found == Found::damage, !error_.empty());
        if (found != Found::records && found != Found::otherVersion)
            return loaded.records().empty() ? "none" : "untrue";
        std::string told = found == Found::records ? "" : "other version: ";
        for (const auto& [name, record] : loaded.records())
            told.append(name).append(" ").append(record.changelist.front()).append("; ");
        return told;
    }
    void expectNoneWhereverCutOff(const std::string& whole) {
        for (std::size_t length = 0; length < whole.size(); ++length) {
            writeContent(file_, whole.substr(0, length));
            ASSERT_EQ(content(), "none") << length;
            ASSERT_NE(error_, "") << length;
        }
    }
    /// Runs `work` in a process of its own, which ends with 0 when it returns true.
    [[nodiscard]] static pid_t started(const std::function<bool()>& work) {
        const pid_t child = fork();
        if (child == 0)
            _exit(work() ? 0 : 1);
        return child;
    }
    static void expectSuccess(pid_t child) {
        int status = -1;
        EXPECT_EQ(waitpid(child, &status, 0), child);
        EXPECT_EQ(status, 0);
    }

    TemporaryFolder folder_;
    std::string file_ = folder_ / "P.fcp.cache.plist";
    std::string error_;
};

TEST_F(ChangelistCacheTest, WhatOthersRemovedStaysRemoved) {
    ASSERT_TRUE(add("P.00001.xml", "one") && add("P.00002.xml", "two"));
    ChangelistCache slow = cache();
    ASSERT_EQ(slow.load(error_), Found::records);
    ChangelistCache other = cache();
    ASSERT_EQ(other.load(error_), Found::records);
    other.remove("P.00002.xml");
    ASSERT_TRUE(other.save(error_));
    slow.put("P.00003.xml", saying("three"));
    ASSERT_TRUE(slow.save(error_));
    EXPECT_EQ(content(), "P.00001.xml one; P.00003.xml three; ");
    ASSERT_EQ(slow.load(error_), Found::records);
    std::filesystem::remove(file_);
    slow.put("P.00004.xml", saying("four"));
    ASSERT_TRUE(slow.save(error_));
    EXPECT_EQ(content(), "P.00003.xml three; P.00004.xml four; ") << "the project was deleted";
}

TEST_F(ChangelistCacheTest, KeepsRecordsByFileName) {
    EXPECT_EQ(cache().load(error_), Found::nothing);
    ASSERT_TRUE(add("P.00001.xml", "one") && add("P.00002.xml", "two & two"));
    EXPECT_EQ(contentOf(file_),
              xmlPropertyList(Dictionary{{"version", "42"},
                                         {"P.00001.xml", propertyListOf(saying("one"))},
                                         {"P.00002.xml", propertyListOf(saying("two & two"))}}));
    ChangelistCache loaded = cache();
    ASSERT_EQ(loaded.load(error_), Found::records);
    EXPECT_EQ(loaded.records(), (VersionRecords{{"P.00001.xml", saying("one")},
                                                {"P.00002.xml", saying("two & two")}}));
    EXPECT_TRUE(loaded.hasRecordOf("/v/P.fcp/P.00001.xml"));
    for (const std::string_view none : {"/w/P.fcp/P.00001.xml", "P.00001.xml", "/v/P.fcp/version"})
        EXPECT_FALSE(loaded.hasRecordOf(none)) << none;
}

TEST_F(ChangelistCacheTest, ReadsBinaryFilesAndRefusesWhatIsCutOff) {
    ASSERT_TRUE(add("a", "one") && add("b", "two"));
    const std::string xml = contentOf(file_);
    const std::string toBinary = "import plistlib as p, sys\n"
                                 "value = p.load(open(sys.argv[1], 'rb'))\n"
                                 "p.dump(value, open(sys.argv[1], 'wb'), fmt=p.FMT_BINARY)";
    const Finished python = finished({"/usr/bin/env", "python3", "-c", toBinary, file_});
    ASSERT_EQ(python.status, 0) << python.errors;
    const std::string binary = contentOf(file_);
    ASSERT_TRUE(binary.starts_with("bplist00"));
    EXPECT_EQ(content(), "a one; b two; ");
    expectNoneWhereverCutOff(binary);
    expectNoneWhereverCutOff(xml.substr(0, xml.find_last_not_of('\n') + 1));
}

TEST_F(ChangelistCacheTest, OneWrongThingIsDamageOfAllOfIt) {
    const PropertyList right = propertyListOf(saying("one"));
    const PropertyList lists[] = {
        Array{},
        "text",
        Dictionary{{"version", "42"}, {"a", "(Base version)"}, {"b", right}},
        Dictionary{{"version", "42"}, {"a", right}, {"b", Dictionary()}},
        Dictionary{{"version", "1"}, {"a", right}, {"b", Dictionary{{"changelist", Array{}}}}},
    };
    for (const PropertyList& list : lists) {
        writeContent(file_, xmlPropertyList(list).value_or(""));
        EXPECT_EQ(content(), "none");
        EXPECT_NE(error_, "") << contentOf(file_);
        EXPECT_TRUE(add("c", "new"));
        EXPECT_EQ(content(), "c new; ");
    }
    std::filesystem::remove(file_);
    std::filesystem::create_directory(file_);
    EXPECT_EQ(content(), "none");
    EXPECT_EQ(error_, "Is a directory");
}

TEST_F(ChangelistCacheTest, OnlyTheSameVersionIsTrusted) {
    for (const PropertyList& version : {PropertyList("41"), PropertyList(""), PropertyList(42)}) {
        const Dictionary list{{"version", version}, {"a", propertyListOf(saying("one"))}};
        writeContent(file_, xmlPropertyList(list).value_or(""));
        EXPECT_EQ(content(), "other version: a one; ");
        ChangelistCache other = cache();
        EXPECT_EQ(other.load(error_), Found::otherVersion);
        other.reset();
        EXPECT_TRUE(other.records().empty());
        other.put("b", saying("new"));
        ASSERT_TRUE(other.save(error_));
        EXPECT_EQ(content(), "b new; ");
    }
    ChangelistCache ours = cache();
    ASSERT_EQ(ours.load(error_), Found::records);
    ChangelistCache other = cache("43");
    other.reset();
    other.put("c", saying("theirs"));
    ASSERT_TRUE(other.save(error_));
    ours.put("d", saying("ours"));
    ASSERT_TRUE(ours.save(error_));
    EXPECT_NE(content(), "b new; c theirs; d ours; "); // c is another version's
}

TEST_F(ChangelistCacheTest, WhatOthersWroteMeanwhileStaysUnderOnesOwn) {
    ASSERT_TRUE(add("a", "first") && add("b", "first"));
    ChangelistCache ours = cache();
    ASSERT_EQ(ours.load(error_), Found::records);
    ASSERT_TRUE(add("a", "theirs") && add("b", "theirs") && add("c", "theirs"));
    ours.put("a", saying("ours"));
    ASSERT_TRUE(ours.save(error_));
    EXPECT_EQ(content(), "a ours; b theirs; c theirs; ");
    EXPECT_EQ(ours.records().size(), 3U);
}

TEST_F(ChangelistCacheTest, ProcessesThatWriteAtOnceLoseNothing) {
    std::vector<pid_t> children;
    for (const std::string process : {"1.", "2.", "3.", "4."}) {
        children.push_back(started([&] {
            bool saved = true;
            for (int i = 0; i < 10; ++i)
                saved = add(process + std::to_string(i), "own") && saved;
            return saved;
        }));
    }
    std::ranges::for_each(children, expectSuccess);
    ChangelistCache loaded = cache();
    EXPECT_EQ(loaded.load(error_), Found::records);
    EXPECT_EQ(loaded.records().size(), 40U);
}

TEST_F(ChangelistCacheTest, AFailureLeavesTheFileAsItWas) {
    ASSERT_TRUE(add("a", "one"));
    expectSuccess(started([this] {
        const rlimit tooLittle{100, 100};
        static_cast<void>(std::signal(SIGXFSZ, SIG_IGN));
        return setrlimit(RLIMIT_FSIZE, &tooLittle) == 0 && !add("b", "two") &&
               error_ == "File too large";
    }));
    EXPECT_EQ(content(), "a one; ");
    file_ = folder_ / "missing/P.fcp.cache.plist";
    EXPECT_FALSE(add("a", "one"));
    EXPECT_EQ(error_, "No such file or directory");
}

} // namespace
} // namespace cutstack
