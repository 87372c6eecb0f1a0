// KVModuleSymbols: the real helper module trimora_symtest.so, hand-built ELF32/ELF64 images,
// and hostile files (garbage, truncations, corrupted fields).
#include "native/KVModuleSymbols.h"

#include <elf.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <string>
#include <vector>

#include "NativeTestSupport.h"

namespace {

std::string modulePath() { return nativetest::executableFolder() + "/trimora_symtest.so"; }

bool contains(const std::vector<std::string>& names, const std::string& name) {
    return std::find(names.begin(), names.end(), name) != names.end();
}

// Writes `bytes` to `path` and lists it.
bool listFile(const std::string& path, const std::string& bytes, std::vector<std::string>& names) {
    EXPECT_TRUE(writeFile(path, bytes)) << path;
    return KVModuleSymbols::listExportedDefinedSymbols(path, names);
}

class KVModuleSymbolsTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(m_tmp.ok());
        ASSERT_TRUE(readFile(modulePath(), m_module) && !m_module.empty())
            << "helper module missing: " << modulePath();
    }

    // Writes `bytes` to a scratch file and lists it.
    bool listBytes(const std::string& bytes, std::vector<std::string>& names) {
        return listFile(m_tmp / "scratch.so", bytes, names);
    }

    TempFolder m_tmp;
    std::string m_module;
};

TEST_F(KVModuleSymbolsTest, ListsDefaultVisibleDefinitionsOnly) {
    std::vector<std::string> names;
    ASSERT_TRUE(KVModuleSymbols::listExportedDefinedSymbols(modulePath(), names));
    EXPECT_TRUE(contains(names, "trimora_symtest_visible"));
    EXPECT_TRUE(contains(names, "trimora_symtest_visible_data"));
    EXPECT_FALSE(contains(names, "trimora_symtest_hidden"));
    EXPECT_FALSE(contains(names, "trimora_symtest_hidden_data"));
    EXPECT_FALSE(contains(names, "puts"));  // imported, not defined
    EXPECT_FALSE(contains(names, ""));
}

TEST_F(KVModuleSymbolsTest, MissingGarbageAndTruncatedFilesFail) {
    std::vector<std::string> names = {"kept"};
    EXPECT_FALSE(KVModuleSymbols::listExportedDefinedSymbols(m_tmp / "missing.so", names));
    EXPECT_FALSE(KVModuleSymbols::listExportedDefinedSymbols(m_tmp.path(), names));
    EXPECT_EQ(names, std::vector<std::string>{"kept"});  // untouched on failure
    EXPECT_FALSE(listBytes({}, names));
    std::string magicThenGarbage = nativetest::patternBytes(4096, 2);
    std::memcpy(&magicThenGarbage[0], ELFMAG, SELFMAG);
    EXPECT_FALSE(listBytes(magicThenGarbage, names));
    // Every length of the hand-built images fails below; here a few cuts of a real linker's layout.
    for (std::size_t n : {std::size_t(EI_NIDENT), sizeof(Elf64_Ehdr), m_module.size() / 2,
                          m_module.size() - sizeof(Elf64_Shdr), m_module.size() - 1})
        EXPECT_FALSE(listBytes(m_module.substr(0, n), names)) << "cut at " << n << " of " << m_module.size();
}

// ---- hand-built images of both classes ----

struct SymbolCase {
    const char* name;
    unsigned char bind;
    unsigned char type;
    unsigned char visibility;
    bool defined;
};

const SymbolCase kSymbolCases[] = {
    {"exported_func", STB_GLOBAL, STT_FUNC, STV_DEFAULT, true},
    {"weak_object", STB_WEAK, STT_OBJECT, STV_DEFAULT, true},
    {"protected_func", STB_GLOBAL, STT_FUNC, STV_PROTECTED, true},
    {"tls_object", STB_GLOBAL, STT_TLS, STV_DEFAULT, true},
    {"imported_func", STB_GLOBAL, STT_FUNC, STV_DEFAULT, false},
    {"hidden_func", STB_GLOBAL, STT_FUNC, STV_HIDDEN, true},
    {"internal_func", STB_GLOBAL, STT_FUNC, STV_INTERNAL, true},
    {"local_func", STB_LOCAL, STT_FUNC, STV_DEFAULT, true},
    {"section_sym", STB_GLOBAL, STT_SECTION, STV_DEFAULT, true},
    {"file_sym", STB_GLOBAL, STT_FILE, STV_DEFAULT, true},
};

