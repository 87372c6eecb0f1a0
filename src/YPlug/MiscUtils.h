// MiscUtils: the state and the work behind the utility commands (folder and tool-file stacks, copies, cleaning).
#pragma once

#include "KVArray.h"
#include "KVString.h"

// Working folders pushed by PushCurrentFolder, most recent last. No depth limit.
extern KVArray<KVString> s_currentFolderHeap;
// One stack of saved tool files, kept as two parallel lists: entry i of s_fileHeap1 is the path
// the host uses, entry i of s_fileHeap2 the name the earlier file was put aside under (equal to
// the path when nothing was put aside).
extern KVArray<KVString> s_fileHeap1;
extern KVArray<KVString> s_fileHeap2;
// Source of the next DoCopyTo.
extern KVString s_fileCopySrc;

namespace MiscUtils {

// Size of the buffer the tool-file names are built in, NUL included.
constexpr int kNameBufferSize = 1024;

// Pushes the working folder, then enters `folder`. The push is kept even when the folder
// cannot be entered. True when it was entered.
bool pushCurrentFolder(const KVString& folder);
// Pops the top folder and enters it. False, changing nothing, when the stack is empty; else
// whether it was entered (`popped` tells the two apart).
bool popCurrentFolder(bool& popped);

// The first of path, base1.ext, base2.ext... (ext = the last four characters of the path) that
// names no existing file. A candidate that does not fit the name buffer ends the search with
// the path itself: nothing is put aside then.
KVString findAsideName(const KVString& path);
// Records path and its aside name, and renames an existing file at path to the aside name.
void pushToolFile(const KVString& path);
// Undoes the last pushToolFile: deletes the file at the path and renames the aside file back.
// False when the stack is empty.
bool popToolFile();

// Creates or empties the file. False for a null path or when it cannot be opened.
bool createEmptyFile(const char* path);
// Copies s_fileCopySrc to target and logs the outcome. True when the whole file was copied.
bool copyToTarget(const KVString& target);

// The ending that RemoveAllFilesWithFilterAndFolder matches for "folder/pattern": the file-name
// part from its last "." on (the whole part when it has no dot).
KVString filterOf(const KVString& path);
// folder + "/" + name for every entry of the folder part of `path` (up to and including its
// last "/") whose full path ends with the filter, any case. False when the folder cannot be read.
bool listFilesWithFilter(const KVString& path, KVArray<KVString>& files);
// Deletes the listed files, logging each. Returns how many were removed.
int removeAllFilesWithFilterAndFolder(const char* text);

// The integer after the first blank of a host button name ("Undo 12" gives 12); -1 when there
// is no blank or no number. Numbers beyond the int range are clamped to it.
int undoNumberFromButtonName(const char* name);

}  // namespace MiscUtils
