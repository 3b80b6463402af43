#include "store/VersionNames.h"

#include "support/FolderListing.h"
#include "support/Format.h"
#include "support/Numbers.h"

#include <array>
#include <filesystem>
#include <system_error>

namespace cutstack {

namespace {

struct SizeUnit {
    std::uint64_t below; ///< sizes from here on are told in the next unit
    double divisor;
    std::string_view format;
};

constexpr std::uint64_t kKilobyte = 1024;
constexpr std::uint64_t kMegabyte = 1024 * kKilobyte;
constexpr std::uint64_t kGigabyte = 1024 * kMegabyte;

constexpr std::array kSizeUnits = {
    SizeUnit{kKilobyte, 1.0, "%0.0f B"},
    SizeUnit{kMegabyte, double{kKilobyte}, "%0.2f KB"},
    SizeUnit{kGigabyte, double{kMegabyte}, "%0.2f MB"},
    SizeUnit{UINT64_MAX, double{kGigabyte}, "%0.2f GB"},
};

/// The format of a number by its value; the first applies to everything up to 9.
struct Padding {
    std::int32_t upTo;
    std::string_view format;
};

constexpr std::array kPaddings = {Padding{9, "0000%i"}, Padding{99, "000%i"}, Padding{999, "00%i"},
                                  Padding{9999, "0%i"}, Padding{INT32_MAX, "%i"}};

bool exists(const std::string& path) {
    std::error_code error;
    return std::filesystem::exists(path, error);
}

/// The highest number from 1 to below `end` whose XML copy is in the folder; 0 when none is. Looks
/// at the names that there are, not for every number that there could be.
std::int32_t lastXmlCopyBelow(std::int32_t end, std::string_view stem, const std::string& folder) {
    std::int32_t last = 0;
    for (const std::string& name : namesInFolder(folder).value_or(std::vector<std::string>())) {
        const std::int32_t number = versionNumberOfFile(name);
        if (number > last && number < end && name == xmlCopyName(stem, number) &&
            exists(pathInFolder(folder, name)))
            last = number;
    }
    return last;
}

} // namespace

std::string padNumber(std::int32_t number) {
    const auto* padding = kPaddings.begin();
    while (number > padding->upTo)
        ++padding;
    return formatString(padding->format, {number});
}

std::string formatFileSize(std::uint64_t sizeInBytes) {
    const auto* unit = kSizeUnits.begin();
    while (sizeInBytes >= unit->below && unit != &kSizeUnits.back())
        ++unit;
    return formatString(unit->format, {static_cast<double>(sizeInBytes) / unit->divisor});
}

std::string stemOfProject(std::string_view projectPath) {
    return std::string(withoutPathExtension(withoutPathExtension(fileNameOf(projectPath))));
}

std::string projectCopyName(std::string_view stem, std::int32_t number) {
    return formatString("%@.%@.fcp", {stem, padNumber(number)});
}

std::string xmlCopyName(std::string_view stem, std::int32_t number) {
    return formatString("%@.%@.xml", {stem, padNumber(number)});
}

std::string versionOfFile(std::string_view path) {
    return std::string(pathExtension(withoutPathExtension(fileNameOf(path))));
}

std::int32_t versionNumberOfFile(std::string_view path) {
    return integerValue(versionOfFile(path));
}

std::int32_t backupGapForProject(std::string_view projectPath, const std::string& destination,
                                 std::int32_t desiredNumber) {
    // The extension is taken away once here, twice in the names of copies, deliberately.
    const std::string_view stem = withoutPathExtension(fileNameOf(projectPath));
    if (desiredNumber < 2)
        return 0;
    return desiredNumber - 1 - lastXmlCopyBelow(desiredNumber, stem, destination);
}

} // namespace cutstack
