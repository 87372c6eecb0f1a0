// QtImageServer: the image operations of the run-time-loaded wrapper, offered to the library.
#pragma once

// The wrapper's image object; only pointers to it cross into the library.
struct QwImage;

// Every operation initialises the server first when needed and answers 0 (null, false) when its
// entry point is missing, so a host without the wrapper simply gets no conversion.
class QtImageServer {
public:
    // Loads what is missing, in order, stopping at the first library that cannot be loaded (the
    // server then stays uninitialised and the next call tries again); then initialises the wrapper
    // and resolves the entry points. Nothing once initialised. True when initialised.
    static bool initialize();
    // Runs the load sequence and the wrapper's init again, then forgets the entry points. The
    // libraries stay loaded. Nothing when not initialised.
    static void uninitialize();
    static bool isInitialized() { return s_initialized; }

    // Converts source into target (format from target's extension). Both paths are taken in
    // their valid-file-path form. True on success.
    static bool convertImage(const char* source, const char* target, int quality);
    static QwImage* newEmptyImage();
    // True when the wrapper was called.
    static bool clearImage(QwImage* image);
    static bool deleteImage(QwImage* image);
    // The image read from path, or null.
    static QwImage* readImage(const char* path);
    // The wrapper's answer; 0 when it cannot be called.
    static int writeImage(const QwImage* image, const char* path, int quality);

private:
    using ConvertFn = int (*)(const char*, const char*, int);
    using NewEmptyFn = QwImage* (*)(void*);
    using ImageFn = int (*)(QwImage*);
    using ReadFn = QwImage* (*)(const char*);
    using WriteFn = int (*)(const QwImage*, const char*, int);

    // Loads every library whose handle is still null; false at the first failure.
    static bool loadLibraries();
    static void clearEntryPoints();

    static bool s_initialized;
    static ConvertFn s_convert;
    static NewEmptyFn s_newEmpty;
    static ImageFn s_clear;
    static ImageFn s_delete;
    static ReadFn s_read;
    static WriteFn s_write;
};
