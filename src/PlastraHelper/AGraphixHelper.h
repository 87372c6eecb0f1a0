// AGraphixHelper: calls the host's AGraphixFuncTable entries, each only when the table and the entry exist.
#pragma once

#include "PlastraFuncTable.h"

// Every operation answers 0 (null, false) and does nothing when its entry is missing.
class AGraphixHelper {
public:
    static void setFuncTable(const AGraphixFuncTable* table);
    static const AGraphixFuncTable* getFuncTable() { return s_table; }
    // The first table that setFuncTable replaced, kept once.
    static const AGraphixFuncTable* getReplacedFuncTable() { return s_table2; }

    static AObj* convertToObj(AGraphix* a) {
        return (s_table != nullptr && s_table->convertToObj != nullptr) ? s_table->convertToObj(a) : nullptr;
    }
    static AGraphix* convertFromObj(AObj* a) {
        return (s_table != nullptr && s_table->convertFromObj != nullptr) ? s_table->convertFromObj(a) : nullptr;
    }
    static FPoint getPos(AGraphix* a) {
        return (s_table != nullptr && s_table->getPos != nullptr) ? s_table->getPos(a) : FPoint{};
    }
    static void setPos(AGraphix* a, const FPoint& b) {
        if (s_table != nullptr && s_table->setPos != nullptr) s_table->setPos(a, b);
    }
    static FPoint getSize(AGraphix* a) {
        return (s_table != nullptr && s_table->getSize != nullptr) ? s_table->getSize(a) : FPoint{};
    }
    static void setSize(AGraphix* a, FPoint b) {
        if (s_table != nullptr && s_table->setSize != nullptr) s_table->setSize(a, b);
    }
    static ARect getClip(AGraphix* a) {
        return (s_table != nullptr && s_table->getClip != nullptr) ? s_table->getClip(a) : ARect{};
    }
    static void setClip(AGraphix* a, const ARect& b) {
        if (s_table != nullptr && s_table->setClip != nullptr) s_table->setClip(a, b);
    }
    static AWin* getParentWindow(AGraphix* a) {
        return (s_table != nullptr && s_table->getParentWindow != nullptr) ? s_table->getParentWindow(a) : nullptr;
    }
    static void setParentWindow(AGraphix* a, AWin* b) {
        if (s_table != nullptr && s_table->setParentWindow != nullptr) s_table->setParentWindow(a, b);
    }
    static AWin* getChildWindow(AGraphix* a) {
        return (s_table != nullptr && s_table->getChildWindow != nullptr) ? s_table->getChildWindow(a) : nullptr;
    }
    static void setChildWindow(AGraphix* a, AWin* b) {
        if (s_table != nullptr && s_table->setChildWindow != nullptr) s_table->setChildWindow(a, b);
    }
    static AWin* getNextWindow(AGraphix* a) {
        return (s_table != nullptr && s_table->getNextWindow != nullptr) ? s_table->getNextWindow(a) : nullptr;
    }
    static void setNextWindow(AGraphix* a, AWin* b) {
        if (s_table != nullptr && s_table->setNextWindow != nullptr) s_table->setNextWindow(a, b);
    }
    static AWin* getPrevWindow(AGraphix* a) {
        return (s_table != nullptr && s_table->getPrevWindow != nullptr) ? s_table->getPrevWindow(a) : nullptr;
    }
    static void setPrevWindow(AGraphix* a, AWin* b) {
        if (s_table != nullptr && s_table->setPrevWindow != nullptr) s_table->setPrevWindow(a, b);
    }

private:
    static const AGraphixFuncTable* s_table;
    static const AGraphixFuncTable* s_table2;
    static bool s_table2Kept;
};
