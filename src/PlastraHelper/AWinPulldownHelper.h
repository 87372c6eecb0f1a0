// AWinPulldownHelper: calls the host's AWinPulldownFuncTable entries, each only when the table and the entry exist.
#pragma once

#include "PlastraFuncTable.h"

// Every operation answers 0 (null, false) and does nothing when its entry is missing.
class AWinPulldownHelper {
public:
    static void setFuncTable(const AWinPulldownFuncTable* table);
    static const AWinPulldownFuncTable* getFuncTable() { return s_table; }

    static AWin* convertToWin(AWinPulldown* a) {
        return (s_table != nullptr && s_table->convertToWin != nullptr) ? s_table->convertToWin(a) : nullptr;
    }
    static AWinPulldown* convertFromWin(AWin* a) {
        return (s_table != nullptr && s_table->convertFromWin != nullptr) ? s_table->convertFromWin(a) : nullptr;
    }
    static AGraphix* convertToGraphix(AWinPulldown* a) {
        return (s_table != nullptr && s_table->convertToGraphix != nullptr) ? s_table->convertToGraphix(a) : nullptr;
    }
    static AWinPulldown* convertFromGraphix(AGraphix* a) {
        return (s_table != nullptr && s_table->convertFromGraphix != nullptr) ? s_table->convertFromGraphix(a) : nullptr;
    }
    static AObj* convertToObj(AWinPulldown* a) {
        return (s_table != nullptr && s_table->convertToObj != nullptr) ? s_table->convertToObj(a) : nullptr;
    }
    static AWinPulldown* convertFromObj(AObj* a) {
        return (s_table != nullptr && s_table->convertFromObj != nullptr) ? s_table->convertFromObj(a) : nullptr;
    }
    static int getWinsCount(AWinPulldown* a) {
        return (s_table != nullptr && s_table->getWinsCount != nullptr) ? s_table->getWinsCount(a) : 0;
    }
    static AWin* getWin(AWinPulldown* a, int b) {
        return (s_table != nullptr && s_table->getWin != nullptr) ? s_table->getWin(a, b) : nullptr;
    }

private:
    static const AWinPulldownFuncTable* s_table;
};
