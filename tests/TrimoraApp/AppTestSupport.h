// Helpers for the application tests: generated meshes, job files, and the real TrimoraApp as a child process.
#pragma once

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cmath>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "PluginHost.h"
#include "io/KVKelIO.h"
#include "io/KVKelWriter.h"

extern char** environ;

namespace apptest {

// The application built beside the test executable.
inline std::string appPath() { return PluginHost::executableFolder() + "/TrimoraApp"; }

using ::waitFor;  // the test host's

// A started TrimoraApp; its standard error goes to a file.
class AppProcess {
public:
    AppProcess(const std::string& argument, const std::string& stderrPath) : m_stderrPath(stderrPath) {
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_addopen(&actions, 2, stderrPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        const std::string app = appPath();
        std::vector<char*> args = {const_cast<char*>(app.c_str()), const_cast<char*>(argument.c_str()), nullptr};
        if (posix_spawn(&m_pid, app.c_str(), &actions, nullptr, args.data(), environ) != 0) m_pid = -1;
        posix_spawn_file_actions_destroy(&actions);
    }
    ~AppProcess() {
        if (m_pid > 0 && !m_exited) {
            kill(m_pid, SIGKILL);
            waitpid(m_pid, nullptr, 0);
        }
    }
    AppProcess(const AppProcess&) = delete;
    AppProcess& operator=(const AppProcess&) = delete;

    bool started() const { return m_pid > 0; }
    void sendSignal(int signal) const {
        if (m_pid > 0 && !m_exited) kill(m_pid, signal);
    }
    bool exited() {
        if (m_exited || m_pid <= 0) return true;
        int status = 0;
        if (waitpid(m_pid, &status, WNOHANG) == m_pid) {
            m_exited = true;
            m_status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
        }
        return m_exited;
    }
    // The exit status, or -1 when the process did not end in time.
    int wait(int seconds = 180) {
        if (!waitFor([&] { return exited(); }, seconds)) return -1;
        return m_status;
    }
    std::string stderrText() const {
        std::string text;
        readFile(m_stderrPath, text);
        return text;
    }

private:
    pid_t m_pid = -1;
    bool m_exited = false;
    int m_status = -1;
    std::string m_stderrPath;
};

// Runs the application to its end on `jobPath`; returns its exit status (-1 on time-out).
inline int runApp(const std::string& jobPath, std::string* errors = nullptr, const std::string& argument = "") {
    AppProcess app(argument.empty() ? jobPath : argument, jobPath + ".stderr");
    if (!app.started()) return -1;
    const int status = app.wait();
    if (errors) *errors = app.stderrText();
    return status;
}

// A job file from key/value pairs in order, one "Key = Value" line each.
inline bool writeJob(const std::string& path, const std::vector<std::pair<std::string, std::string>>& lines) {
    std::string text;
    for (const auto& kv : lines) text += kv.first + (kv.second.empty() ? "" : " = " + kv.second) + "\n";
    return writeFile(path, text);
}

// A height field over [-1, 1] x [-1, 1] of n x n vertices, symmetric in x: z = h(x, y). Faces are
// quads, counter-clockwise seen from +z; with `triangles` every other quad is stored as two triangles.
struct GridOptions {
    int n = 21;
    bool triangles = false;
    bool uvs = false;
    bool colors = false;
    bool maskLeft = false;  // mask x < -0.5
};

inline float heightAt(float x, float y) { return 0.25f * std::cos(2.5f * x) * std::cos(1.5f * y) + 0.1f * x * x * y; }
// Colour ramps that tests can predict anywhere on the surface.
inline unsigned int colorAt(float x, float y) {
    const unsigned r = static_cast<unsigned>(std::lround((x + 1.0f) * 0.5f * 255.0f));
    const unsigned g = static_cast<unsigned>(std::lround((y + 1.0f) * 0.5f * 255.0f));
    return 0xFF000000u | (r << 16) | (g << 8) | 0x40u;
}
inline KVVector2f uvAt(float x, float y) { return KVVector2f{(x + 1.0f) * 0.5f, (y + 1.0f) * 0.5f}; }

inline KVKelMesh makeGrid(const GridOptions& o) {
    KVKelMesh mesh;
    const int n = o.n;
    for (int j = 0; j < n; ++j) {
        for (int i = 0; i < n; ++i) {
            const float x = -1.0f + 2.0f * i / (n - 1);
            const float y = -1.0f + 2.0f * j / (n - 1);
            mesh.points.add(KVVector3f{x, y, heightAt(x, y)});
            if (o.colors) mesh.colors.add(colorAt(x, y));
            if (o.maskLeft) mesh.mask.add(x < -0.5f ? 255 : 0);
        }
    }
    auto addFace = [&](int a, int b, int c, int d) {
        mesh.faces.add(a);
        mesh.faces.add(b);
        mesh.faces.add(c);
        mesh.faces.add(d);
        if (!o.uvs) return;
        for (int v : {a, b, c, d}) {
            const KVVector3f& p = mesh.points[v < 0 ? a : v];
            mesh.uvs.add(v < 0 ? KVVector2f{0.0f, 0.0f} : uvAt(p.x, p.y));
        }
    };
    for (int j = 0; j + 1 < n; ++j) {
        for (int i = 0; i + 1 < n; ++i) {
            const int a = j * n + i, b = a + 1, c = a + n + 1, d = a + n;
            if (o.triangles && (i + j) % 2 == 0) {
                addFace(a, b, c, -1);
                addFace(a, c, d, -1);
            } else {
                addFace(a, b, c, d);
            }
        }
    }
    return mesh;
}

// A result read back through the mesh file reader.
struct ReadMesh {
    bool ok = false;
    KVArray<KVVector3f> points;
    KVArray<int> faces;
    KVArray<KVVector2f> uvs;
    KVArray<unsigned int> colors;
    KVArray<unsigned char> mask;
    int faceCount() const { return faces.getCount() / 4; }
};

inline ReadMesh readMesh(const std::string& path) {
    ReadMesh m;
    const KVString p(path.c_str());
    m.ok = pathExists(path) && KVKelIO::readVtxFace4UV4AndMRGBBlocs(p, m.points, m.faces, m.uvs, m.colors) &&
           KVKelIO::readMaskBloc(p, m.mask);
    return m;
}

inline KVVector3f faceNormal(const ReadMesh& m, int f) {
    const KVVector3f& a = m.points[m.faces[4 * f]];
    const KVVector3f& b = m.points[m.faces[4 * f + 1]];
    const KVVector3f& c = m.points[m.faces[4 * f + 2]];
    const KVVector3f u{b.x - a.x, b.y - a.y, b.z - a.z}, v{c.x - a.x, c.y - a.y, c.z - a.z};
    return KVVector3f{u.y * v.z - u.z * v.y, u.z * v.x - u.x * v.z, u.x * v.y - u.y * v.x};
}

// Exact positions of a mesh, for "this vertex is still there, unmoved" checks.
inline std::map<std::tuple<float, float, float>, int> positionIndex(const KVArray<KVVector3f>& points) {
    std::map<std::tuple<float, float, float>, int> index;
    for (int i = 0; i < points.getCount(); ++i) index[{points[i].x, points[i].y, points[i].z}] = i;
    return index;
}

// Files in `folder` whose names end with `suffix`.
inline std::vector<std::string> filesEndingWith(const std::string& folder, const std::string& suffix) {
    std::vector<std::string> found;
    for (const std::string& name : listFolder(folder)) {
        if (name.size() >= suffix.size() && name.compare(name.size() - suffix.size(), suffix.size(), suffix) == 0)
            found.push_back(name);
    }
    return found;
}

}  // namespace apptest
