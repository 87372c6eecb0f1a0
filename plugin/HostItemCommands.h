// Host item commands: moving the host's interface items.
#pragma once

#include "PlugCall.h"

extern "C" {

// SetItemPos
//   text: path of the item to move, names separated by ':' from the host's root window (case
//         ignored; unnamed windows are searched through; pull-down items are found by name).
//   value: signed offset from the reference item; value + 0.2 (value - 0.2 when negative),
//          truncated toward zero.
//   outBuf1: path of the reference item, NUL-terminated.
//   hostData: the host's table (function table in slot 8, document in slot 2).
//   The item moves into the reference item's parent at (reference index + offset).
//   Result: -1.0 when the item or the reference item's parent is not found; 0.0 otherwise, also
//   when the host's tree is left as it was (the item already sits there).
TRIMORA_EXPORT float SetItemPos(char* text, double value, char* outBuf1, int outBuf1Size, char* outBuf2,
                                int outBuf2Size, char** hostData);

}  // extern "C"
