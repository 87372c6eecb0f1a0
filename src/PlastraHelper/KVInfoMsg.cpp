// KVInfoMsg: messages to the user on standard error.
#include "KVInfoMsg.h"

#include <cstdio>

namespace {
KVString s_lastMessage;
int s_messageCount = 0;
}  // namespace

void KVInfoMsg::showMessage(const KVString& message) {
    s_lastMessage = message;
    ++s_messageCount;
    std::fprintf(stderr, "%s\n", message.c_str());
}

const KVString& KVInfoMsg::getLastMessage() { return s_lastMessage; }

int KVInfoMsg::getMessageCount() { return s_messageCount; }
