// YFunctionsHelper: hands the host's function table (host 4 and later) to the per-object helpers.
#pragma once

#include "PlastraFuncTable.h"

class YFunctionsHelper {
public:
    // Stores the table and gives each helper its sub-table (null entries stay null); a null table
    // clears every helper. The host's table is only read, never written.
    static void setFuncTable(const PlastraFuncTable* table);
    static const PlastraFuncTable* getFuncTable() { return s_funcTable; }

private:
    static const PlastraFuncTable* s_funcTable;
};
