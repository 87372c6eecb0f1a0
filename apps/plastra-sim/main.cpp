// plastra-sim: a host simulator that loads Trimora.so and runs host-script flows through its commands.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "DecimateFlow.h"
#include "PluginModule.h"
#include "native/KVModuleSymbols.h"

namespace {

void usage(FILE* out) {
    std::fprintf(out,
                 "usage: plastra-sim commands\n"
                 "       plastra-sim call NAME [--text T] [--value V]\n"
                 "       plastra-sim demo\n"
                 "       plastra-sim decimate [INPUT.obj] [-o OUTPUT.obj] [--percent P | --vertices N] [options]\n"
                 "       plastra-sim decimate --help\n");
}

int listCommands(const PluginModule& plugin) {
    const std::vector<std::string> names = plugin.commands();
    for (const std::string& name : names) std::printf("%s\n", name.c_str());
    // Anything else the module exports is a fault of the build: say so.
    std::vector<std::string> exported;
    if (KVModuleSymbols::listExportedDefinedSymbols(plugin.path(), exported)) {
        for (const std::string& name : exported) {
            bool known = false;
            for (const std::string& command : names) known = known || command == name;
            if (!known) std::fprintf(stderr, "warning: unexpected export %s\n", name.c_str());
        }
    }
    std::fprintf(stderr, "%zu commands exported by %s\n", names.size(), plugin.path().c_str());
    return 0;
}

int callCommand(const PluginModule& plugin, int argc, char** argv) {
    if (argc < 3) {
        usage(stderr);
        return 2;
    }
    const char* name = argv[2];
    std::string text;
    bool hasText = false;
    double value = 0.0;
    for (int i = 3; i < argc; ++i) {
        if (std::strcmp(argv[i], "--text") == 0 && i + 1 < argc) {
            text = argv[++i];
            hasText = true;
        } else if (std::strcmp(argv[i], "--value") == 0 && i + 1 < argc) {
            char* end = nullptr;
            value = std::strtod(argv[++i], &end);
            if (end == argv[i] || *end != '\0') {
                std::fprintf(stderr, "plastra-sim: --value needs a number, not '%s'\n", argv[i]);
                return 2;
            }
        } else {
            std::fprintf(stderr, "plastra-sim: unknown argument '%s'\n", argv[i]);
            usage(stderr);
            return 2;
        }
    }
    PlugCall command = plugin.find(name);
    if (command == nullptr) {
        std::fprintf(stderr, "plastra-sim: the plug-in exports no command %s\n", name);
        return 1;
    }
    // The host hands scripts' memory blocks to every call; give the command room for its answers.
    std::vector<char> textBuf(text.begin(), text.end());
    textBuf.push_back('\0');
    std::vector<char> out1(64 * 1024, 0), out2(64 * 1024, 0);
    const float result = command(hasText ? textBuf.data() : nullptr, value, out1.data(), static_cast<int>(out1.size()),
                                 out2.data(), static_cast<int>(out2.size()), nullptr);
    std::printf("%s -> %g\n", name, static_cast<double>(result));
    return 0;
}

int demo(const PluginModule& plugin) {
    std::printf("Plug-in: %s\n", plugin.path().c_str());
    const std::vector<std::string> names = plugin.commands();
    std::printf("Commands exported: %zu\n", names.size());
    for (const std::string& name : names) std::printf("  %s\n", name.c_str());
    PlugCall threads = plugin.find("GetDefaultNumThreads");
    if (threads == nullptr) {
        std::fprintf(stderr, "plastra-sim: GetDefaultNumThreads is missing\n");
        return 1;
    }
    const float n = threads(nullptr, 0.0, nullptr, 0, nullptr, 0, nullptr);
    std::printf("GetDefaultNumThreads -> %g\n", static_cast<double>(n));
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 2 || std::strcmp(argv[1], "--help") == 0 || std::strcmp(argv[1], "-h") == 0) {
        usage(argc < 2 ? stderr : stdout);
        return argc < 2 ? 2 : 0;
    }
    const std::string verb = argv[1];
    DecimateOptions decimateOptions;
    if (verb == "decimate") {
        // Arguments first: a typing error should not wait for the module.
        for (int i = 2; i < argc; ++i)
            if (std::strcmp(argv[i], "--help") == 0 || std::strcmp(argv[i], "-h") == 0) {
                std::fputs(decimateUsage(), stdout);
                return 0;
            }
        std::string error;
        if (!parseDecimateArguments(argc - 2, argv + 2, decimateOptions, error)) {
            std::fprintf(stderr, "plastra-sim: %s\n%s", error.c_str(), decimateUsage());
            return kDecimateUsage;
        }
    }
    PluginModule plugin;
    if (!plugin.load()) {
        std::fprintf(stderr, "plastra-sim: cannot load %s: %s\n", plugin.path().c_str(), plugin.error().c_str());
        return 1;
    }
    if (verb == "decimate") return runDecimate(plugin, decimateOptions, stdout, stderr);
    if (verb == "commands") return listCommands(plugin);
    if (verb == "call") return callCommand(plugin, argc, argv);
    if (verb == "demo") return demo(plugin);
    std::fprintf(stderr, "plastra-sim: unknown command '%s'\n", verb.c_str());
    usage(stderr);
    return 2;
}
