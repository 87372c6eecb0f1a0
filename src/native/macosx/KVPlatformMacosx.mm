// KVPlatform on macOS: Multiprocessing Services, Launch Services, Foundation look-ups.
// Kept apart from the Linux build; not compiled here.
#include "native/KVPlatform.h"

#import <Foundation/Foundation.h>
#include <ApplicationServices/ApplicationServices.h>
#include <CoreServices/CoreServices.h>

namespace KVPlatform {

int processorsScheduled() {
    const ItemCount n = MPProcessorsScheduled();
    return n < 1 ? 1 : static_cast<int>(n);
}

// Launch flags: kLSLaunchDontAddToRecents | kLSLaunchAsync | kLSLaunchNewInstance.
bool launchApplication(const KVString& applicationPath, const KVString& argument) {
    const char* path = applicationPath.getValidFilePath();
    if (path == nullptr || path[0] == '\0') return false;

    FSRef appRef;
    if (FSPathMakeRef(reinterpret_cast<const UInt8*>(path), &appRef, nullptr) != noErr) return false;

    CFMutableArrayRef args = CFArrayCreateMutable(kCFAllocatorDefault, 1, &kCFTypeArrayCallBacks);
    if (args == nullptr) return false;
    CFStringRef arg = CFStringCreateWithCString(kCFAllocatorDefault, argument.c_str(), kCFStringEncodingASCII);
    if (arg == nullptr) {
        CFRelease(args);
        return false;
    }
    CFArrayAppendValue(args, arg);

    LSApplicationParameters params;
    memset(&params, 0, sizeof params);
    params.version = 0;
    params.flags = kLSLaunchDontAddToRecents | kLSLaunchAsync | kLSLaunchNewInstance;
    params.application = &appRef;
    params.asyncLaunchRefCon = nullptr;
    params.environment = nullptr;
    params.argv = args;
    params.initialEvent = nullptr;

    // The array and the string are deliberately not released after the asynchronous launch.
    return LSOpenApplication(&params, nullptr) == noErr;
}

KVString publicFolder() {
    @autoreleasepool {
        NSArray* paths = NSSearchPathForDirectoriesInDomains(NSUserDirectory, NSLocalDomainMask, YES);
        NSString* folder = [paths lastObject];
        if (folder == nil) return KVString();
        folder = [folder stringByExpandingTildeInPath];
        const char* utf8 = [folder fileSystemRepresentation];
        return utf8 ? KVString(utf8) : KVString();
    }
}

KVString hostApplicationFolder() {
    @autoreleasepool {
        NSString* bundlePath = [[NSBundle mainBundle] bundlePath];
        if (bundlePath == nil) return KVString();
        NSString* folder = [bundlePath stringByDeletingLastPathComponent];
        const char* utf8 = [folder fileSystemRepresentation];
        return utf8 ? KVString(utf8) : KVString();
    }
}

bool createOneFolder(const KVString& path) {
    const char* p = path.getValidFilePath();
    if (p == nullptr || p[0] == '\0') return false;
    @autoreleasepool {
        NSString* folder = [[NSFileManager defaultManager] stringWithFileSystemRepresentation:p
                                                                                      length:strlen(p)];
        return [[NSFileManager defaultManager] createDirectoryAtPath:folder
                                         withIntermediateDirectories:NO
                                                          attributes:nil
                                                               error:nil] == YES;
    }
}

}  // namespace KVPlatform
