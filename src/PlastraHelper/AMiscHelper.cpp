// AMiscHelper: the sub-table it calls through.
#include "AMiscHelper.h"

const AMiscFuncTable* AMiscHelper::s_table = nullptr;

void AMiscHelper::setFuncTable(const AMiscFuncTable* table) { s_table = table; }
