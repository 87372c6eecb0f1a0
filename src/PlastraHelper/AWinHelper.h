// AWinHelper: calls the host's AWinFuncTable entries, each only when the table and the entry exist.
#pragma once

#include "PlastraFuncTable.h"

// Every operation answers 0 (null, false) and does nothing when its entry is missing.
class AWinHelper {
public:
    static void setFuncTable(const AWinFuncTable* table);
    static const AWinFuncTable* getFuncTable() { return s_table; }

    static AGraphix* convertToGraphix(AWin* a) {
        return (s_table != nullptr && s_table->convertToGraphix != nullptr) ? s_table->convertToGraphix(a) : nullptr;
    }
    static AWin* convertFromGraphix(AGraphix* a) {
        return (s_table != nullptr && s_table->convertFromGraphix != nullptr) ? s_table->convertFromGraphix(a) : nullptr;
    }
    static AObj* convertToObj(AWin* a) {
        return (s_table != nullptr && s_table->convertToObj != nullptr) ? s_table->convertToObj(a) : nullptr;
    }
    static AWin* convertFromObj(AObj* a) {
        return (s_table != nullptr && s_table->convertFromObj != nullptr) ? s_table->convertFromObj(a) : nullptr;
    }
    static ACmdState* getCmdState(AWin* a) {
        return (s_table != nullptr && s_table->getCmdState != nullptr) ? s_table->getCmdState(a) : nullptr;
    }
    static void setCmdState(AWin* a, ACmdState* b) {
        if (s_table != nullptr && s_table->setCmdState != nullptr) s_table->setCmdState(a, b);
    }
    static AStr* getText(AWin* a) {
        return (s_table != nullptr && s_table->getText != nullptr) ? s_table->getText(a) : nullptr;
    }
    static void setText(AWin* a, AStr* b) {
        if (s_table != nullptr && s_table->setText != nullptr) s_table->setText(a, b);
    }
    static AVar getMaximizeAmount(AWin* a) {
        return (s_table != nullptr && s_table->getMaximizeAmount != nullptr) ? s_table->getMaximizeAmount(a) : AVar(0);
    }
    static void setMaximizeAmount(AWin* a, AVar b) {
        if (s_table != nullptr && s_table->setMaximizeAmount != nullptr) s_table->setMaximizeAmount(a, b);
    }

private:
    static const AWinFuncTable* s_table;
};
