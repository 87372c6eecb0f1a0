// The host's function tables (host 4 and later): one sub-table of entry points per object kind.
#pragma once

// The host's objects, known to us only through the entries below.
struct AObj;
struct AGraphix;
struct AWin;
struct ADoc;
struct AMem;
struct ABMap;
struct ACanvas;
struct AWinDoc;
struct AWinPulldown;
struct ACmdState;
struct AStr;
struct ADocLayer;

struct FPoint {
    float x;
    float y;
};

struct ARect {
    float left;
    float top;
    float right;
    float bottom;
};

typedef double AVar;

// Entries in slot order, slot 0 first; any entry may be null.

struct AGraphixFuncTable {
    AObj* (*convertToObj)(AGraphix*);
    AGraphix* (*convertFromObj)(AObj*);
    FPoint (*getPos)(AGraphix*);
    void (*setPos)(AGraphix*, const FPoint&);
    FPoint (*getSize)(AGraphix*);
    void (*setSize)(AGraphix*, FPoint);
    ARect (*getClip)(AGraphix*);
    void (*setClip)(AGraphix*, const ARect&);
    AWin* (*getParentWindow)(AGraphix*);
    void (*setParentWindow)(AGraphix*, AWin*);
    AWin* (*getChildWindow)(AGraphix*);
    void (*setChildWindow)(AGraphix*, AWin*);
    AWin* (*getNextWindow)(AGraphix*);
    void (*setNextWindow)(AGraphix*, AWin*);
    AWin* (*getPrevWindow)(AGraphix*);
    void (*setPrevWindow)(AGraphix*, AWin*);
};

struct AWinFuncTable {
    AGraphix* (*convertToGraphix)(AWin*);
    AWin* (*convertFromGraphix)(AGraphix*);
    AObj* (*convertToObj)(AWin*);
    AWin* (*convertFromObj)(AObj*);
    ACmdState* (*getCmdState)(AWin*);
    void (*setCmdState)(AWin*, ACmdState*);
    AStr* (*getText)(AWin*);
    void (*setText)(AWin*, AStr*);
    AVar (*getMaximizeAmount)(AWin*);
    void (*setMaximizeAmount)(AWin*, AVar);
};

struct ADocFuncTable {
    AGraphix* (*convertToGraphix)(ADoc*);
    ADoc* (*convertFromGraphix)(AGraphix*);
    AObj* (*convertToObj)(ADoc*);
    ADoc* (*convertFromObj)(AObj*);
    ACanvas* (*getWorkCanvas)(ADoc*);
    void (*setWorkCanvas)(ADoc*, ACanvas*);
    ACanvas* (*getAllLayersCompositeCanvas)(ADoc*);
    void (*setAllLayersCompositeCanvas)(ADoc*, ACanvas*);
    ADocLayer* (*getLayer)(ADoc*, int);
    void (*setLayer)(ADoc*, int, const ADocLayer&);
    int (*getLayersCount)(ADoc*);
    void (*setLayersCount)(ADoc*, int);
    int (*getActiveLayerIndex)(ADoc*);
    void (*setActiveLayerIndex)(ADoc*, int);
    unsigned long (*getBackgroundColor)(ADoc*);
    void (*setBackgroundColor)(ADoc*, unsigned long);
    AWinDoc* (*getActiveView)(ADoc*);
    void (*setActiveView)(ADoc*, AWinDoc*);
    float (*getMaxZ)(ADoc*);
    void (*setMaxZ)(ADoc*, float);
    float (*getMaxShadedZ)(ADoc*);
    void (*setMaxShadedZ)(ADoc*, float);
    void (*notifyChanged)(ADoc*);
    void (*copyToDoc)(ADoc*, ABMap*);
};

struct AMemFuncTable {
    char* (*getPtr)(AMem*);
    void (*setPtr)(AMem*, char*);
};

struct ABMapFuncTable {
    AGraphix* (*convertToGraphix)(ABMap*);
    ABMap* (*convertFromGraphix)(AGraphix*);
    AObj* (*convertToObj)(ABMap*);
    ABMap* (*convertFromObj)(AObj*);
    AMem* (*getMem)(ABMap*);
    void (*setMem)(ABMap*, AMem*);
    int (*getDepth)(ABMap*);
    void (*setDepth)(ABMap*, int);
    short (*getPreCropedWidth)(ABMap*);
    void (*setPreCropedWidth)(ABMap*, short);
    short (*getPreCropedHeight)(ABMap*);
    void (*setPreCropedHeight)(ABMap*, short);
    unsigned long (*getCropZeroValue)(ABMap*);
    void (*setCropZeroValue)(ABMap*, unsigned long);
    ARect (*getDirtyRect)(ABMap*);
    void (*setDirtyRect)(ABMap*, const ARect&);
};

struct ACanvasFuncTable {
    ABMap* (*convertToBMap)(ACanvas*);
    ACanvas* (*convertFromBMap)(ABMap*);
    AGraphix* (*convertToGraphix)(ACanvas*);
    ACanvas* (*convertFromGraphix)(AGraphix*);
    AObj* (*convertToObj)(ACanvas*);
    ACanvas* (*convertFromObj)(AObj*);
    ABMap* (*getBMap)(ACanvas*, int);
    void (*setBMap)(ACanvas*, int, ABMap*);
    unsigned long (*getBackgroundColor)(ACanvas*);
    void (*setBackgroundColor)(ACanvas*, unsigned long);
};

struct AWinDocFuncTable {
    AWin* (*convertToWin)(AWinDoc*);
    AWinDoc* (*convertFromWin)(AWin*);
    AGraphix* (*convertToGraphix)(AWinDoc*);
    AWinDoc* (*convertFromGraphix)(AGraphix*);
    AObj* (*convertToObj)(AWinDoc*);
    AWinDoc* (*convertFromObj)(AObj*);
    ADoc* (*getDoc)(AWinDoc*);
    void (*setDoc)(AWinDoc*, ADoc*);
};

struct AWinPulldownFuncTable {
    AWin* (*convertToWin)(AWinPulldown*);
    AWinPulldown* (*convertFromWin)(AWin*);
    AGraphix* (*convertToGraphix)(AWinPulldown*);
    AWinPulldown* (*convertFromGraphix)(AGraphix*);
    AObj* (*convertToObj)(AWinPulldown*);
    AWinPulldown* (*convertFromObj)(AObj*);
    int (*getWinsCount)(AWinPulldown*);
    AWin* (*getWin)(AWinPulldown*, int);
};

struct AMiscFuncTable {
    void (*startDebug)();
    void (*endDebug)();
};

// hostData slot 8: the sub-tables in this order.
struct PlastraFuncTable {
    const AGraphixFuncTable* aGraphixFuncTable;
    const AWinFuncTable* aWinFuncTable;
    const ADocFuncTable* aDocFuncTable;
    const AMemFuncTable* aMemFuncTable;
    const ABMapFuncTable* aBMapFuncTable;
    const ACanvasFuncTable* aCanvasFuncTable;
    const AWinDocFuncTable* aWinDocFuncTable;
    const AWinPulldownFuncTable* aWinPulldownFuncTable;
    const AMiscFuncTable* aMiscFuncTable;
};
