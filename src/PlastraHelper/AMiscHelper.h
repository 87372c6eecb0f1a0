// AMiscHelper: calls the host's AMiscFuncTable entries, each only when the table and the entry exist.
#pragma once

#include "PlastraFuncTable.h"

// Every operation answers 0 (null, false) and does nothing when its entry is missing.
class AMiscHelper {
public:
    static void setFuncTable(const AMiscFuncTable* table);
    static const AMiscFuncTable* getFuncTable() { return s_table; }

    static void startDebug() {
        if (s_table != nullptr && s_table->startDebug != nullptr) s_table->startDebug();
    }
    static void endDebug() {
        if (s_table != nullptr && s_table->endDebug != nullptr) s_table->endDebug();
    }

private:
    static const AMiscFuncTable* s_table;
};
