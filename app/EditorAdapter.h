#pragma once

// The editor as backups see it, by way of events. Any thread.

#include "fcp/ZTAppleEvents.h"
#include "store/EditorBridge.h"

namespace cutstack {

class EditorAdapter final : public EditorBridge {
public:
    /// `services` outlives this.
    explicit EditorAdapter(const EditorServices& services) : services_(services) {}

    std::optional<std::vector<std::string>> listOfOpenFCPProjects() override {
        return ZTAppleEvents::listOfOpenFCPProjects(services_);
    }
    std::optional<SharedBytes> getProjectXMLData(const std::string& projectPath,
                                                 bool launchFCP) override {
        return ZTAppleEvents::getProjectXMLData(projectPath, launchFCP, services_);
    }
    std::optional<SharedBytes> getItemXMLData(const std::string& item,
                                              const std::string& projectPath,
                                              bool launchFCP) override {
        return ZTAppleEvents::getItemXMLData(item, projectPath, launchFCP, services_);
    }
    bool saveProject(const std::string& projectPath) override {
        return ZTAppleEvents::saveProject(projectPath, services_);
    }

private:
    const EditorServices& services_;
};

} // namespace cutstack
