// QtImageServer: lazy initialisation and the calls into the wrapper's "QTWDLL_" entry points.
#include "qtutils/QtImageServer.h"

#include "KVString.h"
#include "qtutils/QtLibServer.h"

bool QtImageServer::s_initialized = false;
QtImageServer::ConvertFn QtImageServer::s_convert = nullptr;
QtImageServer::NewEmptyFn QtImageServer::s_newEmpty = nullptr;
QtImageServer::ImageFn QtImageServer::s_clear = nullptr;
QtImageServer::ImageFn QtImageServer::s_delete = nullptr;
QtImageServer::ReadFn QtImageServer::s_read = nullptr;
QtImageServer::WriteFn QtImageServer::s_write = nullptr;

namespace {

template <typename Fn>
Fn wrapperEntry(const char* name) {
    return reinterpret_cast<Fn>(QtLibServer::findWrapperSymbol(name));
}

}  // namespace

bool QtImageServer::loadLibraries() {
    // Qt first, then the plug-ins that need it, then the wrapper that needs them all.
    for (int i = 0; i < KVQtLibraryNames::kLibraryCount; ++i)
        if (!QtLibServer::loadIfNeeded(static_cast<KVQtLibraryNames::Library>(i))) return false;
    return true;
}

void QtImageServer::clearEntryPoints() {
    s_convert = nullptr;
    s_newEmpty = nullptr;
    s_clear = nullptr;
    s_delete = nullptr;
    s_read = nullptr;
    s_write = nullptr;
}

bool QtImageServer::initialize() {
    if (s_initialized) return true;
    if (!loadLibraries()) return false;
    QtLibServer::initQtWrapper();
    s_convert = wrapperEntry<ConvertFn>("QTWDLL_ConvertImage");
    s_newEmpty = wrapperEntry<NewEmptyFn>("QTWDLL_NewEmptyImage");
    s_clear = wrapperEntry<ImageFn>("QTWDLL_ClearImage");
    s_delete = wrapperEntry<ImageFn>("QTWDLL_DeleteImage");
    s_read = wrapperEntry<ReadFn>("QTWDLL_ReadImage");
    s_write = wrapperEntry<WriteFn>("QTWDLL_WriteImage");
    s_initialized = true;
    return true;
}

void QtImageServer::uninitialize() {
    if (!s_initialized) return;
    // The load sequence and the wrapper's init run again on purpose; a failed load leaves the
    // server initialised.
    if (!loadLibraries()) return;
    QtLibServer::initQtWrapper();
    clearEntryPoints();
    s_initialized = false;
}

bool QtImageServer::convertImage(const char* source, const char* target, int quality) {
    if (!s_initialized) initialize();
    if (s_convert == nullptr) return false;
    const KVString sourcePath(source);
    const KVString targetPath(target);
    const char* s = sourcePath.getValidFilePath();
    const char* t = targetPath.getValidFilePath();
    // Only the low byte of the wrapper's answer is meaningful.
    return (s_convert(s ? s : "", t ? t : "", quality) & 0xff) != 0;
}

QwImage* QtImageServer::newEmptyImage() {
    if (!s_initialized) initialize();
    return s_newEmpty ? s_newEmpty(nullptr) : nullptr;
}

bool QtImageServer::clearImage(QwImage* image) {
    if (!s_initialized) initialize();
    if (s_clear == nullptr) return false;
    s_clear(image);
    return true;
}

bool QtImageServer::deleteImage(QwImage* image) {
    if (!s_initialized) initialize();
    if (s_delete == nullptr) return false;
    s_delete(image);
    return true;
}

QwImage* QtImageServer::readImage(const char* path) {
    if (!s_initialized) initialize();
    return s_read ? s_read(path ? path : "") : nullptr;
}

int QtImageServer::writeImage(const QwImage* image, const char* path, int quality) {
    if (!s_initialized) initialize();
    return s_write ? s_write(image, path ? path : "", quality) : 0;
}
