#include "platform/ModuleLoader.h"

#include <dlfcn.h>

namespace cutstack {

namespace {

class DynamicLoader final : public ModuleLoader {
public:
    void* functionInModule(const std::string& path, const std::string& name,
                           std::string& error) override {
        void* module = dlopen(path.c_str(), RTLD_NOW);
        void* function = module == nullptr ? nullptr : dlsym(module, name.c_str());
        if (function == nullptr) {
            const char* reason = dlerror();
            error = reason == nullptr ? path + ": " + name + " has no address" : reason;
        }
        return function;
    }
};

} // namespace

ModuleLoader& moduleLoader() {
    static auto& instance = *new DynamicLoader;
    return instance;
}

} // namespace cutstack
