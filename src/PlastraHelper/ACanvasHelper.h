// ACanvasHelper: calls the host's ACanvasFuncTable entries, each only when the table and the entry exist.
#pragma once

#include "PlastraFuncTable.h"

// Every operation answers 0 (null, false) and does nothing when its entry is missing.
class ACanvasHelper {
public:
    static void setFuncTable(const ACanvasFuncTable* table);
    static const ACanvasFuncTable* getFuncTable() { return s_table; }

    static ABMap* convertToBMap(ACanvas* a) {
        return (s_table != nullptr && s_table->convertToBMap != nullptr) ? s_table->convertToBMap(a) : nullptr;
    }
    static ACanvas* convertFromBMap(ABMap* a) {
        return (s_table != nullptr && s_table->convertFromBMap != nullptr) ? s_table->convertFromBMap(a) : nullptr;
    }
    static AGraphix* convertToGraphix(ACanvas* a) {
        return (s_table != nullptr && s_table->convertToGraphix != nullptr) ? s_table->convertToGraphix(a) : nullptr;
    }
    static ACanvas* convertFromGraphix(AGraphix* a) {
        return (s_table != nullptr && s_table->convertFromGraphix != nullptr) ? s_table->convertFromGraphix(a) : nullptr;
    }
    static AObj* convertToObj(ACanvas* a) {
        return (s_table != nullptr && s_table->convertToObj != nullptr) ? s_table->convertToObj(a) : nullptr;
    }
    static ACanvas* convertFromObj(AObj* a) {
        return (s_table != nullptr && s_table->convertFromObj != nullptr) ? s_table->convertFromObj(a) : nullptr;
    }
    static ABMap* getBMap(ACanvas* a, int b) {
        return (s_table != nullptr && s_table->getBMap != nullptr) ? s_table->getBMap(a, b) : nullptr;
    }
    static void setBMap(ACanvas* a, int b, ABMap* c) {
        if (s_table != nullptr && s_table->setBMap != nullptr) s_table->setBMap(a, b, c);
    }
    static unsigned long getBackgroundColor(ACanvas* a) {
        return (s_table != nullptr && s_table->getBackgroundColor != nullptr) ? s_table->getBackgroundColor(a) : 0;
    }
    static void setBackgroundColor(ACanvas* a, unsigned long b) {
        if (s_table != nullptr && s_table->setBackgroundColor != nullptr) s_table->setBackgroundColor(a, b);
    }

private:
    static const ACanvasFuncTable* s_table;
};
