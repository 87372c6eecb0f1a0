// Writers against full disks: a tiny tmpfs and a private full-device node, inside a child process
// with its own mount namespace, so no failure path can ever reach the real /dev/full.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <sched.h>
#include <signal.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "../plugin/PluginTestSupport.h"
#include "ExportAllObjUtils.h"
#include "KVArray.h"
#include "KVString.h"
#include "io/KVKelIO_Core.h"
#include "io/KVObjTextWriter.h"
#include "native/KVDiskServer.h"

namespace {

bool isCharDevice(const char* path) {
    struct stat st;
    return stat(path, &st) == 0 && S_ISCHR(st.st_mode);
}

// A deleted /dev/full would break every later test on the machine: check it around the suite.
class DevFullGuard : public ::testing::Environment {
    bool m_before = false;

public:
    void SetUp() override { m_before = isCharDevice("/dev/full"); }
    void TearDown() override {
        EXPECT_TRUE(!m_before || isCharDevice("/dev/full")) << "/dev/full is no longer a character device";
    }
};
const ::testing::Environment* const s_guard = ::testing::AddGlobalTestEnvironment(new DevFullGuard);

off_t sizeOf(const std::string& p) {
    struct stat st;
    return stat(p.c_str(), &st) == 0 ? st.st_size : -1;
}

// What the child saw, or why it could not set the disk up.
struct ChildOutcome {
    std::string report;
    std::string skip;
    bool exited = false;
};

// Runs body(folder, fullNode) in a forked child. The folder is a tmpfs of `bytes` bytes mounted in
// a private mount namespace, and fullNode a character device like /dev/full made inside it, so a
// writer that deletes its failed output deletes only that node. Where no namespace can be made
// the child falls back on RLIMIT_FSIZE over a plain folder, and fullNode is empty.
ChildOutcome onTinyDisk(std::size_t bytes, const std::function<std::string(const std::string&, const std::string&)>& body) {
    ChildOutcome out;
    char dir[] = "/tmp/trimora_disk_XXXXXX";
    if (mkdtemp(dir) == nullptr) {
        out.skip = "no temporary folder";
        return out;
    }
    int fds[2];
    if (pipe(fds) != 0) {
        rmdir(dir);
        out.skip = "no pipe";
        return out;
    }
    const pid_t pid = fork();
    if (pid == 0) {
        close(fds[0]);
        std::string node;
        std::string text;
        if (unshare(CLONE_NEWNS) == 0 && mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
            mount("tmpfs", dir, "tmpfs", 0, ("size=" + std::to_string(bytes)).c_str()) == 0) {
            node = std::string(dir) + "/full";
            if (mknod(node.c_str(), S_IFCHR | 0666, makedev(1, 7)) != 0) node.clear();
        } else {
            // Fallback: the file size limit makes writes past it fail with EFBIG.
            signal(SIGXFSZ, SIG_IGN);
            rlimit r{bytes, bytes};
            setrlimit(RLIMIT_FSIZE, &r);
            text = "[rlimit] ";
        }
        text += body(dir, node);
        const ssize_t w = write(fds[1], text.data(), text.size());
        _exit(w == static_cast<ssize_t>(text.size()) ? 0 : 3);
    }
    close(fds[1]);
    char buf[4096];
    ssize_t n;
    while ((n = read(fds[0], buf, sizeof buf)) > 0) out.report.append(buf, static_cast<std::size_t>(n));
    close(fds[0]);
    int status = 0;
    if (pid > 0 && waitpid(pid, &status, 0) == pid) out.exited = WIFEXITED(status) && WEXITSTATUS(status) == 0;
    // The fallback wrote into the folder itself; a tmpfs vanished with the child's namespace.
    for (const char* name : {"/source", "/target", "/colors.kel", "/out.obj", "/keep"}) std::remove((std::string(dir) + name).c_str());
    rmdir(dir);
    return out;
}

const char* yesNo(bool b) { return b ? "yes" : "no"; }

// Write system calls this process has made so far.
long writeCalls() {
    FILE* f = std::fopen("/proc/self/io", "r");
    if (f == nullptr) return -1;
    char line[128];
    long calls = -1;
    while (std::fgets(line, sizeof line, f) != nullptr)
        if (std::sscanf(line, "syscw: %ld", &calls) == 1) break;
    std::fclose(f);
    return calls;
}

// Writes about 800 KB of vertex lines in 4 KiB blocks; reports the flush and the writer's state.
std::string writeObj(FILE* f, std::string& s) {
    KVObjTextWriter writer(f, 4096);
    for (int i = 0; i < 20000; ++i) writer.writeVertex(0.125f, 0.5f, -7.0f);
    const bool flushed = writer.flush();
    return s += std::string("flush=") + yesNo(flushed) + " good=" + yesNo(writer.isGood());
}

}  // namespace

