// Lists the symbols a built module exports, read from the module file itself.
#pragma once

#include <string>
#include <vector>

namespace KVModuleSymbols {

// Names of the functions and data that the module at `path` defines and exports dynamically.
// False when the file cannot be read or is not a module of this platform's format.
bool listExportedDefinedSymbols(const std::string& path, std::vector<std::string>& names);

}  // namespace KVModuleSymbols
