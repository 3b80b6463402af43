#pragma once

// Reading a project file that somebody may be writing. What is handed on is whole: read while the
// file stood still, and accepted by whoever asks. What is not whole yet is waited for, as long as
// the file is young enough to be in the making; an old file that is not accepted is refused at
// once.
//
//   read ──> stamps before and after equal? ──> untouched for a moment? ──> accepted? ──> whole
//     ^                │ no                          │ no                     │ no, but young
//     └────────────────┴──── wait for a change ──────┴────────────────────────┘

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "platform/Clock.h"
#include "platform/FileStamp.h"
#include "platform/FileWatch.h"

namespace cutstack::projecthost {

/// Lets a thread end the waiting of another one, for good.
class Interruption {
public:
    /// Any thread.
    void interrupt();
    [[nodiscard]] bool isInterrupted() const;

    /// Waits for the watched file, at most as long as that and without a watch just as long; no
    /// longer than until there is an interruption.
    void wait(const std::shared_ptr<FileWatch>& watch, std::chrono::milliseconds longest);

private:
    mutable std::mutex guard_;
    bool isInterrupted_ = false;
    std::condition_variable interrupted_;
    std::shared_ptr<FileWatch> waiting_;
};

struct WholeFileRules {
    const Clock& clock;
    Interruption& interruption;
    std::size_t sizeLimit = std::size_t{1} << 30U;
    /// A file that was written to less long ago may be one in which old and new bytes are mixed.
    std::chrono::milliseconds stillFor{200};
    /// A file that was last written to longer ago is finished, whatever it holds.
    std::chrono::milliseconds finishedAfter{5'000};
    /// How long it is waited in all.
    std::chrono::milliseconds longest{20'000};
};

/// What reading is told of bytes.
enum class Acceptance {
    accepted,
    unfinished, ///< not accepted, but it may be a beginning
    refused     ///< whatever follows
};

/// Looks at the bytes of the file, which it may take; why they are not accepted goes to `error`.
using Accepting = std::function<Acceptance(std::string& bytes, std::string& error)>;

/// Reads the file at `path`. Returns the stamp of what was accepted. On failure nothing, with the
/// reason in `error`: no file, no permission, too large, never whole, interrupted.
[[nodiscard]] std::optional<FileStamp> readWholeFile(const std::string& path,
                                                     const WholeFileRules& rules,
                                                     const Accepting& accept, std::string& error);

} // namespace cutstack::projecthost
