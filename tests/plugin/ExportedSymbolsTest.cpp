// The module exports its commands and nothing of the support code.
#include <gtest/gtest.h>

#include <fstream>
#include <regex>
#include <set>
#include <string>

#include "CommandTable.h"
#include "PluginHost.h"
#include "native/KVModuleSymbols.h"

TEST(ExportedSymbols, ModuleLoadsFromTheHostFolder) {
    PluginHost& host = sharedPluginHost();
    ASSERT_TRUE(host.isLoaded()) << host.getError();
    EXPECT_EQ(host.getModulePath(), PluginHost::executableFolder() + "/Trimora.so");
}

TEST(ExportedSymbols, EveryExportedSymbolIsACommand) {
    std::vector<std::string> names;
    ASSERT_TRUE(KVModuleSymbols::listExportedDefinedSymbols(sharedPluginHost().getModulePath(), names));
    ASSERT_FALSE(names.empty());
    for (const std::string& name : names) EXPECT_TRUE(plug::isCommandName(name.c_str())) << "stray export: " << name;
}

TEST(ExportedSymbols, EveryExportedCommandIsCallableByName) {
    std::vector<std::string> names;
    ASSERT_TRUE(KVModuleSymbols::listExportedDefinedSymbols(sharedPluginHost().getModulePath(), names));
    for (const std::string& name : names) EXPECT_NE(sharedPluginHost().find(name.c_str()), nullptr) << name;
    // The frame's own commands must be there from the start.
    EXPECT_NE(sharedPluginHost().find("SetTrimoraAppPath"), nullptr);
    EXPECT_NE(sharedPluginHost().find("GetDefaultNumThreads"), nullptr);
}

TEST(ExportedSymbols, ExportListNamesExactlyTheCommandTable) {
    std::ifstream map(std::string(TRIMORA_SOURCE_DIR) + "/plugin/Trimora.map");
    ASSERT_TRUE(map);
    std::set<std::string> listed;
    const std::regex entry(R"(^\s*([A-Za-z_][A-Za-z0-9_]*);\s*$)");
    std::string line;
    std::smatch m;
    while (std::getline(map, line))
        if (std::regex_match(line, m, entry)) listed.insert(m[1]);
    const std::set<std::string> table(std::begin(plug::kCommandNames), std::end(plug::kCommandNames));
    EXPECT_EQ(table.size(), plug::kCommandCount);
    EXPECT_EQ(listed, table);
}

TEST(ExportedSymbols, EveryCommandOfTheTableIsExported) {
    std::vector<std::string> names;
    ASSERT_TRUE(KVModuleSymbols::listExportedDefinedSymbols(sharedPluginHost().getModulePath(), names));
    const std::set<std::string> exported(names.begin(), names.end());
    for (const char* name : plug::kCommandNames) EXPECT_EQ(exported.count(name), 1u) << "not exported: " << name;
    EXPECT_EQ(exported.size(), plug::kCommandCount);
}
