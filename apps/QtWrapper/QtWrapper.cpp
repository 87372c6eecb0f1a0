// QtWrapper: plain C entry points over Qt's QImage, loaded at run time by the plug-in.
#include <dlfcn.h>

#include <QCoreApplication>
#include <QFileInfo>
#include <QImage>
#include <QString>

// The image object the plug-in holds only pointers to.
struct QwImage {
    QImage image;
};

#define QTW_EXPORT extern "C" __attribute__((visibility("default")))

namespace {

// Paths arrive as the host's 8-bit text; on Linux that is UTF-8.
QString pathFrom(const char* path) { return QString::fromLocal8Bit(path); }

bool isGivenPath(const char* path) { return path != nullptr && path[0] != '\0'; }

// Qt takes -1 (its default) or 0..100.
int qtQuality(int quality) { return quality < -1 ? -1 : (quality > 100 ? 100 : quality); }

// The folder this library was loaded from, which holds imageformats/.
QString ownFolder() {
    Dl_info info;
    if (dladdr(reinterpret_cast<void*>(&ownFolder), &info) == 0 || info.dli_fname == nullptr) return QString();
    return QFileInfo(QString::fromLocal8Bit(info.dli_fname)).absolutePath();
}

}  // namespace

// No application object is created: the host owns the process. Qt looks for image-format
// plug-ins in its library paths, so our own folder is added to them.
QTW_EXPORT int QTWDLL_Init() {
    try {
        const QString folder = ownFolder();
        if (folder.isEmpty()) return 0;
        QCoreApplication::addLibraryPath(folder);
        return 1;
    } catch (...) {
        return 0;
    }
}

// Reads source and writes target in the format its extension names. 1 on success, else 0.
QTW_EXPORT int QTWDLL_ConvertImage(const char* source, const char* target, int quality) {
    if (!isGivenPath(source) || !isGivenPath(target)) return 0;
    try {
        QImage image;
        if (!image.load(pathFrom(source))) return 0;
        return image.save(pathFrom(target), nullptr, qtQuality(quality)) ? 1 : 0;
    } catch (...) {
        return 0;
    }
}

// A new image without pixels; the argument is unused (always 0).
QTW_EXPORT QwImage* QTWDLL_NewEmptyImage(void*) {
    try {
        return new QwImage();
    } catch (...) {
        return nullptr;
    }
}

QTW_EXPORT int QTWDLL_ClearImage(QwImage* image) {
    if (image == nullptr) return 0;
    image->image = QImage();
    return 1;
}

QTW_EXPORT int QTWDLL_DeleteImage(QwImage* image) {
    delete image;
    return 1;
}

// The image read from path, or null when it cannot be read.
QTW_EXPORT QwImage* QTWDLL_ReadImage(const char* path) {
    if (!isGivenPath(path)) return nullptr;
    try {
        QwImage* image = new QwImage();
        if (image->image.load(pathFrom(path))) return image;
        delete image;
    } catch (...) {
    }
    return nullptr;
}

// Writes image to path in the format its extension names. 1 on success, else 0.
QTW_EXPORT int QTWDLL_WriteImage(const QwImage* image, const char* path, int quality) {
    if (image == nullptr || image->image.isNull() || !isGivenPath(path)) return 0;
    try {
        return image->image.save(pathFrom(path), nullptr, qtQuality(quality)) ? 1 : 0;
    } catch (...) {
        return 0;
    }
}
