// ObjReader: a tolerant Wavefront OBJ and MTL reader.
#include "ObjReader.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string_view>
#include <unordered_map>
#include <vector>

std::size_t ObjMesh::triangleCount() const {
    std::size_t n = 0;
    for (std::size_t f = 0; f + 3 < faces.size(); f += 4) n += faces[f + 3] < 0 ? 1 : 2;
    return n;
}

std::size_t ObjScene::vertexCount() const {
    std::size_t n = 0;
    for (const ObjMesh& m : meshes) n += m.points.size();
    return n;
}

std::size_t ObjScene::faceCount() const {
    std::size_t n = 0;
    for (const ObjMesh& m : meshes) n += m.faceCount();
    return n;
}

namespace {

bool isBlank(char c) { return c == ' ' || c == '\t' || c == '\v' || c == '\f'; }

// Splits one logical line into blank-separated tokens.
void tokenize(std::string_view line, std::vector<std::string_view>& tokens) {
    tokens.clear();
    std::size_t i = 0;
    while (i < line.size()) {
        while (i < line.size() && isBlank(line[i])) ++i;
        const std::size_t start = i;
        while (i < line.size() && !isBlank(line[i])) ++i;
        if (i > start) tokens.push_back(line.substr(start, i - start));
    }
}

bool parseFloat(std::string_view s, float& out) {
    if (!s.empty() && s[0] == '+') s.remove_prefix(1);
    const auto r = std::from_chars(s.data(), s.data() + s.size(), out);
    return r.ec == std::errc() && r.ptr == s.data() + s.size();
}

bool parseInt(std::string_view s, long& out) {
    if (!s.empty() && s[0] == '+') s.remove_prefix(1);
    const auto r = std::from_chars(s.data(), s.data() + s.size(), out);
    return r.ec == std::errc() && r.ptr == s.data() + s.size();
}

std::string trimmed(std::string_view s) {
    while (!s.empty() && isBlank(s.front())) s.remove_prefix(1);
    while (!s.empty() && isBlank(s.back())) s.remove_suffix(1);
    return std::string(s);
}

std::string joinPath(const std::string& folder, std::string name) {
    std::replace(name.begin(), name.end(), '\\', '/');
    if (name.empty() || name[0] == '/' || folder.empty()) return name;
    return folder + "/" + name;
}

std::string folderOf(const std::string& path) {
    const std::size_t slash = path.find_last_of('/');
    if (slash == std::string::npos) return ".";
    return slash == 0 ? "/" : path.substr(0, slash);
}

bool readWhole(const std::string& path, std::string& text) {
    std::ifstream in(path, std::ios::binary);
    if (!in) return false;
    text.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    return !in.bad();
}

std::uint32_t packColor(float r, float g, float b) {
    // Some writers use 0..255: read a vertex that way as soon as one of its components says so.
    const float scale = (r > 1.0f || g > 1.0f || b > 1.0f) ? 1.0f / 255.0f : 1.0f;
    auto byte = [scale](float c) {
        const float v = std::min(1.0f, std::max(0.0f, c * scale));
        return static_cast<std::uint32_t>(v * 255.0f + 0.5f);
    };
    return (byte(r) << 16) | (byte(g) << 8) | byte(b);
}

constexpr std::uint32_t kWhite = 0xffffffu;

// A mesh being filled: its points stay global indices until the end.
struct Building {
    ObjMesh mesh;
    std::vector<int> globalIndex;                 // local -> global point
    std::unordered_map<int, int> sharedIndex;     // global -> local, for points another mesh owns
    bool severalMaterials = false;
    bool hasUVs = false;  // set at its first corner with a UV; earlier faces get (0, 0)
};

class Parser {
public:
    Parser(const std::string& folder, const std::string& name, ObjScene& scene, std::string& error)
        : m_folder(folder), m_name(name), m_scene(scene), m_error(error) {}

    bool run(const std::string& text);

private:
    bool statement(std::vector<std::string_view>& t, std::string_view line);
    bool face(const std::vector<std::string_view>& t);
    bool corner(std::string_view token, int& point, int& uv);
    bool resolve(long index, std::size_t count, const char* what, int& out);
    int localPoint(int global);
    void selectMesh(const std::string& name);
    void readMtllib(std::string_view rest);
    bool fail(const std::string& what);
    void finish();