const std::vector<std::string> kExpected = {"exported_func", "weak_object", "protected_func", "tls_object"};

template <typename Ehdr, typename Shdr, typename Sym>
struct Image {
    std::string bytes;
    std::size_t shoff = 0;
    std::size_t symoff = 0;
    std::size_t stroff = 0;
    std::size_t strsize = 0;
};

// Layout: header, string table, symbol table, section headers [null, .dynsym, .dynstr].
template <typename Ehdr, typename Shdr, typename Sym>
Image<Ehdr, Shdr, Sym> buildImage(unsigned char elfClass) {
    Image<Ehdr, Shdr, Sym> image;
    std::string strings(1, '\0');
    std::vector<Sym> syms(1);
    std::memset(&syms[0], 0, sizeof(Sym));
    for (const SymbolCase& sym : kSymbolCases) {
        Sym s;
        std::memset(&s, 0, sizeof s);
        s.st_name = static_cast<decltype(s.st_name)>(strings.size());
        strings += sym.name;
        strings += '\0';
        s.st_info = static_cast<unsigned char>((sym.bind << 4) | sym.type);
        s.st_other = sym.visibility;
        s.st_shndx = sym.defined ? 1 : SHN_UNDEF;
        syms.push_back(s);
    }

    image.stroff = sizeof(Ehdr);
    image.strsize = strings.size();
    image.symoff = (image.stroff + strings.size() + 7) & ~std::size_t(7);
    image.shoff = (image.symoff + syms.size() * sizeof(Sym) + 7) & ~std::size_t(7);
    image.bytes.assign(image.shoff + 3 * sizeof(Shdr), '\0');

    Ehdr eh;
    std::memset(&eh, 0, sizeof eh);
    std::memcpy(eh.e_ident, ELFMAG, SELFMAG);
    eh.e_ident[EI_CLASS] = elfClass;
    eh.e_ident[EI_DATA] = ELFDATA2LSB;
    eh.e_ident[EI_VERSION] = EV_CURRENT;
    eh.e_type = ET_DYN;
    eh.e_machine = elfClass == ELFCLASS64 ? EM_X86_64 : EM_386;
    eh.e_version = EV_CURRENT;
    eh.e_ehsize = sizeof(Ehdr);
    eh.e_shoff = image.shoff;
    eh.e_shentsize = sizeof(Shdr);
    eh.e_shnum = 3;
    std::memcpy(&image.bytes[0], &eh, sizeof eh);
    std::memcpy(&image.bytes[0] + image.stroff, strings.data(), strings.size());
    std::memcpy(&image.bytes[0] + image.symoff, syms.data(), syms.size() * sizeof(Sym));

    Shdr sh[3];
    std::memset(sh, 0, sizeof sh);
    sh[1].sh_type = SHT_DYNSYM;
    sh[1].sh_offset = image.symoff;
    sh[1].sh_size = syms.size() * sizeof(Sym);
    sh[1].sh_entsize = sizeof(Sym);
    sh[1].sh_link = 2;
    sh[2].sh_type = SHT_STRTAB;
    sh[2].sh_offset = image.stroff;
    sh[2].sh_size = strings.size();
    std::memcpy(&image.bytes[0] + image.shoff, sh, sizeof sh);
    return image;
}

// A copy of `bytes` with the record of type T at `offset` changed by `edit`.
template <typename T, typename Edit>
std::string patched(const std::string& bytes, std::size_t offset, Edit edit) {
    std::string copy = bytes;
    T record;
    std::memcpy(&record, &copy[offset], sizeof record);
    edit(record);
    std::memcpy(&copy[offset], &record, sizeof record);
    return copy;
}

