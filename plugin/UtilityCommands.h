// Utility commands: folder and tool-file stacks, small file services, shell, processor and platform questions.
#pragma once

#include "PlugCall.h"

extern "C" {

// PushCurrentFolder
//   text: the folder to enter. The current working folder is pushed first, and stays pushed
//   even when the folder cannot be entered. No depth limit. Result: 1.0 when entered, else 0.0.
TRIMORA_EXPORT float PushCurrentFolder(char* text, double value, char* outBuf1, int outBuf1Size, char* outBuf2,
                                       int outBuf2Size, char** hostData);

// PopCurrentFolder
//   No argument. Pops the last pushed folder and enters it.
//   Result: 0.0 when the stack is empty; else 1.0 when entered, 0.0 when not.
TRIMORA_EXPORT float PopCurrentFolder(char* text, double value, char* outBuf1, int outBuf1Size, char* outBuf2,
                                      int outBuf2Size, char** hostData);

// PushYTLFile
//   text: a host tool file path. An existing file there is renamed to the first free name of
//   base1.ext, base2.ext... (ext = the path's last four characters) so that the host can write a
//   new one; the path and that name are pushed (the path twice when nothing was put aside).
//   Names longer than 1023 bytes are not searched: nothing is put aside then. Result: 0.0.
TRIMORA_EXPORT float PushYTLFile(char* text, double value, char* outBuf1, int outBuf1Size, char* outBuf2,
                                 int outBuf2Size, char** hostData);

// PopYTLFile
//   No argument. Undoes the last PushYTLFile: deletes the file at the path, then renames the
//   file put aside back to it (when nothing was put aside the file is just deleted).
//   Result: 0.0, also with an empty stack.
TRIMORA_EXPORT float PopYTLFile(char* text, double value, char* outBuf1, int outBuf1Size, char* outBuf2,
                                int outBuf2Size, char** hostData);

// FileCreateEmpty
//   text: a path. Creates the file, or empties an existing one.
//   Result: 0.0; -1.0 for a null text or when the file cannot be opened.
TRIMORA_EXPORT float FileCreateEmpty(char* text, double value, char* outBuf1, int outBuf1Size, char* outBuf2,
                                     int outBuf2Size, char** hostData);

// FileDelete
//   text: a path. Result: 0.0 when deleted; -1.0 when not, or for a null text.
TRIMORA_EXPORT float FileDelete(char* text, double value, char* outBuf1, int outBuf1Size, char* outBuf2,
                                int outBuf2Size, char** hostData);

// PrintInLog
//   text: a line from the script, logged as "Script: <text>". Result: 0.0.
TRIMORA_EXPORT float PrintInLog(char* text, double value, char* outBuf1, int outBuf1Size, char* outBuf2,
                                int outBuf2Size, char** hostData);

// SetCopySrc
//   text: the source of the next DoCopyTo (null forgets it). Result: 0.0.
TRIMORA_EXPORT float SetCopySrc(char* text, double value, char* outBuf1, int outBuf1Size, char* outBuf2,
                                int outBuf2Size, char** hostData);

// DoCopyTo
//   text: the target path. Copies the SetCopySrc file over it and logs the outcome
//   ("Copy done : ..." or "*** Copy ERROR *** : ..."). Result: 0.0 in both cases.
TRIMORA_EXPORT float DoCopyTo(char* text, double value, char* outBuf1, int outBuf1Size, char* outBuf2,
                              int outBuf2Size, char** hostData);

// System
//   text: a shell command, run through the system shell; waits for it. A null text runs
//   nothing. Result: 0.0 whatever the command answers.
TRIMORA_EXPORT float System(char* text, double value, char* outBuf1, int outBuf1Size, char* outBuf2,
                            int outBuf2Size, char** hostData);

// GetNumProcs
//   No argument. Result: the number of processors the system schedules, no bias.
TRIMORA_EXPORT float GetNumProcs(char* text, double value, char* outBuf1, int outBuf1Size, char* outBuf2,
                                 int outBuf2Size, char** hostData);

// Is64BitsDll
//   No argument. Result: 1.0 in a 64-bit build, 0.0 in a 32-bit one.
TRIMORA_EXPORT float Is64BitsDll(char* text, double value, char* outBuf1, int outBuf1Size, char* outBuf2,
                                 int outBuf2Size, char** hostData);

// Is64BitsSystem
//   No argument. Result: always 0.0, whatever the build: the host relies on it.
TRIMORA_EXPORT float Is64BitsSystem(char* text, double value, char* outBuf1, int outBuf1Size, char* outBuf2,
                                    int outBuf2Size, char** hostData);

// YSleep
//   value: milliseconds; sleeps (value + 0.2) truncated, values beyond the int range
//   clamped, NaN or a negative count not at all. Result: 0.0.
TRIMORA_EXPORT float YSleep(char* text, double value, char* outBuf1, int outBuf1Size, char* outBuf2,
                            int outBuf2Size, char** hostData);

// IsFiniteValue
//   value: any number. Result: 1.0 when finite; 0.0 for NaN or an infinity.
TRIMORA_EXPORT float IsFiniteValue(char* text, double value, char* outBuf1, int outBuf1Size, char* outBuf2,
                                   int outBuf2Size, char** hostData);

// RemoveAllFilesWithFilterAndFolder
//   text: "folder/pattern", e.g. /data/out/*.obj. Deletes every entry of the folder (up
//   to and including the last "/"; no recursion) whose full path ends, in any case, with the
//   pattern from its last "." on (the whole pattern when it has no dot), logging
//   "Clean : RemovingFile:<path>" for each. Result: 0.0, also when the folder cannot be read.
TRIMORA_EXPORT float RemoveAllFilesWithFilterAndFolder(char* text, double value, char* outBuf1, int outBuf1Size, char* outBuf2,
                                                       int outBuf2Size, char** hostData);

// GetUndoNumberFromButtonName
//   text: a host button name such as "Undo 12". Result: the integer after the first
//   blank (leading blanks and a sign allowed, clamped to the int range); -1.0 without a blank
//   or a number.
TRIMORA_EXPORT float GetUndoNumberFromButtonName(char* text, double value, char* outBuf1, int outBuf1Size, char* outBuf2,
                                                 int outBuf2Size, char** hostData);

// FixPlastraFreeze
//   No argument; does nothing in this build. Result: 0.0.
TRIMORA_EXPORT float FixPlastraFreeze(char* text, double value, char* outBuf1, int outBuf1Size, char* outBuf2,
                                      int outBuf2Size, char** hostData);

// GetPublicFolder
//   outBuf1: receives the shared public folder path, NUL-terminated; outBuf1Size is not
//   consulted, so the block must hold the path. Result: 1.0 when written; 0.0 when the system
//   has no such folder or outBuf1 is null.
TRIMORA_EXPORT float GetPublicFolder(char* text, double value, char* outBuf1, int outBuf1Size, char* outBuf2,
                                     int outBuf2Size, char** hostData);

// CreateFolder
//   text: a folder path. Creates that one folder, not its missing parents.
//   Result: 0.0 on success; -1.0 on failure, an existing folder included.
TRIMORA_EXPORT float CreateFolder(char* text, double value, char* outBuf1, int outBuf1Size, char* outBuf2,
                                  int outBuf2Size, char** hostData);

}  // extern "C"
