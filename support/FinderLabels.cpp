#include "support/FinderLabels.h"

#include <array>
#include <cstddef>

#include "support/ZTFileManager.h"

namespace cutstack {

namespace {

/// By half the index, from 2 on.
constexpr std::array kColors = {
    FinderColor{0, 0, 0.72},         FinderColor{0.2056, 0.5, 0.85},
    FinderColor{0.7917, 0.26, 0.86}, FinderColor{0.5789, 0.56, 0.98},
    FinderColor{0.1388, 0.54, 0.95}, FinderColor{0.0083, 0.54, 1.0},
    FinderColor{0.0888, 0.52, 0.98},
};
constexpr int kFirstIndex = 2;
constexpr int kLastIndex = 15;

} // namespace

std::optional<FinderColor> finderColorOfIndex(int index) {
    if (index < kFirstIndex || index > kLastIndex)
        return std::nullopt;
    return kColors.at(static_cast<std::size_t>(index - kFirstIndex) / 2);
}

int ZTFileManager::finderColorIndexForPath(const std::string& path, const FileServices& at) {
    return at.finderMetadata.finderFlags(path) & kFinderColorMask;
}

bool ZTFileManager::setFinderColorIndex(int index, const std::string& path,
                                        const FileServices& at) {
    const int others = at.finderMetadata.finderFlags(path) & ~int{kFinderColorMask};
    return at.finderMetadata.setFinderFlags(
        path, static_cast<std::uint16_t>(others | (index & kFinderColorMask)));
}

std::optional<FinderColor> ZTFileManager::finderColorForPath(const std::string& path,
                                                             const FileServices& at) {
    return finderColorOfIndex(finderColorIndexForPath(path, at));
}

} // namespace cutstack
