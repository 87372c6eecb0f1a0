// Builds a progress record as the decimation application leaves it, byte by byte at the file's offsets.
#pragma once

#include <cstring>
#include <string>

inline std::string progressRecordBytes(bool started, bool step, const std::string& task, const std::string& stepTitle,
                                       int total, int count) {
    std::string bytes(176, '\0');
    bytes[0] = 1;
    bytes[1] = started ? 1 : 0;
    bytes[2] = step ? 1 : 0;
    std::memcpy(&bytes[3], task.data(), task.size() < 80 ? task.size() : 80);
    std::memcpy(&bytes[83], stepTitle.data(), stepTitle.size() < 80 ? stepTitle.size() : 80);
    for (int i = 0; i < 4; ++i) {
        bytes[164 + i] = static_cast<char>((static_cast<unsigned>(total) >> (8 * i)) & 0xFF);
        bytes[168 + i] = static_cast<char>((static_cast<unsigned>(count) >> (8 * i)) & 0xFF);
    }
    return bytes;
}
