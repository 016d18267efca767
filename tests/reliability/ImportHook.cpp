#include "tests/reliability/ImportHook.h"

#include <cstdint>
#include <cstring>
#include <dlfcn.h>
#include <elf.h>
#include <link.h>
#include <stdexcept>
#include <string>
#include <sys/mman.h>
#include <unistd.h>

namespace zebtest {
namespace {

/** What the dynamic section says of one table. */
struct Section {
    ElfW(Addr) address = 0;
    ElfW(Addr) value = 0;
};

Section find(const link_map& map, ElfW(Sxword) tag) {
    for (const ElfW(Dyn)* entry = map.l_ld; entry->d_tag != DT_NULL; ++entry) {
        if (entry->d_tag == static_cast<decltype(entry->d_tag)>(tag))
            return {entry->d_un.d_ptr, entry->d_un.d_val};
    }
    return {};
}

#if __WORDSIZE == 64
std::size_t symbolOf(ElfW(Xword) info) { return ELF64_R_SYM(info); }
#else
std::size_t symbolOf(ElfW(Word) info) { return ELF32_R_SYM(info); }
#endif

/** Store a pointer where the loader has made the page read-only. */
void* exchange(void** place, void* value) {
    const auto page = static_cast<std::uintptr_t>(sysconf(_SC_PAGESIZE));
    const auto begin = reinterpret_cast<std::uintptr_t>(place) & ~(page - 1);
    if (mprotect(reinterpret_cast<void*>(begin), 2 * page, PROT_READ | PROT_WRITE) != 0 &&
        mprotect(reinterpret_cast<void*>(begin), page, PROT_READ | PROT_WRITE) != 0)
        throw std::runtime_error("mprotect failed");
    void* before = *place;
    *place = value;
    return before;
}

/** Replace the symbol in one table of relocations. */
template <class Relocation>
void* replaceIn(const link_map& map, Section table, Section bytes, const char* symbol, void* replacement) {
    const auto* symbols = reinterpret_cast<const ElfW(Sym)*>(find(map, DT_SYMTAB).address);
    const auto* names = reinterpret_cast<const char*>(find(map, DT_STRTAB).address);
    const auto* begin = reinterpret_cast<const Relocation*>(table.address);
    void* before = nullptr;
    for (const Relocation* r = begin; r && r < begin + bytes.value / sizeof(Relocation); ++r) {
        if (std::strcmp(names + symbols[symbolOf(r->r_info)].st_name, symbol) == 0 && symbolOf(r->r_info))
            before = exchange(reinterpret_cast<void**>(map.l_addr + r->r_offset), replacement);
    }
    return before;
}

} // namespace

ImportHook::ImportHook(const char* library) : mpLibrary(dlopen(library, RTLD_NOW | RTLD_NOLOAD)) {
    if (!mpLibrary)
        throw std::runtime_error(std::string("not loaded: ") + library);
}

ImportHook::~ImportHook() { dlclose(mpLibrary); }

void* ImportHook::replace(const char* symbol, void* replacement) const {
    link_map* map = nullptr;
    if (dlinfo(mpLibrary, RTLD_DI_LINKMAP, &map) != 0)
        throw std::runtime_error("dlinfo failed");
    void* calls =
        find(*map, DT_PLTREL).value == DT_RELA
            ? replaceIn<ElfW(Rela)>(*map, find(*map, DT_JMPREL), find(*map, DT_PLTRELSZ), symbol, replacement)
            : replaceIn<ElfW(Rel)>(*map, find(*map, DT_JMPREL), find(*map, DT_PLTRELSZ), symbol, replacement);
    void* addresses =
        find(*map, DT_RELA).address
            ? replaceIn<ElfW(Rela)>(*map, find(*map, DT_RELA), find(*map, DT_RELASZ), symbol, replacement)
            : replaceIn<ElfW(Rel)>(*map, find(*map, DT_REL), find(*map, DT_RELSZ), symbol, replacement);
    return calls ? calls : addresses;
}

} // namespace zebtest