    std::string m_folder;
    std::string m_name;
    ObjScene& m_scene;
    std::string& m_error;
    std::size_t m_line = 0;

    std::vector<KVVector3f> m_points;
    std::vector<std::uint32_t> m_colors;  // kWhite where a point has none
    bool m_anyColor = false;
    std::vector<KVVector2f> m_uvs;
    std::vector<int> m_owner;       // global point -> owning mesh, -1 before first use
    std::vector<int> m_ownerLocal;  // its index there

    std::vector<Building> m_meshes;
    std::unordered_map<std::string, int> m_meshByName;
    int m_current = -1;
    std::string m_currentName = "default";
    std::string m_material;
    std::map<std::string, std::string> m_textures;
    std::size_t m_skippedFaces = 0;

    std::vector<int> m_cornerPoints;
    std::vector<int> m_cornerUVs;
};

bool Parser::fail(const std::string& what) {
    m_error = m_name + ":" + std::to_string(m_line) + ": " + what;
    return false;
}

bool Parser::run(const std::string& text) {
    std::vector<std::string_view> tokens;
    std::string joined;  // a line continued with backslashes
    std::size_t pos = 0;
    std::size_t nextLine = 1;
    while (pos < text.size()) {
        m_line = nextLine;
        std::size_t end = text.find('\n', pos);
        if (end == std::string::npos) end = text.size();
        std::string_view line(text.data() + pos, end - pos);
        pos = end + 1;
        ++nextLine;
        if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
        if (!joined.empty() || (!line.empty() && line.back() == '\\')) {
            const bool more = !line.empty() && line.back() == '\\';
            if (more) line.remove_suffix(1);
            joined.append(line.data(), line.size());
            joined.push_back(' ');
            if (more && pos < text.size()) continue;
            line = joined;
        }
        tokenize(line, tokens);
        const bool ok = tokens.empty() || tokens[0][0] == '#' || statement(tokens, line);
        joined.clear();
        if (!ok) return false;
    }
    finish();
    if (m_scene.meshes.empty()) {
        m_line = nextLine > 1 ? nextLine - 1 : 1;
        return fail("no faces");
    }
    return true;
}

bool Parser::statement(std::vector<std::string_view>& t, std::string_view line) {
    const std::string_view key = t[0];
    // Numbers may be followed by a comment.
    auto dropComment = [&t]() {
        for (std::size_t i = 1; i < t.size(); ++i)
            if (t[i][0] == '#') {
                t.resize(i);
                break;
            }
    };
    if (key == "v") {
        dropComment();
        float c[7] = {0, 0, 0, 0, 0, 0, 0};
        const std::size_t n = t.size() - 1;
        if (n < 3) return fail("a vertex needs three coordinates");
        for (std::size_t i = 0; i < n && i < 7; ++i)
            if (!parseFloat(t[i + 1], c[i])) return fail("bad number '" + std::string(t[i + 1]) + "'");
        m_points.push_back({c[0], c[1], c[2]});
        if (n >= 6) {
            // "v x y z r g b", or with a weight "v x y z w r g b".
            const float* rgb = n >= 7 ? c + 4 : c + 3;
            m_colors.push_back(packColor(rgb[0], rgb[1], rgb[2]));
            m_anyColor = true;
        } else {
            m_colors.push_back(kWhite);
        }
        return true;
    }
    if (key == "vt") {
        dropComment();
        float u = 0, v = 0;
        if (t.size() < 2 || !parseFloat(t[1], u)) return fail("bad texture coordinate");
        if (t.size() >= 3 && !parseFloat(t[2], v)) return fail("bad number '" + std::string(t[2]) + "'");
        m_uvs.push_back({u, v});
        return true;
    }
    if (key == "f" || key == "fo") {
        dropComment();
        return face(t);
    }
    if (key == "g" || key == "o") {
        std::string name = trimmed(line.substr(line.find(key) + key.size()));
        if (name.empty()) name = "default";
        m_currentName = name;
        m_current = -1;  // chosen at its first face, so names without faces make no mesh
        return true;
    }
    if (key == "usemtl") {
        m_material = trimmed(line.substr(line.find(key) + key.size()));
        return true;
    }
    if (key == "mtllib") {
        readMtllib(line.substr(line.find(key) + key.size()));
        return true;
    }
    // vn, vp, s, l, p, curves and the rest: nothing the host's meshes hold.
    return true;
}

void Parser::readMtllib(std::string_view rest) {
    const std::string whole = trimmed(rest);
    std::vector<std::string> names;
    std::string text;
    // A name may hold blanks; the list form only counts when the whole does not name a file.
    if (readWhole(joinPath(m_folder, whole), text)) {
        names.push_back(whole);
    } else {
        std::vector<std::string_view> parts;
        tokenize(whole, parts);
        for (std::string_view p : parts) names.emplace_back(p);
    }
    for (const std::string& n : names) {
        const std::string path = joinPath(m_folder, n);
        if (!readWhole(path, text)) {
            m_scene.warnings.push_back("material library not found: " + path);
            continue;
        }
        ObjReader::readMtlText(text, folderOf(path), m_textures);
    }
}

bool Parser::resolve(long index, std::size_t count, const char* what, int& out) {
    long i = index > 0 ? index - 1 : static_cast<long>(count) + index;
    if (index == 0 || i < 0 || static_cast<std::size_t>(i) >= count)
        return fail(std::string(what) + " index " + std::to_string(index) + " out of range (" + std::to_string(count) +
                    " defined)");
    out = static_cast<int>(i);
    return true;
}

bool Parser::corner(std::string_view token, int& point, int& uv) {
    uv = -1;
    const std::size_t slash = token.find('/');
    long v = 0;
    if (!parseInt(token.substr(0, slash), v)) return fail("bad face corner '" + std::string(token) + "'");
    if (!resolve(v, m_points.size(), "vertex", point)) return false;
    if (slash == std::string_view::npos) return true;
    const std::string_view rest = token.substr(slash + 1);
    const std::string_view vt = rest.substr(0, rest.find('/'));
    if (vt.empty()) return true;
    long t = 0;
    if (!parseInt(vt, t)) return fail("bad face corner '" + std::string(token) + "'");
    return resolve(t, m_uvs.size(), "texture coordinate", uv);
}

void Parser::selectMesh(const std::string& name) {
    auto it = m_meshByName.find(name);
    if (it != m_meshByName.end()) {
        m_current = it->second;
        return;
    }
    m_current = static_cast<int>(m_meshes.size());
    m_meshByName.emplace(name, m_current);
    m_meshes.emplace_back();
    m_meshes.back().mesh.name = name;
}

int Parser::localPoint(int global) {
    if (m_owner.size() < m_points.size()) {
        m_owner.resize(m_points.size(), -1);
        m_ownerLocal.resize(m_points.size(), -1);
    }
    Building& b = m_meshes[static_cast<std::size_t>(m_current)];
    const std::size_t g = static_cast<std::size_t>(global);
    if (m_owner[g] == m_current) return m_ownerLocal[g];
    if (m_owner[g] >= 0) {
        // Shared with a mesh met earlier: this mesh gets its own copy.
        auto it = b.sharedIndex.find(global);
        if (it != b.sharedIndex.end()) return it->second;
        const int local = static_cast<int>(b.globalIndex.size());
        b.globalIndex.push_back(global);
        b.sharedIndex.emplace(global, local);
        return local;
    }
    const int local = static_cast<int>(b.globalIndex.size());
    b.globalIndex.push_back(global);
    m_owner[g] = m_current;
    m_ownerLocal[g] = local;
    return local;
}

bool Parser::face(const std::vector<std::string_view>& t) {
    m_cornerPoints.clear();
    m_cornerUVs.clear();
    bool anyUV = false;
    for (std::size_t i = 1; i < t.size(); ++i) {
        int p = 0, uv = -1;
        if (!corner(t[i], p, uv)) return false;
        m_cornerPoints.push_back(p);
        m_cornerUVs.push_back(uv);
        anyUV = anyUV || uv >= 0;
    }
    if (m_cornerPoints.size() < 3) {
        ++m_skippedFaces;
        return true;
    }
    if (m_current < 0) selectMesh(m_currentName);
    Building& b = m_meshes[static_cast<std::size_t>(m_current)];
    if (!m_material.empty()) {
        if (b.mesh.material.empty())
            b.mesh.material = m_material;
        else if (b.mesh.material != m_material)
            b.severalMaterials = true;
    }
    for (int& p : m_cornerPoints) p = localPoint(p);
    if (anyUV && !b.hasUVs) {
        b.hasUVs = true;
        b.mesh.uvs.resize(b.mesh.faces.size(), KVVector2f{0.0f, 0.0f});
    }
    const bool withUV = b.hasUVs;

    auto emit = [&](std::size_t a, std::size_t c1, std::size_t c2, std::size_t c3, bool quad) {
        const std::size_t idx[4] = {a, c1, c2, c3};
        for (int k = 0; k < 4; ++k) {
            const bool used = quad || k < 3;
            b.mesh.faces.push_back(used ? m_cornerPoints[idx[k]] : -1);
            if (withUV) {
                const int uv = used ? m_cornerUVs[idx[k]] : -1;
                b.mesh.uvs.push_back(uv >= 0 ? m_uvs[static_cast<std::size_t>(uv)] : KVVector2f{0.0f, 0.0f});
            }
        }
    };
    const std::size_t n = m_cornerPoints.size();
    if (n == 3) {
        emit(0, 1, 2, 0, false);
        return true;
    }
    // Fan from the first corner: quads while four corners remain, then one triangle.
    std::size_t i = 1;
    while (n - i >= 3) {
        emit(0, i, i + 1, i + 2, true);
        i += 2;
    }
    if (n - i == 2) emit(0, i, i + 1, 0, false);
    return true;
}

void Parser::finish() {
    for (Building& b : m_meshes) {
        ObjMesh& m = b.mesh;
        if (m.faces.empty()) continue;
        m.points.reserve(b.globalIndex.size());
        bool colored = false;
        for (int g : b.globalIndex) {
            m.points.push_back(m_points[static_cast<std::size_t>(g)]);
            colored = colored || (m_anyColor && m_colors[static_cast<std::size_t>(g)] != kWhite);
        }
        if (colored) {
            m.colors.reserve(b.globalIndex.size());
            for (int g : b.globalIndex) m.colors.push_back(m_colors[static_cast<std::size_t>(g)]);
        }
        if (!m.material.empty()) {
            auto it = m_textures.find(m.material);
            if (it != m_textures.end()) m.texturePath = it->second;
        }
        if (b.severalMaterials)
            m_scene.warnings.push_back("group " + m.name + " uses several materials; it keeps " + m.material);
        m_scene.meshes.push_back(std::move(m));
    }
    if (m_skippedFaces > 0)
        m_scene.warnings.push_back(std::to_string(m_skippedFaces) + " faces with fewer than 3 corners skipped");
}

}  // namespace

