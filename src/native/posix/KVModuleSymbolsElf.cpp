// KVModuleSymbols for ELF: the defined, exported names of a module's dynamic symbol table.
#include "native/KVModuleSymbols.h"

#include <elf.h>
#include <sys/stat.h>

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <limits>
#include <string>
#include <unordered_set>
#include <vector>

namespace KVModuleSymbols {

namespace {

// Modules larger than this are refused rather than read into memory.
constexpr std::uint64_t kMaxModuleSize = std::uint64_t(1) << 30;

bool readWholeFile(const std::string& path, std::vector<unsigned char>& bytes) {
    FILE* f = std::fopen(path.c_str(), "rb");
    if (f == nullptr) return false;
    struct stat st;
    bool ok = fstat(fileno(f), &st) == 0 && S_ISREG(st.st_mode) && st.st_size >= 0 &&
              static_cast<std::uint64_t>(st.st_size) <= kMaxModuleSize;
    if (ok) {
        bytes.resize(static_cast<std::size_t>(st.st_size));
        ok = bytes.empty() || std::fread(bytes.data(), 1, bytes.size(), f) == bytes.size();
    }
    std::fclose(f);
    return ok;
}

// True when [offset, offset + length) lies inside a buffer of `size` bytes (compared by subtraction).
bool inside(std::uint64_t size, std::uint64_t offset, std::uint64_t length) {
    return offset <= size && length <= size - offset;
}

// Copies a record out of the buffer, so no misaligned access is made. The caller checked bounds.
template <typename T>
T load(const std::vector<unsigned char>& bytes, std::uint64_t offset) {
    T value;
    std::memcpy(&value, bytes.data() + offset, sizeof(T));
    return value;
}

struct Elf64Types {
    using Ehdr = Elf64_Ehdr;
    using Shdr = Elf64_Shdr;
    using Sym = Elf64_Sym;
    static unsigned char bind(const Sym& s) { return ELF64_ST_BIND(s.st_info); }
    static unsigned char type(const Sym& s) { return ELF64_ST_TYPE(s.st_info); }
    static unsigned char visibility(const Sym& s) { return ELF64_ST_VISIBILITY(s.st_other); }
};

struct Elf32Types {
    using Ehdr = Elf32_Ehdr;
    using Shdr = Elf32_Shdr;
    using Sym = Elf32_Sym;
    static unsigned char bind(const Sym& s) { return ELF32_ST_BIND(s.st_info); }
    static unsigned char type(const Sym& s) { return ELF32_ST_TYPE(s.st_info); }
    static unsigned char visibility(const Sym& s) { return ELF32_ST_VISIBILITY(s.st_other); }
};

template <typename E>
bool listSymbols(const std::vector<unsigned char>& bytes, std::vector<std::string>& names) {
    using Ehdr = typename E::Ehdr;
    using Shdr = typename E::Shdr;
    using Sym = typename E::Sym;
    const std::uint64_t size = bytes.size();

    if (!inside(size, 0, sizeof(Ehdr))) return false;
    const Ehdr eh = load<Ehdr>(bytes, 0);
    if (eh.e_ehsize < sizeof(Ehdr)) return false;

    // Section header table.
    const std::uint64_t shoff = eh.e_shoff;
    const std::uint64_t shentsize = eh.e_shentsize;
    if (shoff == 0 || shentsize < sizeof(Shdr)) return false;
    if (!inside(size, shoff, sizeof(Shdr))) return false;
    std::uint64_t shnum = eh.e_shnum;
    if (shnum == 0) {
        // Extended numbering: the real count is in the first section header's size.
        shnum = load<Shdr>(bytes, shoff).sh_size;
    }
    if (shnum == 0 || shnum > (size - shoff) / shentsize) return false;

    auto section = [&](std::uint64_t index) { return load<Shdr>(bytes, shoff + index * shentsize); };

    // The dynamic symbol table (the first one) and its string table.
    std::uint64_t dynsymIndex = 0;
    for (std::uint64_t i = 1; i < shnum && dynsymIndex == 0; ++i) {
        if (section(i).sh_type == SHT_DYNSYM) dynsymIndex = i;
    }
    if (dynsymIndex == 0) return false;
    const Shdr symtab = section(dynsymIndex);
    const std::uint64_t strIndex = symtab.sh_link;
    if (strIndex == 0 || strIndex >= shnum || strIndex == dynsymIndex) return false;
    const Shdr strtab = section(strIndex);
    if (strtab.sh_type != SHT_STRTAB) return false;

    const std::uint64_t symOff = symtab.sh_offset;
    const std::uint64_t symSize = symtab.sh_size;
    const std::uint64_t symEnt = symtab.sh_entsize;
    const std::uint64_t strOff = strtab.sh_offset;
    const std::uint64_t strSize = strtab.sh_size;
    if (symEnt < sizeof(Sym) || !inside(size, symOff, symSize)) return false;
    if (!inside(size, strOff, strSize)) return false;
    const std::uint64_t count = symSize / symEnt;

    std::vector<std::string> found;
    std::unordered_set<std::string> seen;
    // Entry 0 is the reserved null symbol.
    for (std::uint64_t i = 1; i < count; ++i) {
        const Sym sym = load<Sym>(bytes, symOff + i * symEnt);
        if (sym.st_shndx == SHN_UNDEF) continue;
        const unsigned char bind = E::bind(sym);
        if (bind != STB_GLOBAL && bind != STB_WEAK) continue;
        const unsigned char type = E::type(sym);
        if (type == STT_SECTION || type == STT_FILE) continue;
        const unsigned char vis = E::visibility(sym);
        if (vis != STV_DEFAULT && vis != STV_PROTECTED) continue;

        const std::uint64_t nameOff = sym.st_name;
        if (nameOff >= strSize) return false;
        const unsigned char* start = bytes.data() + strOff + nameOff;
        const void* nul = std::memchr(start, 0, static_cast<std::size_t>(strSize - nameOff));
        if (nul == nullptr) return false;  // an unterminated name runs off its table
        const std::size_t length = static_cast<std::size_t>(static_cast<const unsigned char*>(nul) - start);
        if (length == 0) continue;
        std::string name(reinterpret_cast<const char*>(start), length);
        if (seen.insert(name).second) found.push_back(std::move(name));
    }
    names.swap(found);
    return true;
}

}  // namespace

// Reads both ELF classes, little-endian only. A file without a dynamic symbol table is not a
// module and answers false. `names` is replaced only on success.
bool listExportedDefinedSymbols(const std::string& path, std::vector<std::string>& names) {
#if defined(__BYTE_ORDER__) && __BYTE_ORDER__ != __ORDER_LITTLE_ENDIAN__
    (void)path;
    (void)names;
    return false;  // the records are read in host order
#else
    std::vector<unsigned char> bytes;
    if (!readWholeFile(path, bytes)) return false;
    if (bytes.size() < EI_NIDENT) return false;
    if (std::memcmp(bytes.data(), ELFMAG, SELFMAG) != 0) return false;
    if (bytes[EI_DATA] != ELFDATA2LSB || bytes[EI_VERSION] != EV_CURRENT) return false;
    switch (bytes[EI_CLASS]) {
        case ELFCLASS64:
            return listSymbols<Elf64Types>(bytes, names);
        case ELFCLASS32:
            return listSymbols<Elf32Types>(bytes, names);
        default:
            return false;
    }
#endif
}

}  // namespace KVModuleSymbols
