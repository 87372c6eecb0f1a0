// PlastraHelper: version classes, binding by build, texture, utility and window tree edits.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <string>

#include "PlastraHelper/KVInfoMsg.h"
#include "PlastraHelper/PlastraHelper.h"
#include "SimulatedHost.h"

using simhost::Host3;

namespace {

class PlastraHelperTest : public ::testing::Test {
protected:
    void TearDown() override {
        PlastraHelper::s_version = 0;
        PlastraHelper::clear();
    }
};

YWin* yw(void* p) { return static_cast<YWin*>(p); }

// A host with a small tree whose active view is `view`.
struct Tree {
    explicit Tree(const simhost::BuildLayout& layout) : host(layout) {
        root = host.window("Root");
        a = host.window("A", root);
        b = host.window("B", root);
        c = host.window("C", root);
        view = host.window("View", b);
        host.setActiveView(view);
        host.setUtility(true);
    }
    Host3 host;
    void *root, *a, *b, *c, *view;
};

std::vector<void*> order(const Host3& host, void* parent) { return host.children(parent); }

}  // namespace

TEST_F(PlastraHelperTest, VersionClasses) {
    const struct {
        double version;
        int answer, versionClass;
    } rows[] = {{3.095, 309, 1}, {3.1, 310, 310}, {3.11, 311, 310}, {3.12, 312, 312}, {3.2, 320, 320},
                {3.5, 350, 350},  {3.55, 355, 400}, {4.04, 404, 400}, {4.05, 405, 401}};
    for (const auto& r : rows) {
        EXPECT_EQ(PlastraHelper::setVersion(r.version), r.answer) << r.version;
        EXPECT_EQ(PlastraHelper::s_version, r.versionClass) << r.version;
    }
}

TEST_F(PlastraHelperTest, InitBindsOnlyForKnownVersionClasses) {
    Tree t(simhost::kBuild312B46);
    PlastraHelper::init(t.host.hostData());  // class 0: nothing but the reset
    EXPECT_FALSE(PlastraHelper::s_docIsValid);
    PlastraHelper::setVersion(4.1);
    PlastraHelper::init(t.host.hostData());
    EXPECT_FALSE(PlastraHelper::s_docIsValid);

    PlastraHelper::setVersion(4.0);
    PlastraHelper::init(t.host.hostData());
    EXPECT_TRUE(PlastraHelper::s_docIsValid);
    EXPECT_EQ(PlastraHelper::s_docWrapper, &YDocWrapper312B46::instance());
    EXPECT_EQ(PlastraHelper::s_rootWindow, t.root);
    EXPECT_TRUE(PlastraHelper::s_utilityIsValid);
    PlastraHelper::init(nullptr);
    EXPECT_FALSE(PlastraHelper::s_docIsValid);

    const int shown = KVInfoMsg::getMessageCount();
    PlastraHelper::setVersion(3.0);
    PlastraHelper::init(t.host.hostData());
    EXPECT_EQ(KVInfoMsg::getMessageCount(), shown + 1);
    EXPECT_STREQ(KVInfoMsg::getLastMessage().c_str(),
                 "Error: Plastra version is too old.\nTrimora requires at least Plastra 3.1 to work!");
    EXPECT_FALSE(PlastraHelper::s_docIsValid);
}

// Hosts 3.12 to 3.2 are probed build after build; the first whose positions fit wins. B46 shares
// B43's positions, so B43 binds it; with no view no build binds.
TEST_F(PlastraHelperTest, Class312ProbesTheBuildsInOrder) {
    PlastraHelper::setVersion(3.12);
    const struct {
        const simhost::BuildLayout& layout;
        bool view;
        YDocWrapper* bound;
    } rows[] = {{simhost::kBuild312B27, true, &YDocWrapper312B27::instance()},
                {simhost::kBuild312, true, &YDocWrapper312::instance()},
                {simhost::kBuild312B46, true, &YDocWrapper312B43::instance()},
                {simhost::kBuild312B46, false, nullptr}};
    for (const auto& r : rows) {
        SCOPED_TRACE(r.layout.name);
        Tree t(r.layout);
        if (!r.view) t.host.setActiveView(nullptr);
        PlastraHelper::init(t.host.hostData());
        EXPECT_EQ(PlastraHelper::s_docIsValid, r.bound != nullptr);
        if (r.bound) {
            EXPECT_EQ(PlastraHelper::s_docWrapper, r.bound);
        }
        if (r.bound == &YDocWrapper312B43::instance()) {
            EXPECT_FALSE(PlastraHelper::s_utilityIsValid);
        }
    }
}

