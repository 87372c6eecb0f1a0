// KVLogBloc: a scoped indentation block of the log.
#pragma once

#include "KVString.h"

class KVLogBloc {
public:
    KVLogBloc() = default;
    ~KVLogBloc();
    KVLogBloc(const KVLogBloc&) = delete;
    KVLogBloc& operator=(const KVLogBloc&) = delete;

    void start(int n);
    // Raises the level by 2 whatever n is, and end() takes off n: callers rely on that shift.
    void start(const KVString& title, const KVString& text, int n);
    void end();

    bool isActive() const { return m_active; }
    int getIncrement() const { return m_increment; }
    const KVString& getText() const { return m_text; }

private:
    bool m_active = false;
    int m_increment = 0;
    KVString m_text;
};
