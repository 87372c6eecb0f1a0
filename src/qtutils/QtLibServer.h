// QtLibServer: finds and loads the Qt libraries, image-format plug-ins and wrapper of the host.
#pragma once

#include "KVString.h"
#include "native/KVQtLibraryNames.h"

// The libraries live in the host application's folder under YData/YPlugs64/QtLibs/ (YPlugs/ in a
// 32-bit process). They are loaded on first need and stay loaded for the life of the process.
class QtLibServer {
public:
    using Library = KVQtLibraryNames::Library;

    // Opens QtLibs/<name> with lazy binding. The handle, or null when it cannot be opened.
    static void* loadQtLibrary(const char* name);
    // Closes a handle; null is ignored.
    static void unloadQtLibrary(void* handle);
    // Loads the wrapper if needed, then calls its "QTWDLL_Init" when it exports one.
    // The init's result; 0 when the wrapper cannot be loaded or has no init.
    static int initQtWrapper();

    // The folder the libraries are loaded from, with a trailing '/'.
    static KVString getQtLibsFolder();

    // The handle kept for `library`, null until loaded.
    static void* getHandle(Library library);
    // Loads `library` unless its handle is already set. True when it is loaded.
    static bool loadIfNeeded(Library library);
    // An entry point of the loaded wrapper, or null.
    static void* findWrapperSymbol(const char* name);

private:
    static void* s_handles[KVQtLibraryNames::kLibraryCount];
};
