// ADocHelper: the sub-table it calls through.
#include "ADocHelper.h"

const ADocFuncTable* ADocHelper::s_table = nullptr;

void ADocHelper::setFuncTable(const ADocFuncTable* table) { s_table = table; }
