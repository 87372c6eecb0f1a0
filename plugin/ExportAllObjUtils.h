// OBJ export commands: the declared mesh files merged into one OBJ file with its MTL materials.
#pragma once

#include <cstdio>

#include "KVArray.h"
#include "KVString.h"
#include "PlugCall.h"

// The export itself, kept apart from the command so it can be driven with any list of meshes.
class ExportAllObjUtils {
public:
    // Writes objPath (converted to its valid file path) from the mesh files, one group per file,
    // and beside it the MTL file when any mesh is textured (textures[i] belongs to kelFiles[i]; a
    // missing entry counts as no texture). A mesh file that cannot be read becomes an empty group.
    // Faces that name a vertex or UV slot their own mesh did not write are left out.
    // False when the OBJ file cannot be opened (nothing is written then) or a write to it failed
    // (writing stops at the first failure; the part written stays).
    static bool exportDeclaredKel(const KVString& objPath, const KVArray<KVString>& kelFiles,
                                  const KVArray<KVString>& textures);

    // A mesh is textured when its texture name holds text.
    static bool isTextured(const KVString& texture) { return !texture.isEmpty(); }
    // The OBJ path with its last three characters replaced by "mtl" (scene.obj -> scene.mtl).
    static KVString mtlPathFor(const KVString& objPath);
    // The part of path after its last '/' or '\', or the whole path.
    static KVString nameAfterLastSeparator(const KVString& path);

private:
    // Everything after the open: header, MTL file, then vertices, UVs and faces mesh by mesh.
    // False when a write failed.
    static bool writeObj(FILE* file, const KVString& path, const KVArray<KVString>& kelFiles,
                         const KVArray<KVString>& textures);
};

extern "C" {

// ExportOBJAllDeclaredKel
//   text: path of the OBJ file to write (a "file:" prefix or volume name is dropped).
//   Every declared mesh file becomes a group "subtool<n>" (n from 1, in declaration order) holding
//   its faces; all vertices, then all UVs of all meshes come first, indices 1-based and global.
//   When a mesh has a texture, <name>.mtl beside the OBJ file gets "defaultMat" and a "mat<n>"
//   per textured mesh. value, outBuf1, outBuf2 and hostData are not used.
//   Result: always 0.0, also when the OBJ file cannot be opened.
TRIMORA_EXPORT float ExportOBJAllDeclaredKel(char* text, double value, char* outBuf1, int outBuf1Size,
                                             char* outBuf2, int outBuf2Size, char** hostData);

}  // extern "C"