// The texture holder is read where each build keeps it: 16.16 sizes (B46 adds 0.2 and truncates);
// no pixels or no holder leave it invalid; B43's holder layout is not known and never read.
TEST_F(PlastraHelperTest, TextureDescriptorPerBuild) {
    const struct {
        const simhost::BuildLayout& layout;
        bool (*init)(char**);
        std::uint64_t pixels;
        float w, h;
        int dim1, dim2;
        bool valid;
    } rows[] = {{simhost::kBuild31, &PlastraHelper::init31, 0x123456789abcULL, 1024.75f, 512.0f, 1024, 512, true},
                {simhost::kBuild312B46, &PlastraHelper::init312B46, 0xfeedULL, 2047.9f, 99.85f, 2048, 100, true},
                {simhost::kBuild312B46, &PlastraHelper::init312B46, 0, 3.0f, 4.0f, 0, 0, false},
                {simhost::kBuild312B43, &PlastraHelper::init312B43, 0xfeedULL, 3.0f, 4.0f, 0, 0, false}};
    for (const auto& r : rows) {
        SCOPED_TRACE(r.layout.name);
        PlastraHelper::clear();
        Tree t(r.layout);
        t.host.setTexture(r.pixels, 4096, 32, r.w, r.h);
        ASSERT_TRUE(r.init(t.host.hostData()));
        ASSERT_EQ(PlastraHelper::s_textureIsValid, r.valid);
        if (r.valid) {
            EXPECT_EQ(PlastraHelper::s_textureBitmap.pixels, r.pixels);
            EXPECT_EQ(PlastraHelper::s_textureBitmap.field1, 4096);
            EXPECT_EQ(PlastraHelper::s_textureBitmap.field2, 32);
            EXPECT_EQ(PlastraHelper::s_textureBitmap.dim1, r.dim1);
            EXPECT_EQ(PlastraHelper::s_textureBitmap.dim2, r.dim2);
        }
        if (r.init == &PlastraHelper::init31) {
            EXPECT_FALSE(PlastraHelper::s_utilityIsValid);  // 3.1 has no utility entry
        }
    }
    PlastraHelper::clear();
    Tree t(simhost::kBuild312B46);
    t.host.setTexture(0xfeedULL, 1, 2, 3.0f, 4.0f);
    ASSERT_TRUE(PlastraHelper::initDoc(t.host.hostData()));
    EXPECT_FALSE(PlastraHelper::s_textureIsValid);  // initDoc binds the document only
    t.host.hostData()[6] = nullptr;  // no holder at all
    EXPECT_TRUE(PlastraHelper::init312B46(t.host.hostData()));
    EXPECT_FALSE(PlastraHelper::s_textureIsValid);
}

TEST_F(PlastraHelperTest, RunYScriptGoesThroughTheUtilityEntry) {
    EXPECT_FALSE(PlastraHelper::runYScript("no host"));
    Tree t(simhost::kBuild312B46);
    t.host.setUtility(false);
    EXPECT_FALSE(PlastraHelper::init312B46(t.host.hostData()));  // B46 needs its utility entry
    EXPECT_TRUE(PlastraHelper::s_docIsValid);
    EXPECT_FALSE(PlastraHelper::runYScript("x"));

    t.host.setUtility(true);
    PlastraHelper::setVersion(3.5);
    PlastraHelper::init(t.host.hostData());
    simhost::utilityCalls().clear();
    simhost::g_utilityAnswer = 0;
    EXPECT_TRUE(PlastraHelper::runYScript("[IPress, Tool:Export]"));
    simhost::g_utilityAnswer = 3;
    EXPECT_FALSE(PlastraHelper::runYScript(""));
    simhost::g_utilityAnswer = 0;
    ASSERT_EQ(simhost::utilityCalls().size(), 2u);
    const simhost::UtilityCall& call = simhost::utilityCalls()[0];
    EXPECT_EQ(call.command, 7);
    EXPECT_EQ(call.a, 0);
    EXPECT_EQ(call.b, 0);
    EXPECT_EQ(call.c, 0);
    EXPECT_EQ(call.text, "[IPress, Tool:Export]");
    EXPECT_EQ(call.version, 3.12f);
    EXPECT_EQ(simhost::utilityCalls()[1].text, "");
    EXPECT_FALSE(YUtilWrapper312B46::instance().runYScript(nullptr, "x"));
}

