// ObjReader: a tolerant Wavefront OBJ and MTL reader that splits a file into the host's meshes.
#pragma once

#include <map>
#include <string>

#include "ObjScene.h"

// One mesh per group or object name ("g", "o"; faces before any name go to "default"; a name
// used again continues its mesh). Reads "v x y z [w]" and "v x y z r g b" (colours 0..1, or
// 0..255 when a component is above 1), "vt", "f" with any of v, v/vt, v//vn, v/vt/vn and
// negative (relative) indices, "usemtl" and "mtllib". Polygons are fan-split into quads and at
// most one triangle, as the host's four-index faces hold them. Unknown statements, normals,
// lines and points are stepped over; lines may end in CR LF and continue after a backslash.
// Malformed input (a bad number, an index of 0 or out of range, no faces at all) is refused
// with a message "NAME:LINE: what".
class ObjReader {
public:
    static bool readFile(const std::string& path, ObjScene& scene, std::string& error);
    // `folder` resolves "mtllib" names; `name` prefixes messages.
    static bool readText(const std::string& text, const std::string& folder, const std::string& name,
                         ObjScene& scene, std::string& error);
    // Material name -> diffuse texture ("map_Kd", options skipped), resolved against `folder`.
    static void readMtlText(const std::string& text, const std::string& folder,
                            std::map<std::string, std::string>& textures);
};
