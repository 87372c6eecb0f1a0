// ACanvasHelper: the sub-table it calls through.
#include "ACanvasHelper.h"

const ACanvasFuncTable* ACanvasHelper::s_table = nullptr;

void ACanvasHelper::setFuncTable(const ACanvasFuncTable* table) { s_table = table; }
