// Document wrappers: the host's document and window records read and written at one build's positions.
#pragma once

#include "KVString.h"
#include "YHostLayout.h"
#include "YHostRecord.h"

// Which text of a window: the text record it shows, or the name record of its info record.
enum YWinTextType { YWinText_Text = 0, YWinText_Name = 1 };

// The code is the same for every build; only the position table differs. Every operation takes
// the record it works on and answers null, 0 or false for a null record or a missing sub-record.
class YDocWrapper {
public:
    explicit YDocWrapper(const YHostLayout& layout) : m_layout(layout) {}
    const YHostLayout& getLayout() const { return m_layout; }

    // False for a null document; true for a null active view; otherwise checks the links of the
    // active view and each of its ancestors, at most 19 windows deep.
    bool docIsValid(YDoc* doc) const;
    YWin* getActiveView(YDoc* doc) const;

    YWin* getParentWin(YWin* w) const;
    YWin* getChildWin(YWin* w) const;
    YWin* getNextWin(YWin* w) const;
    YWin* getPrevWin(YWin* w) const;
    void setParentWin(YWin* w, YWin* v) const;
    void setChildWin(YWin* w, YWin* v) const;
    void setNextWin(YWin* w, YWin* v) const;
    void setPrevWin(YWin* w, YWin* v) const;

    // Text first, then name; null when neither has characters.
    const char* getWinText(YWin* w) const;
    // Name first, then text.
    const char* getWinName(YWin* w) const;
    // The names from the root down to w, joined by ':'; unnamed windows are left out, so the
    // result finds w again through a path search.
    KVString getFullPathName(YWin* w) const;

    // w itself when its kind marks a pull-down menu, else null.
    YPulldownWin* getPulldownWin(YWin* w) const;
    int getWinCountInPulldownWin(YPulldownWin* menu) const;
    // The i-th item; null outside 0..count-1 (the host's item block holds count pointers).
    YWin* getWinInPulldownWin(YPulldownWin* menu, int i) const;

    // Exchanges the two windows' text or name records (the record pointers, not the characters).
    bool swapWinText(YWin* a, YWinTextType ta, YWin* b, YWinTextType tb) const;
    // The image field of a window is not part of the position tables: no build binds it.
    bool swapWinImage(YWin* a, YWin* b) const;
    void* getButtonImage(YWin* w) const;
    // Copies the name's characters into the text record.
    bool copyButtonNameToButtonText(YWin* w) const;
    const char* getButtonText(YWin* w) const;
    // At most 255 characters and a NUL; a null text empties it. Nothing without a text record.
    void setButtonText(YWin* w, const char* text) const;
    // Gives w a text record of its own, laid out like the model's, empty; false when w already
    // has one or the model has none. The host owns the record afterwards.
    bool createWindowText(YWin* w, YWin* model) const;

    // The records reached from a window; null when absent.
    void* getTextRecord(YWin* w) const;
    void* getInfoRecord(YWin* w) const;
    void* getNameRecord(YWin* w) const;

private:
    const YHostLayout& m_layout;
};

// One class per host build, one shared instance each. Builds with the same positions differ only
// by their tables.
class YDocWrapper31 : public YDocWrapper {
public:
    YDocWrapper31() : YDocWrapper(ylayout::kBuild31) {}
    static YDocWrapper31& instance();
};

class YDocWrapper312 : public YDocWrapper {
public:
    YDocWrapper312() : YDocWrapper(ylayout::kBuild312) {}
    static YDocWrapper312& instance();
};

class YDocWrapper312B27 : public YDocWrapper {
public:
    YDocWrapper312B27() : YDocWrapper(ylayout::kBuild312B27) {}
    static YDocWrapper312B27& instance();
};

class YDocWrapper312B43 : public YDocWrapper {
public:
    YDocWrapper312B43() : YDocWrapper(ylayout::kBuild312B43) {}
    static YDocWrapper312B43& instance();
};

class YDocWrapper312B46 : public YDocWrapper {
public:
    YDocWrapper312B46() : YDocWrapper(ylayout::kBuild312B46) {}
    static YDocWrapper312B46& instance();
};
