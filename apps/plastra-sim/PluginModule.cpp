// The plug-in as the simulator holds it.
#include "PluginModule.h"

#include <dlfcn.h>

#include "CommandTable.h"
#include "native/KVPlatform.h"

PluginModule::~PluginModule() {
    if (m_handle != nullptr) dlclose(m_handle);
}

bool PluginModule::load() { return load(std::string(KVPlatform::hostApplicationFolder().c_str()) + "/Trimora.so"); }

bool PluginModule::load(const std::string& path) {
    m_path = path;
    m_handle = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (m_handle == nullptr) {
        const char* err = dlerror();
        m_error = err ? err : "cannot load the plug-in";
        return false;
    }
    return true;
}

PlugCall PluginModule::find(const char* name) const {
    if (m_handle == nullptr) return nullptr;
    return reinterpret_cast<PlugCall>(dlsym(m_handle, name));
}

std::vector<std::string> PluginModule::commands() const {
    std::vector<std::string> found;
    for (const char* name : plug::kCommandNames)
        if (find(name) != nullptr) found.emplace_back(name);
    return found;
}
