#include "platform/FinderMetadata.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <optional>
#include <sys/xattr.h>

namespace cutstack {

namespace {

/// The Finder's own 32 bytes, as copies from a Mac's volume keep them: type, creator, flags in the
/// byte order of the network, and more.
constexpr const char* kFinderInfo = "user.com.apple.FinderInfo";
constexpr std::size_t kFinderInfoSize = 32;
constexpr std::size_t kCodeSize = 4;
constexpr std::size_t kTypeAt = 0;
constexpr std::size_t kCreatorAt = 4;
constexpr std::size_t kFlagsAt = 8;

using FinderInfo = std::array<char, kFinderInfoSize>;

/// What is noted about the file, all zero when nothing is; nothing when that cannot be found out or
/// is no Finder info.
std::optional<FinderInfo> infoOf(const std::string& path) {
    FinderInfo info{};
    const ssize_t size = ::getxattr(path.c_str(), kFinderInfo, info.data(), info.size());
    if (size == static_cast<ssize_t>(info.size()))
        return info;
    return size < 0 && errno == ENODATA ? std::optional(FinderInfo{}) : std::nullopt;
}

std::string codeAt(std::size_t place, const std::string& path) {
    const FinderInfo info = infoOf(path).value_or(FinderInfo{});
    const std::string code(info.data() + place, kCodeSize);
    return code == std::string(kCodeSize, '\0') ? "" : code;
}

/// Lets `change` work on what is noted and notes the result. Two that do so at once for one file
/// may lose one of the changes: there is no step that does both.
template <typename Change>
bool changeInfo(const std::string& path, const Change& change) {
    const auto old = infoOf(path);
    if (!old)
        return false;
    FinderInfo info = *old;
    change(info);
    return info == *old || ::setxattr(path.c_str(), kFinderInfo, info.data(), info.size(), 0) == 0;
}

class ExtendedAttributes final : public FinderMetadata {
public:
    [[nodiscard]] std::string hfsTypeCode(const std::string& path) const override {
        return codeAt(kTypeAt, path);
    }

    [[nodiscard]] std::string hfsCreatorCode(const std::string& path) const override {
        return codeAt(kCreatorAt, path);
    }

    bool setHfsCodes(const std::string& path, std::string_view type,
                     std::string_view creator) const override {
        return type.size() == kCodeSize && creator.size() == kCodeSize &&
               changeInfo(path, [&](FinderInfo& info) {
                   std::copy(type.begin(), type.end(), info.begin() + kTypeAt);
                   std::copy(creator.begin(), creator.end(), info.begin() + kCreatorAt);
               });
    }

    [[nodiscard]] std::uint16_t finderFlags(const std::string& path) const override {
        const FinderInfo info = infoOf(path).value_or(FinderInfo{});
        const auto high = static_cast<unsigned char>(info[kFlagsAt]);
        const auto low = static_cast<unsigned char>(info[kFlagsAt + 1]);
        return static_cast<std::uint16_t>(high << 8 | low);
    }

    bool setFinderFlags(const std::string& path, std::uint16_t flags) const override {
        return changeInfo(path, [&](FinderInfo& info) {
            info[kFlagsAt] = static_cast<char>(flags >> 8);
            info[kFlagsAt + 1] = static_cast<char>(flags & 0xFF);
        });
    }
};

} // namespace

const FinderMetadata& finderMetadata() {
    static const ExtendedAttributes attributes;
    return attributes;
}

} // namespace cutstack
