// KVKelIO: the mesh exchange file reader/writer with the three settings its class layout carries.
#pragma once

#include <cstdint>

#include "io/KVKelIO_Core.h"

// The settings are kept for the layout of the class; no operation reads them.
class KVKelIO : public KVKelIO_Core {
public:
    KVKelIO();

    bool getSetting1() const { return m_setting1; }
    bool getSetting2() const { return m_setting2; }
    std::int32_t getSetting3() const { return m_setting3; }

protected:
    bool m_setting1;
    bool m_setting2;
    std::int32_t m_setting3;
};