bool ObjReader::readFile(const std::string& path, ObjScene& scene, std::string& error) {
    std::string text;
    if (!readWhole(path, text)) {
        error = "cannot read " + path;
        return false;
    }
    return readText(text, folderOf(path), path, scene, error);
}

bool ObjReader::readText(const std::string& text, const std::string& folder, const std::string& name,
                         ObjScene& scene, std::string& error) {
    scene = ObjScene();
    error.clear();
    Parser parser(folder, name, scene, error);
    if (parser.run(text)) return true;
    scene.meshes.clear();
    return false;
}

void ObjReader::readMtlText(const std::string& text, const std::string& folder,
                            std::map<std::string, std::string>& textures) {
    std::istringstream in(text);
    std::string line;
    std::string material;
    std::vector<std::string_view> t;
    while (std::getline(in, line)) {
        if (!line.empty() && line.back() == '\r') line.pop_back();
        tokenize(line, t);
        if (t.empty()) continue;
        if (t[0] == "newmtl") {
            material = trimmed(std::string_view(line).substr(line.find("newmtl") + 6));
        } else if (t[0] == "map_Kd" && !material.empty()) {
            // Options come first ("-s 1 1 1", "-clamp on", ...): skip each with its arguments,
            // which are the tokens that do not start with a letter of a file name.
            std::size_t i = 1;
            while (i < t.size() && t[i][0] == '-') {
                ++i;
                float dummy;
                while (i + 1 < t.size() && (parseFloat(t[i], dummy) || t[i] == "on" || t[i] == "off")) ++i;
            }
            if (i >= t.size()) continue;
            const std::size_t at = static_cast<std::size_t>(t[i].data() - line.data());
            textures[material] = joinPath(folder, trimmed(std::string_view(line).substr(at)));
        }
    }
}
