// KVInfoMsg: shows a short text message to the user.
#pragma once

#include "KVString.h"

class KVInfoMsg {
public:
    // Without a window system the message goes to standard error. The last message is kept.
    static void showMessage(const KVString& message);
    static const KVString& getLastMessage();
    static int getMessageCount();
};
