// A project from anywhere, outlined: its table of contents, its items, and itself imported into
// itself can all be read by a strict reader when the project can.

#include "support/StrictXml.h"
#include "tools/projecthost/DocumentOutline.h"
#include "tools/projecthost/ItemExport.h"
#include "tools/projecthost/ProjectImport.h"
#include "tools/projecthost/TableOfContents.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

namespace {

using namespace cutstack;
using namespace cutstack::projecthost;

class Nobody final : public XmlEvents {
    void startElement(const XmlStartTag& /*tag*/) override {}
    void endElement() override {}
    void text(std::string_view /*piece*/) override {}
};

bool isReadable(const std::string& document) {
    Nobody nobody;
    return !readStrictXml(document, nobody);
}

void require(bool holds) {
    if (!holds)
        std::abort();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    const std::string project(reinterpret_cast<const char*>(bytes), size);
    const bool isProject = isReadable(project);
    const DocumentOutline outline(project);
    if (outline.root() == nullptr)
        return 0;
    const std::string contents = tableOfContents(outline);
    require(!isProject || isReadable(contents));
    for (OutlineIndex i = 0; i < outline.elements().size(); ++i) {
        if (!isBrowserItem(outline.elements()[i].kind))
            continue;
        const auto item = exportedItem(outline, outline.uuidOf(i));
        require(!isProject || !item || isReadable(*item));
    }
    std::string error;
    const auto items = readImport(project, error);
    require(items.has_value() || !error.empty());
    if (!isProject || !items)
        return 0;
    const auto merged = withImports(project, {fitImport(*items, project, [] { return "fresh"; })});
    require(merged && isReadable(withStatedUtf8(*merged)));
    return 0;
}
