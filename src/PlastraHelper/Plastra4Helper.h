// Plastra4Helper: the bridge into hosts 4 and later, every window link read and set through the host's tables.
#pragma once

#include "KVString.h"
#include "PlastraFuncTable.h"

class Plastra4Helper {
public:
    // Takes the function table (slot 8) and the document (slot 2); the root window is found from
    // the document's active view. A null hostData clears the tables.
    static void init(char** hostData);

    static AWin* getRootWindow(AWin* w);
    // The name record's characters (through the command state), else the window's text; may be null.
    static const char* getWindowName(AWin* w);
    static AWin* getParentWindow(AWin* w);
    static AWin* getWindowFromPath(AWin* start, const KVString& path);
    static int getWindowChildIndex(AWin* w);
    static bool disconnectWindow(AWin* w);
    static bool moveWindow(AWin* w, AWin* parent, int index);

    static ADoc* s_doc;
    static AWin* s_rootWindow;
};
