// YScript: a host script built up in a fixed buffer and run by the host through a temporary file.
#pragma once

#include <cstdint>

#include "KVString.h"

// A value type: copies carry the whole text.
class YScript {
public:
    // Buffer size; the text keeps at most kCapacity - 1 bytes and is always NUL-terminated.
    static constexpr std::uint32_t kCapacity = 4096;

    YScript();

    // Adds text at the end; what would pass the 4095th byte is dropped. Null is ignored.
    void append(const char* text);
    void clear();

    const char* getText() const { return m_buffer; }
    std::uint32_t getLength() const { return m_length; }

    // Writes the used bytes to `path` ("wb"). False when the file cannot be opened.
    bool writeFile(const KVString& path) const;

    // Writes the script to a fresh "script.txt" name of the temporary folder, has the host run
    // it, then deletes that file and the compiled copy the host leaves beside it (same name,
    // last three characters "ysc"). True when the host ran it.
    bool call() const;

private:
    char m_buffer[kCapacity];
    std::uint32_t m_length;
};
