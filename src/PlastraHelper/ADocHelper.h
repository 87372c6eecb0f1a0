// ADocHelper: calls the host's ADocFuncTable entries, each only when the table and the entry exist.
#pragma once

#include "PlastraFuncTable.h"

// Every operation answers 0 (null, false) and does nothing when its entry is missing.
class ADocHelper {
public:
    static void setFuncTable(const ADocFuncTable* table);
    static const ADocFuncTable* getFuncTable() { return s_table; }

    static AGraphix* convertToGraphix(ADoc* a) {
        return (s_table != nullptr && s_table->convertToGraphix != nullptr) ? s_table->convertToGraphix(a) : nullptr;
    }
    static ADoc* convertFromGraphix(AGraphix* a) {
        return (s_table != nullptr && s_table->convertFromGraphix != nullptr) ? s_table->convertFromGraphix(a) : nullptr;
    }
    static AObj* convertToObj(ADoc* a) {
        return (s_table != nullptr && s_table->convertToObj != nullptr) ? s_table->convertToObj(a) : nullptr;
    }
    static ADoc* convertFromObj(AObj* a) {
        return (s_table != nullptr && s_table->convertFromObj != nullptr) ? s_table->convertFromObj(a) : nullptr;
    }
    static ACanvas* getWorkCanvas(ADoc* a) {
        return (s_table != nullptr && s_table->getWorkCanvas != nullptr) ? s_table->getWorkCanvas(a) : nullptr;
    }
    static void setWorkCanvas(ADoc* a, ACanvas* b) {
        if (s_table != nullptr && s_table->setWorkCanvas != nullptr) s_table->setWorkCanvas(a, b);
    }
    static ACanvas* getAllLayersCompositeCanvas(ADoc* a) {
        return (s_table != nullptr && s_table->getAllLayersCompositeCanvas != nullptr) ? s_table->getAllLayersCompositeCanvas(a) : nullptr;
    }
    static void setAllLayersCompositeCanvas(ADoc* a, ACanvas* b) {
        if (s_table != nullptr && s_table->setAllLayersCompositeCanvas != nullptr) s_table->setAllLayersCompositeCanvas(a, b);
    }
    static ADocLayer* getLayer(ADoc* a, int b) {
        return (s_table != nullptr && s_table->getLayer != nullptr) ? s_table->getLayer(a, b) : nullptr;
    }
    static void setLayer(ADoc* a, int b, const ADocLayer& c) {
        if (s_table != nullptr && s_table->setLayer != nullptr) s_table->setLayer(a, b, c);
    }
    static int getLayersCount(ADoc* a) {
        return (s_table != nullptr && s_table->getLayersCount != nullptr) ? s_table->getLayersCount(a) : 0;
    }
    static void setLayersCount(ADoc* a, int b) {
        if (s_table != nullptr && s_table->setLayersCount != nullptr) s_table->setLayersCount(a, b);
    }
    static int getActiveLayerIndex(ADoc* a) {
        return (s_table != nullptr && s_table->getActiveLayerIndex != nullptr) ? s_table->getActiveLayerIndex(a) : 0;
    }
    static void setActiveLayerIndex(ADoc* a, int b) {
        if (s_table != nullptr && s_table->setActiveLayerIndex != nullptr) s_table->setActiveLayerIndex(a, b);
    }
    static unsigned long getBackgroundColor(ADoc* a) {
        return (s_table != nullptr && s_table->getBackgroundColor != nullptr) ? s_table->getBackgroundColor(a) : 0;
    }
    static void setBackgroundColor(ADoc* a, unsigned long b) {
        if (s_table != nullptr && s_table->setBackgroundColor != nullptr) s_table->setBackgroundColor(a, b);
    }
    static AWinDoc* getActiveView(ADoc* a) {
        return (s_table != nullptr && s_table->getActiveView != nullptr) ? s_table->getActiveView(a) : nullptr;
    }
    static void setActiveView(ADoc* a, AWinDoc* b) {
        if (s_table != nullptr && s_table->setActiveView != nullptr) s_table->setActiveView(a, b);
    }
    static float getMaxZ(ADoc* a) {
        return (s_table != nullptr && s_table->getMaxZ != nullptr) ? s_table->getMaxZ(a) : 0.0f;
    }
    static void setMaxZ(ADoc* a, float b) {
        if (s_table != nullptr && s_table->setMaxZ != nullptr) s_table->setMaxZ(a, b);
    }
    static float getMaxShadedZ(ADoc* a) {
        return (s_table != nullptr && s_table->getMaxShadedZ != nullptr) ? s_table->getMaxShadedZ(a) : 0.0f;
    }
    static void setMaxShadedZ(ADoc* a, float b) {
        if (s_table != nullptr && s_table->setMaxShadedZ != nullptr) s_table->setMaxShadedZ(a, b);
    }
    static void notifyChanged(ADoc* a) {
        if (s_table != nullptr && s_table->notifyChanged != nullptr) s_table->notifyChanged(a);
    }
    static void copyToDoc(ADoc* a, ABMap* b) {
        if (s_table != nullptr && s_table->copyToDoc != nullptr) s_table->copyToDoc(a, b);
    }

private:
    static const ADocFuncTable* s_table;
};
