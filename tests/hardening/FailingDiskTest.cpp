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
public:
    void SetUp() override { m_before = isCharDevice("/dev/full"); }
    void TearDown() override {
        if (m_before) {
            EXPECT_TRUE(isCharDevice("/dev/full")) << "/dev/full is no longer a character device";
        }
    }

private:
    bool m_before = false;
};
const ::testing::Environment* const s_guard = ::testing::AddGlobalTestEnvironment(new DevFullGuard);

bool exists(const std::string& p) { return access(p.c_str(), F_OK) == 0; }

off_t sizeOf(const std::string& p) {
    struct stat st;
    return stat(p.c_str(), &st) == 0 ? st.st_size : -1;
}

bool writeBytes(const std::string& p, std::size_t n, char fill) {
    FILE* f = std::fopen(p.c_str(), "wb");
    if (f == nullptr) return false;
    const std::vector<char> bytes(n, fill);
    const bool ok = std::fwrite(bytes.data(), 1, n, f) == n;
    return std::fclose(f) == 0 && ok;
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

}  // namespace

TEST(FailingDisk, CopyLeavesNoPartialTarget) {
    // 64 KiB into a 16 KiB disk: the source lives outside it.
    char srcDir[] = "/tmp/trimora_src_XXXXXX";
    ASSERT_NE(mkdtemp(srcDir), nullptr);
    const std::string source = std::string(srcDir) + "/source";
    ASSERT_TRUE(writeBytes(source, 64 * 1024, 'c'));
    const ChildOutcome r = onTinyDisk(16 * 1024, [&](const std::string& dir, const std::string& full) {
        std::string s;
        const std::string target = dir + "/target";
        const bool copied = KVDiskServer::copyFile(KVString(source.c_str()), KVString(target.c_str()));
        s += std::string("copy=") + yesNo(copied) + " target=" + yesNo(exists(target));
        // A target that stood there before is not left half-written either.
        writeBytes(target, 100, 't');
        const bool again = KVDiskServer::copyFile(KVString(source.c_str()), KVString(target.c_str()));
        s += std::string(" again=") + yesNo(again) + " target=" + yesNo(exists(target));
        // The space is free again: a small copy succeeds whole.
        const std::string small = dir + "/keep";
        writeBytes(small, 10, 'k');
        const bool smallCopy = KVDiskServer::copyFile(KVString(small.c_str()), KVString(target.c_str()));
        s += std::string(" small=") + yesNo(smallCopy) + " size=" + std::to_string(sizeOf(target));
        if (!full.empty()) {
            const bool toFull = KVDiskServer::copyFile(KVString(source.c_str()), KVString(full.c_str()));
            s += std::string(" full=") + yesNo(toFull);
        }
        return s;
    });
    std::remove(source.c_str());
    rmdir(srcDir);
    if (!r.skip.empty()) GTEST_SKIP() << r.skip;
    ASSERT_TRUE(r.exited) << r.report;
    EXPECT_NE(r.report.find("copy=no target=no again=no target=no small=yes size=10"), std::string::npos) << r.report;
    if (r.report.rfind("[rlimit]", 0) != 0) {
        EXPECT_NE(r.report.find("full=no"), std::string::npos) << r.report;
    }
}

TEST(FailingDisk, ColourFileFailsAndIsRemoved) {
    const ChildOutcome r = onTinyDisk(16 * 1024, [](const std::string& dir, const std::string& full) {
        std::string s;
        KVArray<unsigned int> colors(20000, 0x00FF8040u);  // 80 KB of payload
        const std::string path = dir + "/colors.kel";
        const bool big = KVKelIO_Core::writeMRGBBloc(KVString(path.c_str()), colors);
        s += std::string("big=") + yesNo(big) + " file=" + yesNo(exists(path));
        KVArray<unsigned int> few(10, 1u);
        const bool small = KVKelIO_Core::writeMRGBBloc(KVString(path.c_str()), few);
        s += std::string(" small=") + yesNo(small) + " size=" + std::to_string(sizeOf(path));
        if (!full.empty()) {
            // The writer deletes its file on failure: here that is the private node, never /dev/full.
            const bool toFull = KVKelIO_Core::writeMRGBBloc(KVString(full.c_str()), few);
            s += std::string(" full=") + yesNo(toFull);
        }
        return s;
    });
    if (!r.skip.empty()) GTEST_SKIP() << r.skip;
    ASSERT_TRUE(r.exited) << r.report;
    // 32 + 16 + 40 + 16 bytes for ten colours.
    EXPECT_NE(r.report.find("big=no file=no small=yes size=104"), std::string::npos) << r.report;
    if (r.report.rfind("[rlimit]", 0) != 0) {
        EXPECT_NE(r.report.find("full=no"), std::string::npos) << r.report;
    }
}

