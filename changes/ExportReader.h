#pragma once

// Reads exports for the comparison of one version after the other, each content once: the new
// document of one comparison is the base document of the next. A document that was read is handed
// out again while the file at its path is the same one, unchanged; and exports that will be needed
// soon can be read ahead by other threads.
//
// Memory stays flat: at most kKept documents that were read and kReadAhead that are being read are
// held here. One thread at a time.

#include "changes/XmemlDocument.h"
#include "platform/FileStamp.h"

#include <cstddef>
#include <deque>
#include <future>
#include <memory>
#include <optional>
#include <span>
#include <string>

namespace cutstack {

using SharedDocument = std::shared_ptr<const XmemlDocument>;

/// What came of reading an export: a document, or why there is none.
struct ExportReading {
    SharedDocument document;
    std::optional<std::string> unreadable; ///< the bytes could not be read: the system's reason
    std::optional<std::string> malformed;  ///< the bytes are no document: what stands where
};

class ExportReader {
public:
    // A comparison reads its new document first and its base document after it: with the one that
    // was the base document before, these are three.
    static constexpr std::size_t kKept = 3;
    static constexpr std::size_t kReadAhead = 2;

    /// The document in the file at `path`.
    [[nodiscard]] ExportReading read(const std::string& path);

    /// Begins to read the first of these files that are not read already, as many as are read
    /// ahead, on threads of their own.
    void readAhead(std::span<const std::string> paths);

    /// Lets go of all documents; waits for those that are being read.
    void forget();

private:
    struct Kept {
        std::string path;
        FileStamp stamp;
        ExportReading reading;
    };
    struct Coming {
        std::string path;
        std::future<Kept> kept;
    };

    [[nodiscard]] static Kept readNow(const std::string& path);
    [[nodiscard]] Kept arrived(const std::string& path);
    [[nodiscard]] bool isKnown(const std::string& path) const;

    std::deque<Kept> kept_; ///< the last read first
    std::deque<Coming> coming_;
};

} // namespace cutstack
