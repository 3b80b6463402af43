#pragma once

// The content of an open project: what its file holds now, and what was imported and not saved yet.
// It is served with identities that last. Served bytes are kept until the file changes, so that
// asking again costs nothing. One thread at a time.

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/SharedBytes.h"
#include "tools/projecthost/DocumentOutline.h"
#include "tools/projecthost/WholeFile.h"
#include "tools/projecthost/identity/IdentityStore.h"

namespace cutstack::projecthost {

/// What contents need from outside; outlives them.
struct ContentServices {
    IdentityStore& identities;
    WholeFileRules reading;
    std::function<std::string()> newUuid;
    std::function<void(std::string_view)> log; ///< a line for the administrator
};

/// Whether the bytes of a file are a project's; makes them UTF-8.
[[nodiscard]] Acceptance acceptProject(std::string& bytes, std::string& error);

class ProjectContent {
public:
    ProjectContent(std::string path, const ContentServices& services)
        : path_(std::move(path)), services_(services) {}

    /// The whole project as an XMEML document in UTF-8: the file as it is now, never half of it,
    /// and never the very bytes of the file (see ServedMark.h).
    /// On failure nothing, with the reason in `error`.
    [[nodiscard]] std::optional<SharedBytes> document(std::string& error);

    /// Adds the items of an XMEML document, which are served from now on. On failure returns false
    /// with the reason in `error`, and nothing was added.
    [[nodiscard]] bool importXml(std::string xml, std::string& error);

    [[nodiscard]] bool hasUnsavedImports() const { return !imports_.empty(); }

    /// Writes the file with what was imported at its end; all else stays as it is on the disk now.
    /// Without unsaved imports the file is left alone. On failure returns false with the reason in
    /// `error`; file and imports are as they were.
    [[nodiscard]] bool save(std::string& error);

    /// Gives the memory of the served bytes back.
    void forget();
    /// The same when the file is another one by now.
    void forgetUnlessCurrent();

private:
    [[nodiscard]] Acceptance complete(std::string& bytes, std::string& error) const;
    [[nodiscard]] Acceptance makeServed(std::string& bytes, std::string& error);

    const std::string path_;
    const ContentServices& services_;
    std::vector<std::string> imports_; ///< items that the file does not have yet
    std::optional<FileStamp> servedStamp_;
    SharedBytes served_;
};

} // namespace cutstack::projecthost
