#pragma once

// Stand-ins for what the platform gives for files, like those in Fakes.h: they answer from plain
// members that a test sets and keep what they were asked to do. No file is touched.

#include "platform/FileCopier.h"
#include "platform/FileFlags.h"
#include "platform/FinderMetadata.h"

#include <functional>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace cutstack {

/// Tells the observer of each of `steps`, is cancelled when it says so, and ends as `end` says.
struct FakeFileCopier final : FileCopier {
    CopyEnd end = CopyEnd::copied;
    std::string failure = "Input/output error";
    std::vector<CopyProgress> steps = {{0, 10, 0, 1, "source"}, {10, 10, 1, 1, "source"}};
    mutable std::vector<std::pair<std::string, std::string>> copied; ///< sources, destinations
    /// Is called for what has been copied, to make what a test expects there.
    std::function<void(const std::string&, const std::string&)> onCopied =
        [](const std::string&, const std::string&) {};

    [[nodiscard]] CopyEnd copy(const std::string& source, const std::string& destination,
                               const Observer& observer, std::string& error) const override {
        for (const CopyProgress& step : steps)
            if (observer && !observer(step))
                return CopyEnd::cancelled;
        if (end == CopyEnd::failed)
            error = failure;
        if (end == CopyEnd::copied) {
            copied.emplace_back(source, destination);
            onCopied(source, destination);
        }
        return end;
    }
};

struct FakeFileFlags final : FileFlags {
    mutable std::set<std::string> locked;
    std::set<std::string> refused; ///< where nothing can be changed
    mutable std::vector<std::pair<std::string, bool>> asked;

    [[nodiscard]] bool isImmutable(const std::string& path) const override {
        return locked.count(path) > 0;
    }
    bool setImmutable(const std::string& path, bool immutable) const override {
        asked.emplace_back(path, immutable);
        if (refused.count(path) > 0)
            return false;
        if (immutable)
            locked.insert(path);
        else
            locked.erase(path);
        return true;
    }
};

struct FakeFinderMetadata final : FinderMetadata {
    mutable std::map<std::string, std::string> types;
    mutable std::map<std::string, std::string> creators;
    mutable std::map<std::string, std::uint16_t> flags;
    std::set<std::string> refused; ///< where nothing can be noted
    /// Is called with each path whose type is asked for.
    std::function<void(const std::string&)> onAsked = [](const std::string&) {};

    [[nodiscard]] std::string hfsTypeCode(const std::string& path) const override {
        onAsked(path);
        return noted(types, path);
    }
    [[nodiscard]] std::string hfsCreatorCode(const std::string& path) const override {
        return noted(creators, path);
    }
    bool setHfsCodes(const std::string& path, std::string_view type,
                     std::string_view creator) const override {
        if (type.size() != 4 || creator.size() != 4 || refused.count(path) > 0)
            return false;
        types[path] = type;
        creators[path] = creator;
        return true;
    }
    [[nodiscard]] std::uint16_t finderFlags(const std::string& path) const override {
        return noted(flags, path);
    }
    bool setFinderFlags(const std::string& path, std::uint16_t value) const override {
        if (refused.count(path) > 0)
            return false;
        flags[path] = value;
        return true;
    }

private:
    template <typename Value>
    static Value noted(const std::map<std::string, Value>& values, const std::string& path) {
        const auto value = values.find(path);
        return value == values.end() ? Value() : value->second;
    }
};

} // namespace cutstack
