// TrimoraApp: the decimation application; one argument, the job file's path.
#include <cstdio>

#include "YDecimatorApp.h"

int main(int argc, char** argv) {
    try {
        return YDecimatorApp::run(argc, argv);
    } catch (...) {
        std::fputs("TrimoraApp: unexpected failure\n", stderr);
        return YDecimatorApp::kExitFailed;
    }
}
