#include "tools/projecthost/ProjectContent.h"

#include <utility>

#include "platform/FinderMetadata.h"
#include "support/AtomicFile.h"
#include "support/Format.h"
#include "support/StrictXml.h"
#include "tools/projecthost/ProjectImport.h"
#include "tools/projecthost/ServedMark.h"
#include "tools/projecthost/identity/StableIdentity.h"
#include "tools/projecthost/identity/TagScanning.h"

namespace cutstack::projecthost {

namespace {

constexpr auto kOtherRoot = "the root is not xmeml";

/// Reads to the first fault; notes what the root is called.
class RootReading final : public XmlEvents {
public:
    void startElement(const XmlStartTag& tag) override {
        if (std::exchange(isFirst_, false))
            isXmeml_ = tag.prefix.empty() && tag.localName == "xmeml";
    }
    void endElement() override {}
    void text(std::string_view /*piece*/) override {}
    std::optional<std::string> refusal() override {
        return isFirst_ || isXmeml_ ? std::nullopt : std::optional<std::string>(kOtherRoot);
    }

    [[nodiscard]] bool isOther() const { return !isFirst_ && !isXmeml_; }

private:
    bool isFirst_ = true;
    bool isXmeml_ = false;
};

/// Whether the bytes, which are UTF-8 by now, are XMEML.
Acceptance acceptanceOf(const std::string& bytes, std::string& error) {
    RootReading reading;
    const auto fault = readStrictXml(bytes, reading);
    if (!fault && !reading.isOther())
        return Acceptance::accepted;
    error = "This is no whole XMEML document: " + (fault ? fault->description() : kOtherRoot);
    const std::size_t first = bytes.find_first_not_of(" \t\r\n");
    const bool isOtherText =
        first != std::string::npos && bytes[first] != '<' && !bytes.starts_with("\xEF\xBB\xBF");
    return reading.isOther() || isOtherText ? Acceptance::refused : Acceptance::unfinished;
}

/// Whether the first element is called as the root of XMEML is, if this is XML at all.
bool beginsAsXmeml(std::string_view bytes) {
    const auto tag = TagScanner(bytes).next();
    return tag && bytes.substr(tag->whole.begin, tag->nameEnd - tag->whole.begin) == "<xmeml";
}

Acceptance toUtf8(std::string& bytes, std::string& error) {
    const auto fault = convertXmlToUtf8(bytes);
    if (fault)
        error = "This is no whole XMEML document: " + fault->description();
    return fault ? Acceptance::unfinished : Acceptance::accepted;
}

/// What a Mac notes about a file: a project that is not called one is known by its type only.
struct FinderNotes {
    std::string type;
    std::string creator;
    std::uint16_t flags = 0;
};

FinderNotes finderNotesOf(const std::string& path) {
    const FinderMetadata& metadata = finderMetadata();
    return {metadata.hfsTypeCode(path), metadata.hfsCreatorCode(path), metadata.finderFlags(path)};
}

/// Notes it about a file that has no notes yet.
bool note(FinderNotes notes, const std::string& path) {
    const FinderMetadata& metadata = finderMetadata();
    const bool hasCodes = !notes.type.empty() || !notes.creator.empty();
    notes.type.resize(4, '\0');
    notes.creator.resize(4, '\0');
    return (!hasCodes || metadata.setHfsCodes(path, notes.type, notes.creator)) &&
           (notes.flags == 0 || metadata.setFinderFlags(path, notes.flags));
}

} // namespace

Acceptance acceptProject(std::string& bytes, std::string& error) {
    const Acceptance acceptance = toUtf8(bytes, error);
    return acceptance == Acceptance::accepted ? acceptanceOf(bytes, error) : acceptance;
}

/// Makes the bytes of the file those of the project: with the imports.
Acceptance ProjectContent::complete(std::string& bytes, std::string& error) const {
    const Acceptance acceptance = acceptProject(bytes, error);
    if (acceptance != Acceptance::accepted || imports_.empty())
        return acceptance;
    auto merged = withImports(bytes, imports_);
    if (!merged)
        return Acceptance::refused;
    bytes = *std::move(merged);
    return Acceptance::accepted;
}

/// Makes the bytes of the file those that are served, and keeps them. Giving identities includes a
/// strict reading, so that another one is needed only where that fails.
Acceptance ProjectContent::makeServed(std::string& bytes, std::string& error) {
    const std::string inFile = bytes;
    const bool isReadOnce = imports_.empty() && beginsAsXmeml(bytes);
    Acceptance acceptance = isReadOnce ? toUtf8(bytes, error) : complete(bytes, error);
    if (acceptance != Acceptance::accepted)
        return acceptance;
    std::string why;
    if (auto identified = withStableIdentity(bytes, path_, services_.identities, why)) {
        bytes = *std::move(identified);
    } else {
        acceptance = isReadOnce ? acceptanceOf(bytes, error) : acceptance;
        if (acceptance != Acceptance::accepted)
            return acceptance;
        services_.log(formatString("%@ is served without lasting identities: %@", {path_, why}));
    }
    served_ =
        SharedBytes(bytes == inFile ? withOtherServedMark(std::move(bytes)) : std::move(bytes));
    return Acceptance::accepted;
}

std::optional<SharedBytes> ProjectContent::document(std::string& error) {
    if (servedStamp_ && fileStamp(path_, error) == servedStamp_)
        return served_;
    forget();
    servedStamp_ = readWholeFile(
        path_, services_.reading,
        [this](std::string& bytes, std::string& why) { return makeServed(bytes, why); }, error);
    return servedStamp_ ? std::optional(served_) : std::nullopt;
}

bool ProjectContent::importXml(std::string xml, std::string& error) {
    const auto items = readImport(std::move(xml), error);
    if (!items)
        return false;
    std::string fitted;
    const auto fit = [&](std::string& bytes, std::string& why) {
        const Acceptance acceptance = complete(bytes, why);
        if (acceptance != Acceptance::accepted)
            return acceptance;
        fitted = fitImport(*items, bytes, services_.newUuid);
        // What the items were written among may have declared what they need.
        const auto merged = withImports(bytes, {fitted});
        const bool fits = merged && acceptanceOf(*merged, why) == Acceptance::accepted;
        return fits ? Acceptance::accepted : Acceptance::refused;
    };
    if (!readWholeFile(path_, services_.reading, fit, error))
        return false;
    imports_.push_back(std::move(fitted));
    forget();
    return true;
}

bool ProjectContent::save(std::string& error) {
    if (imports_.empty())
        return true;
    std::string whole;
    const auto take = [&](std::string& bytes, std::string& why) {
        const Acceptance acceptance = complete(bytes, why);
        whole = std::move(bytes);
        return acceptance;
    };
    const auto stamp = readWholeFile(path_, services_.reading, take, error);
    if (!stamp)
        return false;
    if (fileStamp(path_, error) != stamp) {
        error = "The file has just been changed by somebody else";
        return false;
    }
    const FinderNotes notes = finderNotesOf(path_);
    if (!writeFileAtomically(path_, withStatedUtf8(std::move(whole)), error))
        return false;
    if (!note(notes, path_))
        services_.log(formatString("%@ has lost its type %@", {path_, notes.type}));
    imports_.clear();
    forget();
    return true;
}

void ProjectContent::forget() {
    served_ = SharedBytes();
    servedStamp_.reset();
}

void ProjectContent::forgetUnlessCurrent() {
    std::string error;
    if (servedStamp_ && fileStamp(path_, error) != servedStamp_)
        forget();
}

} // namespace cutstack::projecthost
