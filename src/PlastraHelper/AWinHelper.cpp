// AWinHelper: the sub-table it calls through.
#include "AWinHelper.h"

const AWinFuncTable* AWinHelper::s_table = nullptr;

void AWinHelper::setFuncTable(const AWinFuncTable* table) { s_table = table; }
