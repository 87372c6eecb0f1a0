// YScript: bounded appending, and the write / run / clean-up cycle of a host script file.
#include "YPlug/YScript.h"

#include <cstdio>
#include <cstring>

#include "PlastraHelper/PlastraHelper.h"
#include "ProgressiveMesh/KVTrimoraFolderServer.h"
#include "native/KVDiskServer.h"

YScript::YScript() : m_length(0) { m_buffer[0] = '\0'; }

void YScript::append(const char* text) {
    if (text == nullptr) return;
    const std::size_t room = kCapacity - 1 - m_length;
    const std::size_t n = ::strnlen(text, room);
    std::memcpy(m_buffer + m_length, text, n);
    m_length += static_cast<std::uint32_t>(n);
    m_buffer[m_length] = '\0';
}

void YScript::clear() {
    m_length = 0;
    m_buffer[0] = '\0';
}

bool YScript::writeFile(const KVString& path) const {
    const char* valid = path.getValidFilePath();
    if (valid == nullptr) return false;
    FILE* f = std::fopen(valid, "wb");
    if (f == KVDiskServer::s_invalidFile) return false;
    const bool written = std::fwrite(m_buffer, 1, m_length, f) == m_length;
    return std::fclose(f) == 0 && written;
}

bool YScript::call() const {
    KVString fileName = KVTrimoraFolderServer::buildUniqueTemporaryFileName("script.txt");
    writeFile(fileName);
    const bool ran = PlastraHelper::runYScript(fileName);
    KVDiskServer::deleteFile(fileName);
    // The host leaves its compiled copy of the script under the same name ending in "ysc".
    const int len = fileName.length();
    if (len >= 3) {
        KVString compiled = fileName.subString(0, len - 3);
        compiled += "ysc";
        KVDiskServer::deleteFile(compiled);
    }
    return ran;
}
