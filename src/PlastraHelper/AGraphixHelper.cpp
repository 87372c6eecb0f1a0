// AGraphixHelper: the sub-table it calls through.
#include "AGraphixHelper.h"

const AGraphixFuncTable* AGraphixHelper::s_table = nullptr;
const AGraphixFuncTable* AGraphixHelper::s_table2 = nullptr;
bool AGraphixHelper::s_table2Kept = false;

void AGraphixHelper::setFuncTable(const AGraphixFuncTable* table) {
    if (!s_table2Kept && s_table != nullptr) {
        s_table2 = s_table;
        s_table2Kept = true;
    }
    s_table = table;
}