TEST_F(PlastraHelperTest, PathSearchIgnoresCaseAndLooksInsideUnnamedWindowsAndMenus) {
    bool (*const inits[5])(char**) = {&PlastraHelper::init31, &PlastraHelper::init312, &PlastraHelper::init312B27,
                                      &PlastraHelper::init312B43, &PlastraHelper::init312B46};
    for (int i = 0; i < 5; ++i) {
        const simhost::BuildLayout* layout = simhost::kAllBuilds[i];
        SCOPED_TRACE(layout->name);
        Tree t(*layout);
        Host3& h = t.host;
        void* group = h.window(nullptr, t.a);
        void* target = h.window("Target", group);
        void* deep = h.window("Deep", target);
        void* loose = h.window("Loose");
        void* attached = h.window("Attached", t.root);
        void* menu = h.pulldown("Menu", t.c, {loose, attached});
        h.window("Inner", menu);
        PlastraHelper::clear();
        ASSERT_TRUE(inits[i](h.hostData()));
        YWin* root = PlastraHelper::s_rootWindow;
        ASSERT_EQ(root, t.root);
        EXPECT_EQ(PlastraHelper::getWindowFromPath(root, ""), root);
        EXPECT_EQ(PlastraHelper::getWindowFromPath(root, "a:target"), target);
        EXPECT_EQ(PlastraHelper::getWindowFromPath(root, "A:TARGET:deep"), deep);
        EXPECT_EQ(PlastraHelper::getWindowFromPath(root, "target"), nullptr);  // not a child of the root
        EXPECT_EQ(PlastraHelper::getWindowFromPath(root, "b:view"), t.view);
        EXPECT_EQ(PlastraHelper::getWindowFromPath(root, "C:Menu:loose"), loose);
        // A menu item that has a parent window is not one of the menu's items.
        EXPECT_EQ(PlastraHelper::getWindowFromPath(root, "C:Menu:Attached"), nullptr);
        // A menu is searched through its items only, also when its count reads negative.
        EXPECT_EQ(PlastraHelper::getWindowFromPath(root, "C:Menu:Inner"), nullptr);
        const std::int32_t negative = -1;
        std::memcpy(static_cast<char*>(menu) + layout->pulldownCount, &negative, sizeof negative);
        EXPECT_EQ(PlastraHelper::getWindowFromPath(root, "C:Menu:Inner"), nullptr);
        EXPECT_EQ(PlastraHelper::getWindowFromPath(root, "C:Menu:loose"), nullptr);
        EXPECT_EQ(PlastraHelper::getWindowFromPath(root, "A:Missing"), nullptr);
        EXPECT_EQ(PlastraHelper::getWindowFromPath(nullptr, "A"), nullptr);
        PlastraHelper::clear();
    }
}

TEST_F(PlastraHelperTest, ChildIndexAndDisconnect) {
    Tree t(simhost::kBuild312);
    ASSERT_TRUE(PlastraHelper::init312(t.host.hostData()));
    EXPECT_EQ(PlastraHelper::getWindowChildIndex(yw(t.root)), -1);
    EXPECT_EQ(PlastraHelper::getWindowChildIndex(yw(t.a)), 0);
    EXPECT_EQ(PlastraHelper::getWindowChildIndex(yw(t.c)), 2);
    EXPECT_EQ(PlastraHelper::getWindowChildIndex(nullptr), -1);
    EXPECT_EQ(PlastraHelper::getRootWindow(yw(t.view)), t.root);

    EXPECT_FALSE(PlastraHelper::disconnectWindow(yw(t.root)));
    EXPECT_TRUE(PlastraHelper::disconnectWindow(yw(t.a)));  // the first child
    EXPECT_EQ(order(t.host, t.root), (std::vector<void*>{t.b, t.c}));
    EXPECT_TRUE(PlastraHelper::disconnectWindow(yw(t.c)));  // the last child
    EXPECT_EQ(order(t.host, t.root), (std::vector<void*>{t.b}));
    EXPECT_EQ(t.host.linkErrors(t.root), "");
    EXPECT_EQ(t.host.parent(t.a), nullptr);
    EXPECT_EQ(t.host.next(t.a), nullptr);
    EXPECT_EQ(t.host.child(t.b), t.view);  // its own children stay
    EXPECT_FALSE(PlastraHelper::disconnectWindow(yw(t.a)));
}

