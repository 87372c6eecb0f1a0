// The file names of the image libraries in the host's QtLibs folder, in load order.
#pragma once

namespace KVQtLibraryNames {

// One entry per library the image service loads, relative to the QtLibs folder.
enum Library {
    kQtCore,
    kQtGui,
    kQtNetwork,
    kGifPlugin,
    kIcoPlugin,
    kJpegPlugin,
    kTiffPlugin,
    kQtWrapper,
    kLibraryCount
};

// This platform's file name of `library` (never null).
const char* fileName(Library library);

}  // namespace KVQtLibraryNames
