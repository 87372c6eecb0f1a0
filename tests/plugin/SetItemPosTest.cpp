// SetItemPos through the loaded module, on a simulated host's window tree and function tables.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <utility>
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

// The offset is biased away from zero and truncated; past the end means last; an item asked to
// stay where it is (the first child at index 1 included) still answers 0.
TEST_F(SetItemPosTest, OffsetIsBiasedAwayFromZeroAndCountsFromTheReference) {
    const struct {
        const char* item;
        double value;
        const char* reference;
        Names order;
    } rows[] = {{"Tool:Smooth", 0.0, "Tool:Brush", {"Smooth", "Brush", "Move"}},  // the reference's index
                {"Tool:Smooth", 0.9, "Tool:Move", {"Brush", "Move", "Smooth"}},   // 1.1 truncates to 1
                {"Tool:Smooth", -1.0, "Tool:Move", {"Smooth", "Brush", "Move"}},
                {"Tool:Move", -0.9, "Tool:Brush", {"Move", "Smooth", "Brush"}},   // -1.1 truncates to -1
                {"Tool:Move", 5.0, "Tool:Brush", {"Smooth", "Brush", "Move"}},
                {"Tool:Move", 1.0, "Tool:Smooth", {"Smooth", "Move", "Brush"}},
                {"Tool:Move", 0.0, "Tool:Move", {"Smooth", "Move", "Brush"}},
                {"Tool:Smooth", 1.0, "Tool:Smooth", {"Smooth", "Move", "Brush"}}};
    for (const auto& r : rows) {
        EXPECT_EQ(move(r.item, r.value, r.reference), 0.0f) << r.item << " " << r.value << " " << r.reference;
        EXPECT_EQ(host.childNames(tool), r.order) << r.item << " " << r.value << " " << r.reference;
    }
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
    // "" is the root, which has no parent; paths start at the root.
    for (const auto& r : {std::make_pair("Tool:Missing", "Tool:Brush"), std::make_pair("Tool:Brush", "Tool:Missing"),
                          std::make_pair("Tool:Brush", ""), std::make_pair("Brush", "Tool:Move"),
                          std::make_pair("Tool:Brush:Deeper", "Tool:Move")})
        EXPECT_EQ(move(r.first, 0.0, r.second), -1.0f) << r.first << " " << r.second;
    EXPECT_EQ(host.childNames(tool), (Names{"Brush", "Move", "Smooth"}));
    EXPECT_EQ(sharedPluginHost().call("SetItemPos", "Tool:Brush", 0.0, nullptr, 0, nullptr, 0, host.hostData()),
              -1.0f);
    EXPECT_EQ(sharedPluginHost().call("SetItemPos", "Tool:Brush", 0.0, nullptr, 0, nullptr, 0, nullptr), -1.0f);
    EXPECT_EQ(host.linkErrors(root), "");
}

TEST_F(SetItemPosTest, MissingTablesFindNothing) {
    host.dropSubTable(0);  // no graphic-object table: no links can be read
    EXPECT_EQ(move("Tool:Smooth", 0.0, "Tool:Brush"), -1.0f);
    EXPECT_EQ(host.childNames(tool), (Names{"Brush", "Move", "Smooth"}));
}
