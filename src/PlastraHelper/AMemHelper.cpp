// AMemHelper: the sub-table it calls through.
#include "AMemHelper.h"

const AMemFuncTable* AMemHelper::s_table = nullptr;

void AMemHelper::setFuncTable(const AMemFuncTable* table) { s_table = table; }
