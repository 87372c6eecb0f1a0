// YUtilWrapper312B46: the host's script entry.
#include "YUtilWrapper312B46.h"

#include <cstdint>

namespace {
constexpr int kCommandRunScript = 7;
constexpr float kUtilityVersion = 3.12f;
}  // namespace

YUtilWrapper312B46& YUtilWrapper312B46::instance() {
    static YUtilWrapper312B46 wrapper;
    return wrapper;
}

bool YUtilWrapper312B46::runYScript(YUtility* entry, const KVString& script) const {
    if (entry == nullptr) return false;
    // The slot holds the entry point itself.
    const YUtilityEntry call = reinterpret_cast<YUtilityEntry>(reinterpret_cast<std::uintptr_t>(entry));
    // The host takes a writable text; hand it a copy so the caller's string stays untouched.
    KVString text(script);
    char empty[1] = {'\0'};
    char* chars = text.isNull() ? empty : text.getBuffer();
    return call(kCommandRunScript, 0, 0, chars, 0, kUtilityVersion) == 0;
}
