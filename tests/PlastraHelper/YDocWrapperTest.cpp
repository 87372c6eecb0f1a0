// Document wrappers against records laid out by each host build.
#include <gtest/gtest.h>

#include <string>

#include "PlastraHelper/PlastraHelper.h"
#include "PlastraHelper/YDocWrapper.h"
#include "SimulatedHost.h"

using simhost::Host3;

namespace {

struct BuildCase {
    const simhost::BuildLayout* host;
    YDocWrapper* wrapper;
    bool (*init)(char**);
};

std::vector<BuildCase> allBuilds() {
    return {{&simhost::kBuild31, &YDocWrapper31::instance(), &PlastraHelper::init31},
            {&simhost::kBuild312, &YDocWrapper312::instance(), &PlastraHelper::init312},
            {&simhost::kBuild312B27, &YDocWrapper312B27::instance(), &PlastraHelper::init312B27},
            {&simhost::kBuild312B43, &YDocWrapper312B43::instance(), &PlastraHelper::init312B43},
            {&simhost::kBuild312B46, &YDocWrapper312B46::instance(), &PlastraHelper::init312B46}};
}

std::string str(const char* s) { return s ? std::string(s) : std::string("<null>"); }

}  // namespace

// Each build's wrapper reads and writes every field where that build's host keeps it.
TEST(YDocWrapper, EachBuildReadsItsOwnRecordPositions) {
    for (const BuildCase& b : allBuilds()) {
        SCOPED_TRACE(b.host->name);
        Host3 host(*b.host);
        void* root = host.window("Root");
        void* first = host.window("First", root, "first text");
        void* second = host.window(nullptr, root, "only text");
        void* menu = host.pulldown("Menu", root, {host.window("ItemA"), host.window("ItemB")});
        host.setActiveView(second);
        const YDocWrapper& w = *b.wrapper;
        host.setUtility(true);
        PlastraHelper::clear();
        ASSERT_TRUE(b.init(host.hostData()));
        EXPECT_EQ(PlastraHelper::s_docWrapper, b.wrapper);
        EXPECT_EQ(PlastraHelper::s_rootWindow, root);

        EXPECT_EQ(w.getActiveView(static_cast<YDoc*>(host.doc())), second);
        EXPECT_EQ(w.getParentWin(static_cast<YWin*>(first)), root);
        EXPECT_EQ(w.getChildWin(static_cast<YWin*>(root)), first);
        EXPECT_EQ(w.getNextWin(static_cast<YWin*>(first)), second);
        EXPECT_EQ(w.getPrevWin(static_cast<YWin*>(second)), first);
        EXPECT_EQ(str(w.getWinName(static_cast<YWin*>(first))), "First");
        EXPECT_EQ(str(w.getWinText(static_cast<YWin*>(first))), "first text");
        EXPECT_EQ(str(w.getWinName(static_cast<YWin*>(second))), "only text");
        EXPECT_EQ(w.getPulldownWin(static_cast<YWin*>(first)), nullptr);
        YPulldownWin* pd = w.getPulldownWin(static_cast<YWin*>(menu));
        ASSERT_NE(pd, nullptr);
        ASSERT_EQ(w.getWinCountInPulldownWin(pd), 2);
        EXPECT_EQ(str(w.getWinName(w.getWinInPulldownWin(pd, 1))), "ItemB");
        EXPECT_EQ(w.getWinInPulldownWin(pd, 2), nullptr);
        EXPECT_EQ(w.getWinInPulldownWin(pd, -1), nullptr);

        w.setNextWin(static_cast<YWin*>(first), nullptr);
        EXPECT_EQ(host.next(first), nullptr);
        w.setParentWin(static_cast<YWin*>(second), static_cast<YWin*>(first));
        EXPECT_EQ(host.parent(second), first);
        w.setButtonText(static_cast<YWin*>(first), "changed");
        EXPECT_EQ(host.textChars(first), "changed");
        EXPECT_EQ(host.textCount(first), 7);

        PlastraHelper::clear();
    }
}