TEST_F(PlastraHelperTest, MoveWindowAtTheEdges) {
    Tree t(simhost::kBuild312B27);
    ASSERT_TRUE(PlastraHelper::init312B27(t.host.hostData()));
    Host3& h = t.host;
    auto kids = [&] { return order(h, t.root); };

    EXPECT_FALSE(PlastraHelper::moveWindow(yw(t.a), yw(t.root), 0));  // already first
    EXPECT_FALSE(PlastraHelper::moveWindow(yw(t.a), yw(t.root), 1));  // index 1 names a itself
    EXPECT_FALSE(PlastraHelper::moveWindow(yw(t.b), yw(t.root), 1));  // already after a
    EXPECT_EQ(kids(), (std::vector<void*>{t.a, t.b, t.c}));

    EXPECT_TRUE(PlastraHelper::moveWindow(yw(t.c), yw(t.root), 0));
    EXPECT_EQ(kids(), (std::vector<void*>{t.c, t.a, t.b}));
    EXPECT_EQ(h.linkErrors(t.root), "");
    EXPECT_TRUE(PlastraHelper::moveWindow(yw(t.c), yw(t.root), 99));  // past the end: last
    EXPECT_EQ(kids(), (std::vector<void*>{t.a, t.b, t.c}));
    EXPECT_TRUE(PlastraHelper::moveWindow(yw(t.a), yw(t.root), 2));
    EXPECT_EQ(kids(), (std::vector<void*>{t.b, t.a, t.c}));
    EXPECT_EQ(h.linkErrors(t.root), "");

    void* empty = h.window("Empty", t.root);
    EXPECT_TRUE(PlastraHelper::moveWindow(yw(t.b), yw(empty), 5));  // into a parent without children
    EXPECT_EQ(order(h, empty), (std::vector<void*>{t.b}));
    EXPECT_EQ(kids(), (std::vector<void*>{t.a, t.c, empty}));
    EXPECT_TRUE(PlastraHelper::moveWindow(yw(t.a), yw(empty), -3));  // before the first
    EXPECT_EQ(order(h, empty), (std::vector<void*>{t.a, t.b}));
    EXPECT_EQ(h.linkErrors(t.root), "");
    EXPECT_FALSE(PlastraHelper::moveWindow(nullptr, yw(empty), 0));
    EXPECT_FALSE(PlastraHelper::moveWindow(yw(t.a), nullptr, 0));
}

TEST_F(PlastraHelperTest, WindowTextThroughTheBoundWrapper) {
    Tree t(simhost::kBuild31);
    PlastraHelper::setWindowText(yw(t.a), "unbound");  // nothing bound: nothing written
    EXPECT_EQ(t.host.textRecord(t.a), nullptr);
    ASSERT_TRUE(PlastraHelper::init31(t.host.hostData()));
    void* model = t.host.window("Model", nullptr, "m");
    EXPECT_TRUE(PlastraHelper::createWindowText(yw(t.a), yw(model)));
    PlastraHelper::setWindowText(yw(t.a), std::string(256, 'z').c_str());
    EXPECT_EQ(t.host.textChars(t.a), std::string(255, 'z'));

    PlastraHelper::initProgressBar2(yw(t.a), yw(model));
    PlastraHelper::setProgressBarText(yw(t.a), "Working");
    EXPECT_EQ(t.host.textChars(model), "Working");
    PlastraHelper::setProgressBarPercentage(yw(t.a), 42.4);
    EXPECT_EQ(t.host.textChars(t.a), "42%");
}
