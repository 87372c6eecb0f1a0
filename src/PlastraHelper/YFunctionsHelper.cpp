// YFunctionsHelper: one table in, nine sub-tables out.
#include "YFunctionsHelper.h"

#include "ABMapHelper.h"
#include "ACanvasHelper.h"
#include "ADocHelper.h"
#include "AGraphixHelper.h"
#include "AMemHelper.h"
#include "AMiscHelper.h"
#include "AWinDocHelper.h"
#include "AWinHelper.h"
#include "AWinPulldownHelper.h"

const PlastraFuncTable* YFunctionsHelper::s_funcTable = nullptr;

void YFunctionsHelper::setFuncTable(const PlastraFuncTable* table) {
    s_funcTable = table;
    AGraphixHelper::setFuncTable(table ? table->aGraphixFuncTable : nullptr);
    AWinHelper::setFuncTable(table ? table->aWinFuncTable : nullptr);
    ADocHelper::setFuncTable(table ? table->aDocFuncTable : nullptr);
    AMemHelper::setFuncTable(table ? table->aMemFuncTable : nullptr);
    ABMapHelper::setFuncTable(table ? table->aBMapFuncTable : nullptr);
    ACanvasHelper::setFuncTable(table ? table->aCanvasFuncTable : nullptr);
    AWinDocHelper::setFuncTable(table ? table->aWinDocFuncTable : nullptr);
    AWinPulldownHelper::setFuncTable(table ? table->aWinPulldownFuncTable : nullptr);
    AMiscHelper::setFuncTable(table ? table->aMiscFuncTable : nullptr);
}
