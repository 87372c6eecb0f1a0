// SetItemPos through the loaded module, on a simulated host's window tree and function tables.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "SimulatedHost.h"
#include "PluginHost.h"

using simhost::Host4;
using Names = std::vector<std::string>;

namespace {

// Root
//   Tool: Brush, Move, Smooth
//   (unnamed): Zoom: In, Out
//   Menu (pull-down): Open, Save (items without a parent window)
//   View (the active view)
class SetItemPosTest : public ::testing::Test {
protected:
    SetItemPosTest() {
        root = host.window("Root");
        tool = host.window("Tool", root);
        host.window("Brush", tool);
        host.window("Move", tool);
        host.window("Smooth", tool);
        AWin* group = host.window(nullptr, root);
        zoom = host.window("Zoom", group);
        host.window("In", zoom);
        host.window("Out", zoom);
        host.pulldown("Menu", root, {host.window("Open"), host.window("Save")});
        host.setActiveView(host.window("View", root));
    }

    float move(const char* item, double value, const char* reference) {
        std::vector<char> ref(reference, reference + std::strlen(reference) + 1);
        return sharedPluginHost().call("SetItemPos", item, value, ref.data(), static_cast<int>(ref.size()), nullptr,
                                       0, host.hostData());
    }

    Host4 host;
    AWin* root;
    AWin* tool;
    AWin* zoom;
};

}  // namespace

TEST_F(SetItemPosTest, OffsetIsBiasedAwayFromZero) {
    EXPECT_EQ(move("Tool:Smooth", 0.0, "Tool:Brush"), 0.0f);  // takes the reference's index
    EXPECT_EQ(host.childNames(tool), (Names{"Smooth", "Brush", "Move"}));
    EXPECT_EQ(move("Tool:Smooth", 0.9, "Tool:Move"), 0.0f);  // 1.1 truncates to 1
    EXPECT_EQ(host.childNames(tool), (Names{"Brush", "Move", "Smooth"}));
    EXPECT_EQ(move("Tool:Smooth", -1.0, "Tool:Move"), 0.0f);  // one place before the reference
    EXPECT_EQ(host.childNames(tool), (Names{"Smooth", "Brush", "Move"}));
    EXPECT_EQ(move("Tool:Move", -0.9, "Tool:Brush"), 0.0f);  // -1.1 truncates to -1
    EXPECT_EQ(host.childNames(tool), (Names{"Move", "Smooth", "Brush"}));
    EXPECT_EQ(move("Tool:Move", 5.0, "Tool:Brush"), 0.0f);  // past the end: last
    EXPECT_EQ(host.childNames(tool), (Names{"Smooth", "Brush", "Move"}));
    EXPECT_EQ(move("Tool:Move", 1.0, "Tool:Smooth"), 0.0f);
    EXPECT_EQ(host.childNames(tool), (Names{"Smooth", "Move", "Brush"}));
    EXPECT_EQ(host.linkErrors(root), "");
}

TEST_F(SetItemPosTest, PathsIgnoreCaseAndSearchUnnamedWindowsAndMenus) {
    EXPECT_EQ(move("zoom:OUT", 1.0, "TOOL:brush"), 0.0f);
    EXPECT_EQ(host.childNames(tool), (Names{"Brush", "Out", "Move", "Smooth"}));
    EXPECT_EQ(host.childNames(zoom), (Names{"In"}));
    EXPECT_EQ(host.parent(host.children(tool)[1]), tool);

    EXPECT_EQ(move("Menu:Save", 0.0, "Zoom:In"), 0.0f);  // a pull-down item joins a window
    EXPECT_EQ(host.childNames(zoom), (Names{"Save", "In"}));
    EXPECT_EQ(host.linkErrors(root), "");
}

TEST_F(SetItemPosTest, UnknownPathsAnswerMinusOneAndMoveNothing) {
    EXPECT_EQ(move("Tool:Missing", 0.0, "Tool:Brush"), -1.0f);
    EXPECT_EQ(move("Tool:Brush", 0.0, "Tool:Missing"), -1.0f);
    EXPECT_EQ(move("Tool:Brush", 0.0, ""), -1.0f);  // the root has no parent
    EXPECT_EQ(move("Brush", 0.0, "Tool:Move"), -1.0f);  // paths start at the root
    EXPECT_EQ(move("Tool:Brush:Deeper", 0.0, "Tool:Move"), -1.0f);
    EXPECT_EQ(host.childNames(tool), (Names{"Brush", "Move", "Smooth"}));
    EXPECT_EQ(sharedPluginHost().call("SetItemPos", "Tool:Brush", 0.0, nullptr, 0, nullptr, 0, host.hostData()),
              -1.0f);
    EXPECT_EQ(sharedPluginHost().call("SetItemPos", "Tool:Brush", 0.0, nullptr, 0, nullptr, 0, nullptr), -1.0f);
    EXPECT_EQ(host.linkErrors(root), "");
}

TEST_F(SetItemPosTest, ItemAlreadyInPlaceStillAnswersZero) {
    EXPECT_EQ(move("Tool:Move", 0.0, "Tool:Move"), 0.0f);
    EXPECT_EQ(move("Tool:Brush", 0.0, "Tool:Brush"), 0.0f);
    // The first child asked for index 1 counts as in place: the slot after it is its own.
    EXPECT_EQ(move("Tool:Brush", 1.0, "Tool:Brush"), 0.0f);
    EXPECT_EQ(host.childNames(tool), (Names{"Brush", "Move", "Smooth"}));
}

TEST_F(SetItemPosTest, MissingTablesFindNothing) {
    host.dropSubTable(0);  // no graphic-object table: no links can be read
    EXPECT_EQ(move("Tool:Smooth", 0.0, "Tool:Brush"), -1.0f);
    EXPECT_EQ(host.childNames(tool), (Names{"Brush", "Move", "Smooth"}));
}
