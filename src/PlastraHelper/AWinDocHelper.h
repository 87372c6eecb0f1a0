// AWinDocHelper: calls the host's AWinDocFuncTable entries, each only when the table and the entry exist.
#pragma once

#include "PlastraFuncTable.h"

// Every operation answers 0 (null, false) and does nothing when its entry is missing.
class AWinDocHelper {
public:
    static void setFuncTable(const AWinDocFuncTable* table);
    static const AWinDocFuncTable* getFuncTable() { return s_table; }

    static AWin* convertToWin(AWinDoc* a) {
        return (s_table != nullptr && s_table->convertToWin != nullptr) ? s_table->convertToWin(a) : nullptr;
    }
    static AWinDoc* convertFromWin(AWin* a) {
        return (s_table != nullptr && s_table->convertFromWin != nullptr) ? s_table->convertFromWin(a) : nullptr;
    }
    static AGraphix* convertToGraphix(AWinDoc* a) {
        return (s_table != nullptr && s_table->convertToGraphix != nullptr) ? s_table->convertToGraphix(a) : nullptr;
    }
    static AWinDoc* convertFromGraphix(AGraphix* a) {
        return (s_table != nullptr && s_table->convertFromGraphix != nullptr) ? s_table->convertFromGraphix(a) : nullptr;
    }
    static AObj* convertToObj(AWinDoc* a) {
        return (s_table != nullptr && s_table->convertToObj != nullptr) ? s_table->convertToObj(a) : nullptr;
    }
    static AWinDoc* convertFromObj(AObj* a) {
        return (s_table != nullptr && s_table->convertFromObj != nullptr) ? s_table->convertFromObj(a) : nullptr;
    }
    static ADoc* getDoc(AWinDoc* a) {
        return (s_table != nullptr && s_table->getDoc != nullptr) ? s_table->getDoc(a) : nullptr;
    }
    static void setDoc(AWinDoc* a, ADoc* b) {
        if (s_table != nullptr && s_table->setDoc != nullptr) s_table->setDoc(a, b);
    }

private:
    static const AWinDocFuncTable* s_table;
};
