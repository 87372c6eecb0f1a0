// ABMapHelper: the sub-table it calls through.
#include "ABMapHelper.h"

const ABMapFuncTable* ABMapHelper::s_table = nullptr;

void ABMapHelper::setFuncTable(const ABMapFuncTable* table) { s_table = table; }
