#include "host/ElfFile.h"

#include <array>
#include <bit>
#include <cstring>
#include <elf.h>
#include <link.h>

// The linker defines it as the first byte of the program.
extern "C" const ElfW(Ehdr) __ehdr_start __attribute__((visibility("hidden")));

namespace zebhost {
namespace {

constexpr uint16_t kVersionHidden = 0x8000;

struct Elf32 {
    using Header = Elf32_Ehdr;
    using Segment = Elf32_Phdr;
    using Section = Elf32_Shdr;
    using Symbol = Elf32_Sym;
    using Definition = Elf32_Verdef;
    using Name = Elf32_Verdaux;
};

struct Elf64 {
    using Header = Elf64_Ehdr;
    using Segment = Elf64_Phdr;
    using Section = Elf64_Shdr;
    using Symbol = Elf64_Sym;
    using Definition = Elf64_Verdef;
    using Name = Elf64_Verdaux;
};

/** The file is cut, or its tables lead out of it. */
struct Damaged {};

std::string_view part(std::string_view file, uint64_t offset, uint64_t size) {
    if (offset > file.size() || size > file.size() - offset)
        throw Damaged();
    return file.substr(static_cast<size_t>(offset), static_cast<size_t>(size));
}

/** A record is copied out: nothing says that it is aligned. */
template <class Record>
Record recordAt(std::string_view bytes, uint64_t offset) {
    Record record;
    std::memcpy(&record, part(bytes, offset, sizeof record).data(), sizeof record);
    return record;
}

std::string textAt(std::string_view bytes, uint64_t offset) {
    std::string_view rest = part(bytes, offset, offset < bytes.size() ? bytes.size() - offset : 1);
    return std::string(rest.substr(0, rest.find('\0')));
}

template <class Elf>
class Tables {
public:
    explicit Tables(std::string_view file) : mFile(file), mHeader(recordAt<typename Elf::Header>(file, 0)) {}

    /** The first section of a type, and its place in the table; none when there is none. */
    std::optional<typename Elf::Section> find(uint32_t type) const {
        for (uint16_t i = 0; i < mHeader.e_shnum; ++i) {
            if (auto found = section(i); found.sh_type == type)
                return found;
        }
        return std::nullopt;
    }
    typename Elf::Section section(uint32_t index) const {
        return recordAt<typename Elf::Section>(mFile, mHeader.e_shoff +
                                                          uint64_t{index} * sizeof(typename Elf::Section));
    }
    std::string_view content(const typename Elf::Section& s) const {
        return part(mFile, s.sh_offset, s.sh_size);
    }
    std::string_view texts(const typename Elf::Section& user) const { return content(section(user.sh_link)); }

