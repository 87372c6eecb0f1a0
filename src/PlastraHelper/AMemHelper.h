// AMemHelper: calls the host's AMemFuncTable entries, each only when the table and the entry exist.
#pragma once

#include "PlastraFuncTable.h"

// Every operation answers 0 (null, false) and does nothing when its entry is missing.
class AMemHelper {
public:
    static void setFuncTable(const AMemFuncTable* table);
    static const AMemFuncTable* getFuncTable() { return s_table; }

    static char* getPtr(AMem* a) {
        return (s_table != nullptr && s_table->getPtr != nullptr) ? s_table->getPtr(a) : nullptr;
    }
    static void setPtr(AMem* a, char* b) {
        if (s_table != nullptr && s_table->setPtr != nullptr) s_table->setPtr(a, b);
    }

private:
    static const AMemFuncTable* s_table;
};
