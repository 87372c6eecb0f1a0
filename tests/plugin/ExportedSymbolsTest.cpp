// The module exports its commands and nothing of the support code.
#include <gtest/gtest.h>

#include <fstream>
#include <regex>
#include <set>
#include <string>

#include "CommandTable.h"
#include "PluginHost.h"
#include "native/KVModuleSymbols.h"

TEST(ExportedSymbols, ExactlyTheCommandTableIsExported) {
    std::vector<std::string> names;
    ASSERT_TRUE(KVModuleSymbols::listExportedDefinedSymbols(sharedPluginHost().getModulePath(), names));
    const std::set<std::string> exported(names.begin(), names.end());
    const std::set<std::string> table(std::begin(plug::kCommandNames), std::end(plug::kCommandNames));
    EXPECT_EQ(exported, table);
    EXPECT_EQ(table.size(), plug::kCommandCount);
    for (const char* name : plug::kCommandNames) EXPECT_NE(sharedPluginHost().find(name), nullptr) << name;
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
    EXPECT_EQ(listed, std::set<std::string>(std::begin(plug::kCommandNames), std::end(plug::kCommandNames)));
}

