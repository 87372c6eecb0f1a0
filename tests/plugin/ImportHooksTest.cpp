// The import-time hooks through the loaded module.
#include <gtest/gtest.h>

#include "SimulatedHost.h"
#include "PluginHost.h"

TEST(ImportHooks, UvHooksAnswerZeroWhateverTheyAreGiven) {
    char out[8] = "keep";
    EXPECT_EQ(sharedPluginHost().call("BeforeGetMeshUVInfo"), 0.0f);
    EXPECT_EQ(sharedPluginHost().call("AfterGetMeshUVInfo", "x", 5.0, out, 8, out, 8, nullptr), 0.0f);
    EXPECT_STREQ(out, "keep");
}

// The module is never told the host's version, so it binds no mesh and leaves the host's import
// scale and offset exactly as they are.
TEST(ImportHooks, UnversionedBridgeLeavesTheHostMeshAlone) {
    simhost::Host3 host(simhost::kBuild312B46);
    host.setActiveView(host.window("Root"));
    host.setUtility(true);
    simhost::Mesh mesh;
    mesh.scale[0] = 2.0f;
    mesh.scale[1] = 0.0f;
    mesh.offset[2] = 3.0f;
    host.setMesh(mesh);
    EXPECT_EQ(sharedPluginHost().call("SaveAndClearImportedScaleFactorAndOffset", nullptr, 0, nullptr, 0, nullptr, 0,
                                      host.hostData()),
              0.0f);
    EXPECT_EQ(host.meshScale(), (std::vector<float>{2, 0, 1}));
    EXPECT_EQ(host.meshOffset(), (std::vector<float>{0, 0, 3}));
    EXPECT_EQ(sharedPluginHost().call("RestoreImportedScaleFactorAndOffset", nullptr, 0, nullptr, 0, nullptr, 0,
                                      host.hostData()),
              0.0f);
    EXPECT_EQ(host.meshScale(), (std::vector<float>{2, 0, 1}));
    EXPECT_EQ(sharedPluginHost().call("SaveAndClearImportedScaleFactorAndOffset"), 0.0f);
}
