// The plug-in as the simulator holds it: loaded once from the simulator's folder, commands by name.
#pragma once

#include <string>
#include <vector>

#include "PlugCall.h"

class PluginModule {
public:
    PluginModule() = default;
    ~PluginModule();
    PluginModule(const PluginModule&) = delete;
    PluginModule& operator=(const PluginModule&) = delete;

    // Loads Trimora.so next to the running executable, as the host loads its plug-ins.
    bool load();
    bool load(const std::string& path);
    const std::string& path() const { return m_path; }
    const std::string& error() const { return m_error; }

    PlugCall find(const char* name) const;
    // Names of the table's commands that the module exports, in table order.
    std::vector<std::string> commands() const;

private:
    void* m_handle = nullptr;
    std::string m_path;
    std::string m_error;
};