TEST(FailingDisk, ObjWriterReportsTheFullDisk) {
    const ChildOutcome r = onTinyDisk(16 * 1024, [](const std::string& dir, const std::string& full) {
        std::string s;
        const std::string path = dir + "/out.obj";
        FILE* f = std::fopen(path.c_str(), "w");
        if (f == nullptr) return std::string("open failed");
        bool flushed = true;
        {
            KVObjTextWriter writer(f, 4096);
            for (int i = 0; i < 5000; ++i) writer.writeVertex(1.5f, -2.25f, 3.0f);
            flushed = writer.flush();
            s += std::string("flush=") + yesNo(flushed) + " good=" + yesNo(writer.isGood());
        }
        std::fclose(f);
        s += " size<=disk=" + std::string(yesNo(sizeOf(path) <= 16 * 1024));
        if (!full.empty()) {
            FILE* g = std::fopen(full.c_str(), "w");
            if (g != nullptr) {
                KVObjTextWriter writer(g, 4096);
                writer.writeText("# header\n");
                for (int i = 0; i < 2000; ++i) writer.writeUV(0.5f, 0.25f);
                s += std::string(" full=") + yesNo(writer.flush());
                std::fclose(g);
            }
        }
        return s;
    });
    if (!r.skip.empty()) GTEST_SKIP() << r.skip;
    ASSERT_TRUE(r.exited) << r.report;
    EXPECT_NE(r.report.find("flush=no good=no size<=disk=yes"), std::string::npos) << r.report;
    if (r.report.rfind("[rlimit]", 0) != 0) {
        EXPECT_NE(r.report.find("full=no"), std::string::npos) << r.report;
    }
}

namespace {

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

}  // namespace

TEST(FailingDisk, ObjWriterStopsAtTheFirstFailedWrite) {
    // About 800 KB of text in 4 KiB blocks onto a 16 KiB disk: the blocks that fit, one refused,
    // and nothing after it. The stream's own buffer is off, so each block is one system call.
    const ChildOutcome r = onTinyDisk(16 * 1024, [](const std::string& dir, const std::string&) {
        const std::string path = dir + "/out.obj";
        FILE* f = std::fopen(path.c_str(), "w");
        if (f == nullptr || setvbuf(f, nullptr, _IONBF, 0) != 0) return std::string("open failed");
        const long before = writeCalls();
        bool flushed = true;
        {
            KVObjTextWriter writer(f, 4096);
            for (int i = 0; i < 20000; ++i) writer.writeVertex(0.125f, 0.5f, -7.0f);
            flushed = writer.flush();
        }
        const long calls = writeCalls() - before;
        std::fclose(f);
        std::remove(path.c_str());
        std::string s = std::string("flush=") + yesNo(flushed) + " few=" + yesNo(before >= 0 && calls <= 16 / 4 + 4);
        if (calls > 16 / 4 + 4) s += "(" + std::to_string(calls) + " calls)";
        return s;
    });
    if (!r.skip.empty()) GTEST_SKIP() << r.skip;
    ASSERT_TRUE(r.exited) << r.report;
    EXPECT_NE(r.report.find("flush=no few=yes"), std::string::npos) << r.report;
}

TEST(FailingDisk, ObjExportOfDeclaredMeshesReportsTheFullDisk) {
    // A mesh of 3,000 points: about 100 KB of OBJ text for a 16 KiB disk.
    char srcDir[] = "/tmp/trimora_mesh_XXXXXX";
    ASSERT_NE(mkdtemp(srcDir), nullptr);
    const std::string mesh = std::string(srcDir) + "/mesh.kel";
    {
        FILE* f = std::fopen(mesh.c_str(), "wb");
        ASSERT_NE(f, nullptr);
        const std::uint32_t n = 3000;
        const std::uint32_t header[4] = {10001u, 16u + 12u * n, n, 0u};
        const std::uint32_t end[4] = {0u, 16u, 0u, 0u};
        std::fwrite("Kelb", 1, 4, f);
        std::fwrite(std::vector<char>(28, 0).data(), 1, 28, f);
        std::fwrite(header, 4, 4, f);
        const std::vector<float> coords(3 * n, 0.333f);
        std::fwrite(coords.data(), 4, coords.size(), f);
        std::fwrite(end, 4, 4, f);
        ASSERT_EQ(std::fclose(f), 0);
    }
    const ChildOutcome r = onTinyDisk(16 * 1024, [&](const std::string& dir, const std::string& full) {
        KVArray<KVString> meshes;
        meshes.add(KVString(mesh.c_str()));
        KVArray<KVString> textures;
        textures.add(KVString());
        const std::string obj = dir + "/out.obj";
        std::string s = std::string("disk=") +
                        yesNo(ExportAllObjUtils::exportDeclaredKel(KVString(obj.c_str()), meshes, textures));
        // A mesh that fits is written whole.
        KVArray<KVString> none;
        s += std::string(" empty=") + yesNo(ExportAllObjUtils::exportDeclaredKel(KVString(obj.c_str()), none, none));
        if (!full.empty()) {
            s += std::string(" full=") +
                 yesNo(ExportAllObjUtils::exportDeclaredKel(KVString(full.c_str()), meshes, textures));
        }
        return s;
    });
    std::remove(mesh.c_str());
    rmdir(srcDir);
    if (!r.skip.empty()) GTEST_SKIP() << r.skip;
    ASSERT_TRUE(r.exited) << r.report;
    EXPECT_NE(r.report.find("disk=no empty=yes"), std::string::npos) << r.report;
    if (r.report.rfind("[rlimit]", 0) != 0) {
        EXPECT_NE(r.report.find("full=no"), std::string::npos) << r.report;
    }
}
