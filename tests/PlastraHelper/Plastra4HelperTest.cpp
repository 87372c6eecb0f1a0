// Hosts 4 and later: the function-table helpers and the window tree over them.
#include <gtest/gtest.h>

#include "PlastraHelper/ADocHelper.h"
#include "PlastraHelper/AGraphixHelper.h"
#include "PlastraHelper/AMiscHelper.h"
#include "PlastraHelper/AWinHelper.h"
#include "PlastraHelper/AWinPulldownHelper.h"
#include "PlastraHelper/Plastra4Helper.h"
#include "PlastraHelper/YFunctionsHelper.h"
#include "SimulatedHost.h"

using simhost::Host4;

namespace {

class Plastra4HelperTest : public ::testing::Test {
protected:
    void TearDown() override { YFunctionsHelper::setFuncTable(nullptr); }
};

}  // namespace

// The root is found through the active view; names come from the command state, then the text.
TEST_F(Plastra4HelperTest, InitFindsTheRootAndTheNames) {
    Host4 host;
    AWin* root = host.window("Root");
    AWin* palette = host.window("Palette", root, "Text");
    AWin* view = host.window("View", palette);
    AWin* textOnly = host.window(nullptr, root, "Label");
    AWin* emptyName = host.window("", root, "Fallback");
    AWin* none = host.window(nullptr, root);
    host.setActiveView(view);
    Plastra4Helper::init(host.hostData());
    EXPECT_EQ(Plastra4Helper::s_rootWindow, root);
    EXPECT_EQ(Plastra4Helper::getParentWindow(view), palette);
    EXPECT_EQ(Plastra4Helper::getWindowChildIndex(root), -1);
    EXPECT_STREQ(Plastra4Helper::getWindowName(palette), "Palette");
    EXPECT_STREQ(Plastra4Helper::getWindowName(textOnly), "Label");
    EXPECT_STREQ(Plastra4Helper::getWindowName(emptyName), "Fallback");
    EXPECT_EQ(Plastra4Helper::getWindowName(none), nullptr);
    EXPECT_EQ(Plastra4Helper::getWindowFromPath(root, "label"), textOnly);

    Plastra4Helper::init(nullptr);
    EXPECT_EQ(Plastra4Helper::s_rootWindow, nullptr);
    EXPECT_EQ(AWinHelper::getFuncTable(), nullptr);
    EXPECT_EQ(Plastra4Helper::getParentWindow(view), nullptr);  // no table: nothing is called
}

// Missing sub-tables and entries are skipped, never called.
TEST_F(Plastra4HelperTest, MissingTablesAndEntriesAnswerNothing) {
    Host4 host;
    AWin* root = host.window("Root");
    AWin* a = host.window("A", root);
    AWin* b = host.window("B", root);
    host.setActiveView(b);

    host.dropEntry(0, 8);  // AGraphix getParentWindow
    Plastra4Helper::init(host.hostData());
    EXPECT_EQ(Plastra4Helper::getParentWindow(a), nullptr);
    EXPECT_EQ(Plastra4Helper::s_rootWindow, a);  // only the previous links can be climbed

    Host4 bare;
    AWin* r = bare.window("R");
    bare.setActiveView(r);
    bare.dropSubTable(2);  // no document table: no view, no root
    Plastra4Helper::init(bare.hostData());
    EXPECT_EQ(Plastra4Helper::s_rootWindow, nullptr);
    EXPECT_EQ(ADocHelper::getActiveView(nullptr), nullptr);
    EXPECT_EQ(ADocHelper::getLayersCount(nullptr), 0);
    EXPECT_EQ(ADocHelper::getMaxZ(nullptr), 0.0f);
    AMiscHelper::startDebug();  // an absent entry of a present table
    EXPECT_EQ(ADocHelper::getBackgroundColor(nullptr), 0ul);

    Plastra4Helper::init(host.hostData());
    host.dropSubTable(1);  // without the window table no window has a graphic object
    Plastra4Helper::init(host.hostData());
    EXPECT_EQ(Plastra4Helper::getWindowChildIndex(b), -1);
    Plastra4Helper::moveWindow(b, root, 0);  // links cannot be read or set: the tree stays
    EXPECT_EQ(host.children(root), (std::vector<AWin*>{a, b}));
}

TEST_F(Plastra4HelperTest, GraphixHelperKeepsTheFirstTableItReplaced) {
    const AGraphixFuncTable first{};
    const AGraphixFuncTable second{};
    const AGraphixFuncTable third{};
    AGraphixHelper::setFuncTable(&first);
    AGraphixHelper::setFuncTable(&second);
    const AGraphixFuncTable* kept = AGraphixHelper::getReplacedFuncTable();
    ASSERT_NE(kept, nullptr);
    AGraphixHelper::setFuncTable(&third);
    AGraphixHelper::setFuncTable(nullptr);
    EXPECT_EQ(AGraphixHelper::getReplacedFuncTable(), kept);
    EXPECT_EQ(AGraphixHelper::getFuncTable(), nullptr);
}

