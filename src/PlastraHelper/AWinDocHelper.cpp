// AWinDocHelper: the sub-table it calls through.
#include "AWinDocHelper.h"

const AWinDocFuncTable* AWinDocHelper::s_table = nullptr;

void AWinDocHelper::setFuncTable(const AWinDocFuncTable* table) { s_table = table; }
