// The Linux names of the Qt 6 libraries, image-format plug-ins and wrapper in QtLibs/.
#include "native/KVQtLibraryNames.h"

namespace KVQtLibraryNames {

const char* fileName(Library library) {
    static const char* const kNames[kLibraryCount] = {
        "libQt6Core.so.6",
        "libQt6Gui.so.6",
        "libQt6Network.so.6",
        "imageformats/libqgif.so",
        "imageformats/libqico.so",
        "imageformats/libqjpeg.so",
        "imageformats/libqtiff.so",
        "QtWrapper.so",
    };
    const int i = static_cast<int>(library);
    return (i >= 0 && i < kLibraryCount) ? kNames[i] : "";
}

}  // namespace KVQtLibraryNames
