// The module exports its commands and nothing of the support code.
#include <gtest/gtest.h>

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
    EXPECT_EQ(table.size(), plug::kCommandCount);  // no name twice in the table
    for (const char* name : plug::kCommandNames) EXPECT_NE(sharedPluginHost().find(name), nullptr) << name;
}
