// KVLogBloc: scoped indentation of the log.
#include "log/KVLogBloc.h"

#include "log/KVLogServer.h"

KVLogBloc::~KVLogBloc() { end(); }

void KVLogBloc::start(int n) {
    if (m_active) return;
    KVLogServer::incrMarginOffset(n);
    m_active = true;
    m_increment = n;
    m_text = KVString();
}

void KVLogBloc::start(const KVString& title, const KVString& text, int n) {
    if (m_active) return;
    KVLogServer::printLine("%s", title.c_str());
    KVLogServer::incrMarginOffset(2);
    m_active = true;
    m_increment = n;
    m_text = text;
}

void KVLogBloc::end() {
    if (!m_active) return;
    KVLogServer::decrMarginOffset(m_increment);
    m_active = false;
    m_increment = 0;
    m_text = KVString();
}
