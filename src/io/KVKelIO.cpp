// KVKelIO: the settings carried by the class layout.
#include "io/KVKelIO.h"

KVKelIO::KVKelIO() : m_setting1(false), m_setting2(true), m_setting3(1) {}
