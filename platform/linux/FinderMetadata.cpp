#include "platform/FinderMetadata.h"

#include <array>
#include <sys/xattr.h>

namespace cutstack {

namespace {

/// The Finder's own 32 bytes, as copies from a Mac's volume keep them; the type stands first.
constexpr const char* kFinderInfo = "user.com.apple.FinderInfo";
constexpr std::size_t kFinderInfoSize = 32;
constexpr std::size_t kTypeSize = 4;

class ExtendedAttributes final : public FinderMetadata {
public:
    [[nodiscard]] std::string hfsTypeCode(const std::string& path) const override {
        std::array<char, kFinderInfoSize> info{};
        if (getxattr(path.c_str(), kFinderInfo, info.data(), info.size()) !=
            static_cast<ssize_t>(info.size()))
            return {};
        const std::string type(info.data(), kTypeSize);
        return type == std::string(kTypeSize, '\0') ? "" : type;
    }
};

} // namespace

const FinderMetadata& finderMetadata() {
    static const ExtendedAttributes attributes;
    return attributes;
}

} // namespace cutstack
