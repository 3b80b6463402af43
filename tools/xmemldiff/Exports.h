#pragma once

// The two documents of a comparison, read at once on a thread each.

#include "changes/XmemlDocument.h"

#include <memory>
#include <string>
#include <vector>

namespace cutstack::xmemldiff {

struct Exports {
    std::unique_ptr<const XmemlDocument> base;
    std::unique_ptr<const XmemlDocument> next;
    std::vector<std::string> errors; ///< one for each that could not be read, naming the file
};

/// Reads both files; "-" is standard input. While that takes long and standard error is a terminal,
/// shows there how far it is, and takes the line away again. A document whose root is not `xmeml`
/// is an error here.
[[nodiscard]] Exports readExports(const std::string& baseFile, const std::string& newFile);

} // namespace cutstack::xmemldiff
