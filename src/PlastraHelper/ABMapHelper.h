// ABMapHelper: calls the host's ABMapFuncTable entries, each only when the table and the entry exist.
#pragma once

#include "PlastraFuncTable.h"

// Every operation answers 0 (null, false) and does nothing when its entry is missing.
class ABMapHelper {
public:
    static void setFuncTable(const ABMapFuncTable* table);
    static const ABMapFuncTable* getFuncTable() { return s_table; }

    static AGraphix* convertToGraphix(ABMap* a) {
        return (s_table != nullptr && s_table->convertToGraphix != nullptr) ? s_table->convertToGraphix(a) : nullptr;
    }
    static ABMap* convertFromGraphix(AGraphix* a) {
        return (s_table != nullptr && s_table->convertFromGraphix != nullptr) ? s_table->convertFromGraphix(a) : nullptr;
    }
    static AObj* convertToObj(ABMap* a) {
        return (s_table != nullptr && s_table->convertToObj != nullptr) ? s_table->convertToObj(a) : nullptr;
    }
    static ABMap* convertFromObj(AObj* a) {
        return (s_table != nullptr && s_table->convertFromObj != nullptr) ? s_table->convertFromObj(a) : nullptr;
    }
    static AMem* getMem(ABMap* a) {
        return (s_table != nullptr && s_table->getMem != nullptr) ? s_table->getMem(a) : nullptr;
    }
    static void setMem(ABMap* a, AMem* b) {
        if (s_table != nullptr && s_table->setMem != nullptr) s_table->setMem(a, b);
    }
    static int getDepth(ABMap* a) {
        return (s_table != nullptr && s_table->getDepth != nullptr) ? s_table->getDepth(a) : 0;
    }
    static void setDepth(ABMap* a, int b) {
        if (s_table != nullptr && s_table->setDepth != nullptr) s_table->setDepth(a, b);
    }
    static short getPreCropedWidth(ABMap* a) {
        return (s_table != nullptr && s_table->getPreCropedWidth != nullptr) ? s_table->getPreCropedWidth(a) : 0;
    }
    static void setPreCropedWidth(ABMap* a, short b) {
        if (s_table != nullptr && s_table->setPreCropedWidth != nullptr) s_table->setPreCropedWidth(a, b);
    }
    static short getPreCropedHeight(ABMap* a) {
        return (s_table != nullptr && s_table->getPreCropedHeight != nullptr) ? s_table->getPreCropedHeight(a) : 0;
    }
    static void setPreCropedHeight(ABMap* a, short b) {
        if (s_table != nullptr && s_table->setPreCropedHeight != nullptr) s_table->setPreCropedHeight(a, b);
    }
    static unsigned long getCropZeroValue(ABMap* a) {
        return (s_table != nullptr && s_table->getCropZeroValue != nullptr) ? s_table->getCropZeroValue(a) : 0;
    }
    static void setCropZeroValue(ABMap* a, unsigned long b) {
        if (s_table != nullptr && s_table->setCropZeroValue != nullptr) s_table->setCropZeroValue(a, b);
    }
    static ARect getDirtyRect(ABMap* a) {
        return (s_table != nullptr && s_table->getDirtyRect != nullptr) ? s_table->getDirtyRect(a) : ARect{};
    }
    static void setDirtyRect(ABMap* a, const ARect& b) {
        if (s_table != nullptr && s_table->setDirtyRect != nullptr) s_table->setDirtyRect(a, b);
    }

private:
    static const ABMapFuncTable* s_table;
};
