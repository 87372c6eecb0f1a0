// Host item commands.
#include "HostItemCommands.h"

#include <cstdint>

#include "PlastraHelper/Plastra4Helper.h"
#include "log/KVLogServer.h"

namespace {

// The script's offset, biased away from zero before truncation; clamped to what an int holds.
int offsetFromValue(double value) {
    const double biased = value >= 0.0 ? value + 0.2 : value - 0.2;
    if (!(biased > -2147483648.0)) return INT32_MIN;
    if (!(biased < 2147483648.0)) return INT32_MAX;
    return static_cast<int>(biased);
}

}  // namespace

TRIMORA_COMMAND(SetItemPos) {
    KVLogServer::printLine("SetItemPos called.");
    Plastra4Helper::init(a.hostData);
    AWin* root = Plastra4Helper::s_rootWindow;
    AWin* item = Plastra4Helper::getWindowFromPath(root, KVString(a.text));
    AWin* reference = Plastra4Helper::getWindowFromPath(root, KVString(a.outBuf1));
    AWin* parent = Plastra4Helper::getParentWindow(reference);
    if (item == nullptr || parent == nullptr) return -1.0f;
    const std::int64_t index =
        static_cast<std::int64_t>(Plastra4Helper::getWindowChildIndex(reference)) + offsetFromValue(a.value);
    const int clamped = index < INT32_MIN ? INT32_MIN : (index > INT32_MAX ? INT32_MAX : static_cast<int>(index));
    Plastra4Helper::moveWindow(item, parent, clamped);
    return 0.0f;
}