TEST(YDocWrapper, DocIsValidChecksEveryLinkUpToNineteenLevels) {
    const YDocWrapper& w = YDocWrapper312B46::instance();
    Host3 host(simhost::kBuild312B46);
    YDoc* doc = static_cast<YDoc*>(host.doc());
    EXPECT_FALSE(w.docIsValid(nullptr));
    EXPECT_TRUE(w.docIsValid(doc));  // no active view yet

    // A chain of 19 windows from the view up to the root is accepted; one more is not.
    std::vector<void*> chain{host.window("w0")};
    for (int i = 1; i < 19; ++i) chain.push_back(host.window("w", chain.back()));
    host.setActiveView(chain.back());
    EXPECT_TRUE(w.docIsValid(doc));
    void* top = host.window("top");
    host.setParent(chain.front(), top);
    host.setChild(top, chain.front());
    EXPECT_FALSE(w.docIsValid(doc));
    host.setActiveView(chain[1]);  // 19 windows again, counted from the view
    EXPECT_TRUE(w.docIsValid(doc));

    Host3 tree(simhost::kBuild312B46);
    void* root = tree.window("root");
    void* a = tree.window("a", root);
    void* view = tree.window("view", root);
    void* c = tree.window("c", root);
    void* inner = tree.window("inner", view);
    tree.setActiveView(view);
    YDoc* d = static_cast<YDoc*>(tree.doc());
    ASSERT_TRUE(w.docIsValid(d));

    tree.setParent(inner, a);  // first child does not point back
    EXPECT_FALSE(w.docIsValid(d));
    tree.setParent(inner, view);
    tree.setPrev(c, a);  // next sibling's previous link is another window
    EXPECT_FALSE(w.docIsValid(d));
    tree.setPrev(c, view);
    tree.setParent(c, a);  // next sibling under another parent
    EXPECT_FALSE(w.docIsValid(d));
    tree.setParent(c, root);
    tree.setNext(a, c);  // previous sibling's next link is another window
    EXPECT_FALSE(w.docIsValid(d));
    tree.setNext(a, view);
    tree.setParent(a, nullptr);  // previous sibling without the same parent
    EXPECT_FALSE(w.docIsValid(d));
    tree.setParent(a, root);
    EXPECT_TRUE(w.docIsValid(d));
}

TEST(YDocWrapper, ButtonTextIsCutAt255AndCleared) {
    const YDocWrapper& w = YDocWrapper31::instance();
    Host3 host(simhost::kBuild31);
    void* win = host.window("Button", nullptr, "old");
    const std::string longText(300, 'x');
    w.setButtonText(static_cast<YWin*>(win), longText.c_str());
    EXPECT_EQ(host.textCount(win), 255);
    EXPECT_EQ(host.textChars(win), std::string(255, 'x'));
    w.setButtonText(static_cast<YWin*>(win), std::string(255, 'y').c_str());
    EXPECT_EQ(host.textChars(win), std::string(255, 'y'));
    w.setButtonText(static_cast<YWin*>(win), nullptr);
    EXPECT_EQ(host.textCount(win), 0);
    EXPECT_EQ(host.textChars(win), "");
    EXPECT_EQ(str(w.getWinText(static_cast<YWin*>(win))), "Button");  // empty text falls back to the name
    EXPECT_EQ(str(w.getButtonText(static_cast<YWin*>(win))), "");

    void* bare = host.window("Bare");  // no text record: nothing is written anywhere
    w.setButtonText(static_cast<YWin*>(bare), "text");
    EXPECT_EQ(host.textRecord(bare), nullptr);
    EXPECT_EQ(w.getButtonText(static_cast<YWin*>(bare)), nullptr);

    ASSERT_TRUE(w.createWindowText(static_cast<YWin*>(bare), static_cast<YWin*>(win)));
    EXPECT_FALSE(w.createWindowText(static_cast<YWin*>(bare), static_cast<YWin*>(win)));
    EXPECT_EQ(host.textCount(bare), 0);
    ASSERT_TRUE(w.copyButtonNameToButtonText(static_cast<YWin*>(bare)));
    EXPECT_EQ(host.textChars(bare), "Bare");

    ASSERT_TRUE(w.swapWinText(static_cast<YWin*>(win), YWinText_Name, static_cast<YWin*>(bare), YWinText_Text));
    EXPECT_EQ(str(w.getWinName(static_cast<YWin*>(win))), "Bare");
    EXPECT_EQ(host.textCount(bare), 6);  // the name record "Button" is now its text
}

TEST(YDocWrapper, FullPathNameFindsTheWindowAgain) {
    Host3 host(simhost::kBuild312B43);
    void* root = host.window("Root");
    void* unnamed = host.window(nullptr, root);
    void* palette = host.window("Palette", unnamed);
    void* button = host.window("Button", palette);
    host.setActiveView(button);
    ASSERT_TRUE(PlastraHelper::init312B43(host.hostData()));
    const KVString path = YDocWrapper312B43::instance().getFullPathName(static_cast<YWin*>(button));
    EXPECT_STREQ(path.c_str(), "Root:Palette:Button");
    EXPECT_EQ(PlastraHelper::getWindowFromPath(PlastraHelper::s_rootWindow, path.subString(5)), button);
    PlastraHelper::clear();
}
