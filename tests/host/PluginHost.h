// The test host: loads the built Trimora.so and calls its commands by name, as the host's scripts do.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "PlugCall.h"

class PluginHost {
public:
    // Loads Trimora.so from the folder of the running executable, like the host finds its plug-ins.
    PluginHost();
    explicit PluginHost(const std::string& modulePath);
    ~PluginHost();
    PluginHost(const PluginHost&) = delete;
    PluginHost& operator=(const PluginHost&) = delete;

    bool isLoaded() const { return m_handle != nullptr; }
    const std::string& getError() const { return m_error; }
    const std::string& getModulePath() const { return m_modulePath; }

    // The command's entry point, or null when the module does not export it.
    PlugCall find(const char* name) const;

    // Calls a command with the seven arguments. The text is handed over in a writable copy, as the
    // host does; a null text passes null. Fails the current test when the command is missing.
    float call(const char* name, const char* text = nullptr, double value = 0.0, void* outBuf1 = nullptr,
               int outBuf1Size = 0, void* outBuf2 = nullptr, int outBuf2Size = 0,
               char** hostData = nullptr) const;

    static std::string executableFolder();
    static std::string defaultModulePath();

    // Companions a build may lack (a 32-bit build has neither: Qt and the reduction library are
    // 64-bit only here); tests that need one skip without it. Both looked up where the host has them.
    static std::string imageWrapperPath();
    static std::string decimationAppPath();
    static bool hasImageWrapper();
    static bool hasDecimationApp();

private:
    void* m_handle = nullptr;
    std::string m_modulePath;
    std::string m_error;
};

// One loaded module for the whole test program: the host keeps its plug-in loaded, and so
// the plug-in's globals carry over from one command to the next.
PluginHost& sharedPluginHost();

// A fresh temporary folder, removed with everything in it when the object goes.
class TempFolder {
public:
    TempFolder();
    ~TempFolder();
    TempFolder(const TempFolder&) = delete;
    TempFolder& operator=(const TempFolder&) = delete;
    bool ok() const { return !m_path.empty(); }
    const std::string& path() const { return m_path; }
    std::string file(const std::string& name) const { return m_path + "/" + name; }
    std::string operator/(const std::string& name) const { return file(name); }

private:
    std::string m_path;
};

// Small file helpers for tests.
bool writeFile(const std::string& path, const std::string& bytes);
bool readFile(const std::string& path, std::string& bytes);
bool pathExists(const std::string& path);
std::vector<std::string> listFolder(const std::string& path);

// Polls until `done` holds, at most `seconds`; generous, so a loaded machine only makes a test slower.
bool waitFor(const std::function<bool()>& done, double seconds = 120);
