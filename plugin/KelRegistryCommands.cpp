// Mesh registry commands: thin decoders over ExportAllUtils, and the host-memory box commands.
#include "KelRegistryCommands.h"

#include <cstddef>
#include <cstring>

#include "BBox.h"
#include "KVString.h"
#include "YPlug/ExportAllUtils.h"
#include "io/KVKelIO.h"
#include "log/KVLogServer.h"

namespace {

constexpr int kBoxBytes = static_cast<int>(sizeof(BBox));

// Host boxes may sit at any byte offset, so they are copied, never cast.
BBox loadBox(const char* at) {
    BBox box;
    std::memcpy(&box, at, sizeof box);
    return box;
}

void storeBox(char* at, const BBox& box) { std::memcpy(at, &box, sizeof box); }

// Writes the two floats that mark a box empty and leaves the other four.
void emptyBoxAt(char* at) {
    BBox box;
    box.setEmpty();
    std::memcpy(at + offsetof(BBox, min) + offsetof(KVVector3f, x), &box.min.x, sizeof(float));
    std::memcpy(at + offsetof(BBox, max) + offsetof(KVVector3f, x), &box.max.x, sizeof(float));
}

}  // namespace

TRIMORA_COMMAND_OR(StartDeclareKelFiles, 0.0f) {
    KVLogServer::printLine("StartDeclareKelFiles called.");
    ExportAllUtils::startDeclare();
    return 0.0f;
}

TRIMORA_COMMAND_OR(AddOneKelFile, 0.0f) {
    KVLogServer::printLine("AddOneKelFile called : %s", a.text ? a.text : "");
    ExportAllUtils::addKelFile(a.text);
    return 0.0f;
}

TRIMORA_COMMAND_OR(SetTextureFileNameForLastKel, 0.0f) {
    KVLogServer::printLine("SetTextureFileNameForLastKel called : %s", a.text ? a.text : "");
    ExportAllUtils::setTextureForLast(a.text);
    return 0.0f;
}

TRIMORA_COMMAND_OR(DeclareLastKelInvisible, 0.0f) {
    KVLogServer::printLine("DeclareLastKelInvisible called");
    ExportAllUtils::declareLastInvisible();
    return 0.0f;
}

TRIMORA_COMMAND_OR(DeclareLastKelOutputFile, 0.0f) {
    KVLogServer::printLine("DeclareLastKelOutputFile called");
    ExportAllUtils::declareLastOutput(a.text);
    return 0.0f;
}

TRIMORA_COMMAND_OR(SetCurrentKelFile, 0.0f) {
    KVLogServer::printLine("SetCurrentKelFile called : %s", a.text ? a.text : "");
    ExportAllUtils::setCurrentKelFile(a.text);
    return 0.0f;
}

TRIMORA_COMMAND_OR(EndDeclareKelFiles, 0.0f) {
    KVLogServer::printLine("EndDeclareKelFiles called.");
    return 0.0f;
}

TRIMORA_COMMAND_OR(DeleteDeclaredKelFiles, 0.0f) {
    KVLogServer::printLine("DeleteDeclaredKelFiles called.");
    ExportAllUtils::deleteDeclaredFiles();
    return 0.0f;
}

TRIMORA_COMMAND_OR(SetTextureExt, 0.0f) {
    ExportAllUtils::setTextureExt(a.text);
    return 0.0f;
}

TRIMORA_COMMAND_OR(SetTextureQuality, 0.0f) {
    ExportAllUtils::setTextureQuality(plug::intFromValue(a.value, 0.1));
    return 0.0f;
}

TRIMORA_COMMAND(InitBBox3D) {
    if (a.outBuf1 == nullptr) return -1.0f;
    const int index = plug::intFromValue(a.value, 0.1);
    // A negative index would write before the host's block.
    if (index >= 0) emptyBoxAt(a.outBuf1 + static_cast<long>(index) * kBoxBytes);
    return 0.0f;
}

TRIMORA_COMMAND(AddBBox3D) {
    if (a.outBuf1 == nullptr) return -1.0f;
    BBox box0 = loadBox(a.outBuf1);
    box0.add(loadBox(a.outBuf1 + kBoxBytes));
    storeBox(a.outBuf1, box0);
    return 0.0f;
}

TRIMORA_COMMAND(GetBBoxFromKelFile) {
    // A null block with an offset would make an address the host never gave us.
    if (a.outBuf1 == nullptr) return -1.0f;
    const int offset = plug::intFromValue(a.value, 0.1);
    if (offset < 0) return -1.0f;
    char* at = a.outBuf1 + offset;
    // The reader empties the box first; start from the host's floats so the four it leaves
    // alone come back unchanged.
    BBox box = loadBox(at);
    const bool read = KVKelIO::readBBox(KVString(a.text), box);
    storeBox(at, box);
    return read ? 0.0f : -1.0f;
}
