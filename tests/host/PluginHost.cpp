// The test host: dlopen of the built plug-in and calls in the host's calling form.
#include "PluginHost.h"

#include <dirent.h>
#include <dlfcn.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <thread>

#include <gtest/gtest.h>

#include "native/KVPlatform.h"

PluginHost::PluginHost() : PluginHost(defaultModulePath()) {}

PluginHost::PluginHost(const std::string& modulePath) : m_modulePath(modulePath) {
    m_handle = dlopen(modulePath.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (m_handle == nullptr) {
        const char* err = dlerror();
        m_error = err ? err : "dlopen failed";
    }
}

PluginHost::~PluginHost() {
    if (m_handle != nullptr) dlclose(m_handle);
}

PlugCall PluginHost::find(const char* name) const {
    if (m_handle == nullptr || name == nullptr) return nullptr;
    return reinterpret_cast<PlugCall>(dlsym(m_handle, name));
}

float PluginHost::call(const char* name, const char* text, double value, void* outBuf1, int outBuf1Size,
                       void* outBuf2, int outBuf2Size, char** hostData) const {
    PlugCall fn = find(name);
    if (fn == nullptr) {
        ADD_FAILURE() << "command not exported: " << name << " (" << m_error << ")";
        return -999.0f;
    }
    std::vector<char> textCopy;
    char* textArg = nullptr;
    if (text != nullptr) {
        textCopy.assign(text, text + std::char_traits<char>::length(text) + 1);
        textArg = textCopy.data();
    }
    return fn(textArg, value, static_cast<char*>(outBuf1), outBuf1Size, static_cast<char*>(outBuf2), outBuf2Size,
              hostData);
}

std::string PluginHost::executableFolder() { return KVPlatform::hostApplicationFolder().c_str(); }

std::string PluginHost::defaultModulePath() { return executableFolder() + "/Trimora.so"; }

std::string PluginHost::imageWrapperPath() { return executableFolder() + "/YData/YPlugs64/QtLibs/QtWrapper.so"; }

std::string PluginHost::decimationAppPath() { return executableFolder() + "/TrimoraApp"; }

bool PluginHost::hasImageWrapper() { return pathExists(imageWrapperPath()); }

bool PluginHost::hasDecimationApp() { return access(decimationAppPath().c_str(), X_OK) == 0; }

PluginHost& sharedPluginHost() {
    static PluginHost host;
    return host;
}

TempFolder::TempFolder() {
    char pattern[] = "/tmp/trimora-test-XXXXXX";
    const char* made = mkdtemp(pattern);
    if (made == nullptr) {
        ADD_FAILURE() << "mkdtemp failed";
        return;
    }
    m_path = made;
}

namespace {
void removeTree(const std::string& path) {
    struct stat st {};
    if (lstat(path.c_str(), &st) != 0) return;
    if (S_ISDIR(st.st_mode)) {
        // A test may have write-protected a folder; give it back before emptying it.
        chmod(path.c_str(), 0700);
        for (const std::string& name : listFolder(path)) removeTree(path + "/" + name);
        rmdir(path.c_str());
    } else {
        unlink(path.c_str());
    }
}
}  // namespace

TempFolder::~TempFolder() {
    if (!m_path.empty()) removeTree(m_path);
}

bool writeFile(const std::string& path, const std::string& bytes) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    if (!out) return false;
    out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    return static_cast<bool>(out);
}

bool readFile(const std::string& path, std::string& bytes) {
    std::ifstream in(path, std::ios::binary);
    if (!in) return false;
    std::ostringstream all;
    all << in.rdbuf();
    bytes = all.str();
    return true;
}

bool pathExists(const std::string& path) {
    struct stat st {};
    return lstat(path.c_str(), &st) == 0;
}

bool waitFor(const std::function<bool()>& done, double seconds) {
    const auto limit = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
    while (std::chrono::steady_clock::now() < limit) {
        if (done()) return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return done();
}

std::vector<std::string> listFolder(const std::string& path) {
    std::vector<std::string> names;
    DIR* dir = opendir(path.c_str());
    if (dir == nullptr) return names;
    while (dirent* entry = readdir(dir)) {
        const std::string name = entry->d_name;
        if (name != "." && name != "..") names.push_back(name);
    }
    closedir(dir);
    return names;
}
