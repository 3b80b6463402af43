#include "fcp/EditorServices.h"

#include <memory>
#include <utility>

#include "platform/FileReference.h"
#include "support/ZTLog.h"

namespace cutstack {

namespace {

std::optional<SharedBytes> referenceTo(const std::string& path) {
    std::string error;
    auto reference = FileReference::toPath(path, error);
    if (!reference)
        return std::nullopt;
    auto held = std::make_shared<const FileReference>(*std::move(reference));
    const std::string_view bytes = held->bytes();
    return SharedBytes(std::move(held), bytes);
}

} // namespace

const EditorServices& EditorServices::ofProcess() {
    static const auto& instance = *new EditorServices{eventTransport(),
                                                      Workspace::sharedWorkspace(),
                                                      Locations::ofProcess(),
                                                      ZTLog::sharedController(),
                                                      referenceTo,
                                                      FileReference::pathOf};
    return instance;
}

} // namespace cutstack