    /** The name of the version with this index, as the file defines it. */
    std::string versionName(uint16_t index) const {
        auto definitions = find(SHT_GNU_verdef);
        if (!definitions)
            return "";
        uint64_t offset = 0;
        for (uint32_t i = 0; i < definitions->sh_info; ++i) {
            auto definition = recordAt<typename Elf::Definition>(content(*definitions), offset);
            if (definition.vd_ndx == index) {
                auto name = recordAt<typename Elf::Name>(content(*definitions), offset + definition.vd_aux);
                return textAt(texts(*definitions), name.vda_name);
            }
            offset += definition.vd_next;
        }
        return "";
    }

private:
    std::string_view mFile;
    typename Elf::Header mHeader;
};

template <class Elf>
std::optional<std::vector<std::string>> versionsOf(std::string_view file, std::string_view name) {
    Tables<Elf> tables(file);
    auto symbols = tables.find(SHT_DYNSYM);
    if (!symbols)
        return std::nullopt;
    auto indexes = tables.find(SHT_GNU_versym);
    std::string_view content = tables.content(*symbols);
    std::vector<std::string> versions;
    for (uint64_t i = 0; i < content.size() / sizeof(typename Elf::Symbol); ++i) {
        auto symbol = recordAt<typename Elf::Symbol>(content, i * sizeof(typename Elf::Symbol));
        if (symbol.st_shndx == SHN_UNDEF || textAt(tables.texts(*symbols), symbol.st_name) != name)
            continue;
        uint16_t index = VER_NDX_GLOBAL;
        if (indexes)
            index = recordAt<uint16_t>(tables.content(*indexes), i * sizeof index);
        index = static_cast<uint16_t>(index & ~kVersionHidden);
        versions.push_back(index > VER_NDX_GLOBAL ? tables.versionName(index) : "");
    }
    return versions;
}

template <class Elf>
bool segmentsLieWithin(std::string_view file, uint64_t size) {
    auto header = recordAt<typename Elf::Header>(file, 0);
    for (uint16_t i = 0; i < header.e_phnum; ++i) {
        auto segment = recordAt<typename Elf::Segment>(file, header.e_phoff +
                                                                 uint64_t{i} * sizeof(typename Elf::Segment));
        uint64_t end = uint64_t{segment.p_offset} + segment.p_filesz;
        if (segment.p_type == PT_LOAD && (end > size || end < segment.p_offset))
            return false;
    }
    return true;
}

std::string machineName(uint16_t machine) {
    switch (machine) {
    case EM_ARM:
        return "ARM";
    case EM_AARCH64:
        return "ARM";
    case EM_386:
        return "x86";
    case EM_X86_64:
        return "x86";
    case EM_MIPS:
        return "MIPS";
    case EM_RISCV:
        return "RISC-V";
    case EM_PPC:
    case EM_PPC64:
        return "PowerPC";
    default:
        return "machine " + std::to_string(machine);
    }
}

} // namespace

bool ElfIdentity::isSharedObject() const { return type == ET_DYN; }

std::string ElfIdentity::name() const { return std::to_string(bits) + "-bit " + machineName(machine); }

std::optional<ElfIdentity> elfIdentity(std::string_view file) {
    // Both headers are the same up to the machine.
    constexpr size_t kTypeOffset = EI_NIDENT;
    if (file.size() < sizeof(Elf32_Ehdr) || !file.starts_with(ELFMAG))
        return std::nullopt;
    ElfIdentity identity;
    identity.bits = file[EI_CLASS] == ELFCLASS32 ? 32 : file[EI_CLASS] == ELFCLASS64 ? 64 : 0;
    identity.isLittleEndian = file[EI_DATA] != ELFDATA2MSB;
    auto half = [&](size_t at) {
        auto low = static_cast<uint8_t>(file[identity.isLittleEndian ? at : at + 1]);
        auto high = static_cast<uint8_t>(file[identity.isLittleEndian ? at + 1 : at]);
        return static_cast<uint16_t>(low | high << 8);
    };
    identity.type = half(kTypeOffset);
    identity.machine = half(kTypeOffset + 2);
    return identity;
}

ElfIdentity ownElfIdentity() {
    return *elfIdentity({reinterpret_cast<const char*>(&__ehdr_start), sizeof __ehdr_start});
}

std::optional<std::vector<std::string>> exportedVersions(std::string_view file, std::string_view symbol) try {
    std::optional<ElfIdentity> identity = elfIdentity(file);
    if (!identity || identity->isLittleEndian != (std::endian::native == std::endian::little))
        return std::nullopt;
    return identity->bits == 64 ? versionsOf<Elf64>(file, symbol) : versionsOf<Elf32>(file, symbol);
} catch (const Damaged&) {
    return std::nullopt;
}

bool endsBeforeItsSegments(std::string_view start, uint64_t size) try {
    return elfIdentity(start)->bits == 64 ? !segmentsLieWithin<Elf64>(start, size)
                                          : !segmentsLieWithin<Elf32>(start, size);
} catch (const Damaged&) {
    return true;
}

} // namespace zebhost