template <typename Ehdr, typename Shdr, typename Sym>
void checkHandBuilt(const std::string& scratch, unsigned char elfClass) {
    const Image<Ehdr, Shdr, Sym> image = buildImage<Ehdr, Shdr, Sym>(elfClass);
    const std::size_t firstSym = image.symoff + sizeof(Sym), strHeader = image.shoff + 2 * sizeof(Shdr);
    std::vector<std::string> names;
    ASSERT_TRUE(listFile(scratch, image.bytes, names));
    EXPECT_EQ(names, kExpected);

    // A name offset past the string table.
    const auto nameAt = [](std::size_t at) { return [at](Sym& s) { s.st_name = static_cast<decltype(s.st_name)>(at); }; };
    EXPECT_FALSE(listFile(scratch, patched<Sym>(image.bytes, firstSym, nameAt(image.strsize + 100)), names));

    // The string table shortened by its final NUL (that of "file_sym", listed last): a FILE symbol
    // is skipped before its name is read, so the image is still accepted...
    const std::string unterminated = patched<Shdr>(image.bytes, strHeader, [](Shdr& h) { h.sh_size -= 1; });
    EXPECT_TRUE(listFile(scratch, unterminated, names));
    EXPECT_EQ(names, kExpected);
    // ...but an exported name that runs off the end of the table ("ym", its NUL now outside) is refused.
    EXPECT_FALSE(listFile(scratch, patched<Sym>(unterminated, firstSym, nameAt(image.strsize - 3)), names));

    // One corrupted field at a time, in the file header and the two section headers: each refused.
    const std::size_t symHeader = image.shoff + sizeof(Shdr);
    const auto refused = [&](const std::string& bytes) { return !listFile(scratch, bytes, names); };
    const auto header = [&](auto edit) { return refused(patched<Ehdr>(image.bytes, 0, edit)); };
    const auto section = [&](std::size_t at, auto edit) { return refused(patched<Shdr>(image.bytes, at, edit)); };
    EXPECT_TRUE(header([](Ehdr& h) { h.e_shoff = ~decltype(h.e_shoff)(0) - 8; }));
    EXPECT_TRUE(header([](Ehdr& h) { h.e_shnum = 0xFFFF; }));
    EXPECT_TRUE(header([](Ehdr& h) { h.e_shentsize = 8; }));
    EXPECT_TRUE(header([](Ehdr& h) { h.e_ident[EI_DATA] = ELFDATA2MSB; }));
    EXPECT_TRUE(header([](Ehdr& h) { h.e_ident[EI_CLASS] = 7; }));
    for (std::size_t at : {symHeader, strHeader}) {
        EXPECT_TRUE(section(at, [](Shdr& h) { h.sh_offset = ~decltype(h.sh_offset)(0) - 8; })) << at;
        EXPECT_TRUE(section(at, [](Shdr& h) { h.sh_size = ~decltype(h.sh_size)(0) - 8; })) << at;
    }
    EXPECT_TRUE(section(symHeader, [](Shdr& h) { h.sh_entsize = 0; }));
    EXPECT_TRUE(section(symHeader, [](Shdr& h) { h.sh_type = SHT_PROGBITS; }));
    EXPECT_TRUE(section(symHeader, [](Shdr& h) { h.sh_link = 0xFFFF; }));
    // The string-table link pointing at the null section or at one that is not a string table.
    EXPECT_TRUE(section(symHeader, [](Shdr& h) { h.sh_link = 0; }));
    EXPECT_TRUE(section(symHeader, [](Shdr& h) { h.sh_link = 1; }));

    // Every truncation fails.
    for (std::size_t n = 0; n < image.bytes.size(); ++n)
        EXPECT_FALSE(listFile(scratch, image.bytes.substr(0, n), names)) << "cut at " << n;
}

TEST(KVModuleSymbolsHandBuiltTest, BothClassesListTheRightSymbols) {
    TempFolder tmp;
    checkHandBuilt<Elf64_Ehdr, Elf64_Shdr, Elf64_Sym>(tmp / "image64.so", ELFCLASS64);
    checkHandBuilt<Elf32_Ehdr, Elf32_Shdr, Elf32_Sym>(tmp / "image32.so", ELFCLASS32);
}

}  // namespace
