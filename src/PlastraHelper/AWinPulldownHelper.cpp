// AWinPulldownHelper: the sub-table it calls through.
#include "AWinPulldownHelper.h"

const AWinPulldownFuncTable* AWinPulldownHelper::s_table = nullptr;

void AWinPulldownHelper::setFuncTable(const AWinPulldownFuncTable* table) { s_table = table; }
