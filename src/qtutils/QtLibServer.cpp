// QtLibServer: run-time loading of the image libraries from the host's QtLibs folder.
#include "qtutils/QtLibServer.h"

#include <dlfcn.h>

#include "native/KVPlatform.h"

void* QtLibServer::s_handles[KVQtLibraryNames::kLibraryCount] = {};

KVString QtLibServer::getQtLibsFolder() {
    KVString folder = KVPlatform::hostApplicationFolder();
    folder += KVPlatform::is64BitBuild() ? "/YData/YPlugs64/QtLibs/" : "/YData/YPlugs/QtLibs/";
    return folder;
}

void* QtLibServer::loadQtLibrary(const char* name) {
    KVString path = getQtLibsFolder();
    path += name;
    return dlopen(path.c_str(), RTLD_LAZY);
}

void QtLibServer::unloadQtLibrary(void* handle) {
    if (handle != nullptr) dlclose(handle);
}

void* QtLibServer::getHandle(Library library) {
    const int i = static_cast<int>(library);
    return (i >= 0 && i < KVQtLibraryNames::kLibraryCount) ? s_handles[i] : nullptr;
}

bool QtLibServer::loadIfNeeded(Library library) {
    const int i = static_cast<int>(library);
    if (i < 0 || i >= KVQtLibraryNames::kLibraryCount) return false;
    if (s_handles[i] == nullptr) s_handles[i] = loadQtLibrary(KVQtLibraryNames::fileName(library));
    return s_handles[i] != nullptr;
}

void* QtLibServer::findWrapperSymbol(const char* name) {
    void* wrapper = s_handles[KVQtLibraryNames::kQtWrapper];
    return wrapper ? dlsym(wrapper, name) : nullptr;
}

int QtLibServer::initQtWrapper() {
    if (!loadIfNeeded(KVQtLibraryNames::kQtWrapper)) return 0;
    using InitFn = int (*)();
    if (auto init = reinterpret_cast<InitFn>(findWrapperSymbol("QTWDLL_Init"))) return init();
    return 0;
}
