// The few services that differ between platforms; implemented in posix/ and macosx/.
#pragma once

#include "KVString.h"

namespace KVPlatform {

// Number of processors the system schedules work on (at least 1).
int processorsScheduled();

// Starts an application asynchronously with exactly one argument, in a session of its own,
// without waiting for it and without leaving a zombie behind. True when the start was accepted.
bool launchApplication(const KVString& applicationPath, const KVString& argument);

// The shared folder of user homes; empty when the system has none.
KVString publicFolder();

// Folder of the running host application, without a trailing separator.
KVString hostApplicationFolder();

// Creates one folder, without creating missing parents. True on success.
bool createOneFolder(const KVString& path);

// Whether this build is a 64-bit one.
constexpr bool is64BitBuild() { return sizeof(void*) == 8; }

}  // namespace KVPlatform