// Each writer onto a 16 KiB disk: it reports the failure, leaves no partial file where it
// promises to remove it, writes a small file whole once space is free, and fails on the full node.
TEST(FailingDisk, EveryWriterReportsTheFullDisk) {
    char srcDir[] = "/tmp/trimora_src_XXXXXX";
    ASSERT_NE(mkdtemp(srcDir), nullptr);
    const std::string source = std::string(srcDir) + "/source", mesh = std::string(srcDir) + "/mesh.kel";
    ASSERT_TRUE(writeFile(source, std::string(64 * 1024, 'c')));
    // 3,000 points: about 100 KB of OBJ text.
    ASSERT_TRUE(writeFile(mesh, testsupport::kelBytes({{10001, 3000, testsupport::bytesOf(std::vector<float>(9000, 0.333f))}})));
    using Body = std::function<std::string(const std::string&, const std::string&)>;
    const struct {
        const char* name;
        Body body;
        const char* expected;
    } table[] = {
        {"copy",
         [&](const std::string& dir, const std::string& full) {
             const std::string target = dir + "/target", small = dir + "/keep";
             auto copy = [](const std::string& from, const std::string& to) {
                 return yesNo(KVDiskServer::copyFile(KVString(from.c_str()), KVString(to.c_str())));
             };
             // Each step on its own statement: the operands of + are not evaluated in order.
             std::string s = std::string("copy=") + copy(source, target);
             s += std::string(" target=") + yesNo(pathExists(target));
             writeFile(target, std::string(100, 't'));  // a target that stood there before is not left half-written
             s += std::string(" again=") + copy(source, target);
             s += std::string(" target=") + yesNo(pathExists(target));
             writeFile(small, std::string(10, 'k'));
             s += std::string(" small=") + copy(small, target);
             s += " size=" + std::to_string(sizeOf(target));
             if (!full.empty()) s += std::string(" full=") + copy(source, full);
             return s;
         },
         "copy=no target=no again=no target=no small=yes size=10"},
        {"colours",
         [](const std::string& dir, const std::string& full) {
             const std::string path = dir + "/colors.kel";
             KVArray<unsigned int> colors(20000, 0x00FF8040u), few(10, 1u);  // 80 KB, then 40 bytes of payload
             std::string s = std::string("big=") + yesNo(KVKelIO_Core::writeMRGBBloc(KVString(path.c_str()), colors));
             s += std::string(" file=") + yesNo(pathExists(path));
             s += std::string(" small=") + yesNo(KVKelIO_Core::writeMRGBBloc(KVString(path.c_str()), few));
             s += " size=" + std::to_string(sizeOf(path));
             // The writer deletes its file on failure: here that is the private node, never /dev/full.
             if (!full.empty()) s += std::string(" full=") + yesNo(KVKelIO_Core::writeMRGBBloc(KVString(full.c_str()), few));
             return s;
         },
         "big=no file=no small=yes size=104"},  // 32 + 16 + 40 + 16 bytes for ten colours
        {"obj text",
         // The stream's own buffer is off, so each 4 KiB block is one system call: the blocks that
         // fit, one refused, and nothing after it.
         [](const std::string& dir, const std::string& full) {
             const std::string path = dir + "/out.obj";
             FILE* f = std::fopen(path.c_str(), "w");
             if (f == nullptr || setvbuf(f, nullptr, _IONBF, 0) != 0) return std::string("open failed");
             std::string s;
             const long before = writeCalls();
             writeObj(f, s);
             const long calls = writeCalls() - before;
             std::fclose(f);
             s += std::string(" few=") + yesNo(before >= 0 && calls <= 16 / 4 + 4);
             s += std::string(" size<=disk=") + yesNo(sizeOf(path) <= 16 * 1024);
             if (calls > 16 / 4 + 4) s += "(" + std::to_string(calls) + " calls)";
             FILE* g = full.empty() ? nullptr : std::fopen(full.c_str(), "w");
             if (g != nullptr) {
                 std::string t;
                 s += writeObj(g, t).find("flush=no") == 0 ? " full=no" : " full=yes";
                 std::fclose(g);
             }
             return s;
         },
         "flush=no good=no few=yes size<=disk=yes"},
        {"declared meshes",
         [&](const std::string& dir, const std::string& full) {
             KVArray<KVString> meshes, textures, none;
             meshes.add(KVString(mesh.c_str()));
             textures.add(KVString());
             auto run = [&](const std::string& to, const KVArray<KVString>& m, const KVArray<KVString>& t) {
                 return yesNo(ExportAllObjUtils::exportDeclaredKel(KVString(to.c_str()), m, t));
             };
             std::string s = std::string("disk=") + run(dir + "/out.obj", meshes, textures);
             s += std::string(" empty=") + run(dir + "/out.obj", none, none);  // a list that fits is written whole
             if (!full.empty()) s += std::string(" full=") + run(full, meshes, textures);
             return s;
         },
         "disk=no empty=yes"},
    };
    for (const auto& row : table) {
        SCOPED_TRACE(row.name);
        const ChildOutcome r = onTinyDisk(16 * 1024, row.body);
        if (!r.skip.empty()) GTEST_SKIP() << r.skip;
        ASSERT_TRUE(r.exited) << r.report;
        EXPECT_NE(r.report.find(row.expected), std::string::npos) << r.report;
        if (r.report.rfind("[rlimit]", 0) != 0) {
            EXPECT_NE(r.report.find("full=no"), std::string::npos) << r.report;
        }
    }
    std::remove(source.c_str());
    std::remove(mesh.c_str());
    rmdir(srcDir);
}
