// The guard that keeps exceptions inside the plug-in.
#include "PlugCall.h"

#include "log/KVLogServer.h"

namespace plug {

float guard(float (*body)(const PlugArgs&), const PlugArgs& args, float onError) noexcept {
    try {
        return body(args);
    } catch (...) {
        try {
            KVLogServer::printLine("*** Exception caught in command ***");
        } catch (...) {
        }
        return onError;
    }
}

}  // namespace plug
