#include "tools/doctor/elf_identity.h"

#include <elf.h>
#include <fmt/format.h>

#include <cstdint>
#include <cstring>
#include <fstream>

namespace ac500::doctor {

namespace {

// Up to e_flags of the longer of the two headers; the fields lie where elf.h has them.
constexpr std::size_t kHeaderBytes = sizeof(Elf64_Ehdr);
constexpr std::size_t kMachineAt = offsetof(Elf32_Ehdr, e_machine);
static_assert(kMachineAt == offsetof(Elf64_Ehdr, e_machine), "one place for both widths");

std::string fileHead(const std::string& path, bool* isReadable) {
    std::ifstream file(path, std::ios::binary);
    std::string head(kHeaderBytes, '\0');
    file.read(&head[0], static_cast<std::streamsize>(head.size()));
    *isReadable = file.gcount() > 0 || file.eof();
    head.resize(static_cast<std::size_t>(file.gcount()));
    return head;
}

bool isBigEndian(const std::string& head) {
    return head[EI_DATA] == ELFDATA2MSB;
}

// REQUIRES: size <= 4, and the bytes are there
std::uint32_t number(const std::string& head, std::size_t at, std::size_t size) {
    std::uint32_t value = 0;
    for (std::size_t i = 0; i < size; ++i) {
        const std::size_t from = at + (isBigEndian(head) ? i : size - 1 - i);
        value = value << 8 | static_cast<unsigned char>(head[from]);
    }
    return value;
}

std::string processor(std::uint32_t machine) {
    switch (machine) {
        case EM_386:
            return "x86";
        case EM_X86_64:
            return "x86-64";
        case EM_ARM:
            return "ARM";
        case EM_AARCH64:
            return "ARM (AArch64)";
        case EM_PPC:
            return "PowerPC";
        case EM_PPC64:
            return "PowerPC 64";
        case EM_MIPS:
            return "MIPS";
        case EM_RISCV:
            return "RISC-V";
        default:
            return fmt::format("processor {}", machine);
    }
}

std::string floatText(const std::string& head, std::uint32_t machine) {
    if (machine != EM_ARM || head[EI_CLASS] != ELFCLASS32) {
        return "";
    }
    const std::uint32_t flags = number(head, offsetof(Elf32_Ehdr, e_flags), 4);
    if ((flags & EF_ARM_ABI_FLOAT_HARD) != 0) {
        return ", hard float";
    }
    return (flags & EF_ARM_ABI_FLOAT_SOFT) != 0 ? ", soft float" : "";
}

bool isElfHead(const std::string& head) {
    return head.size() >= sizeof(Elf32_Ehdr) && std::memcmp(head.data(), ELFMAG, SELFMAG) == 0 &&
           (head[EI_CLASS] == ELFCLASS32 || head[EI_CLASS] == ELFCLASS64) &&
           (head[EI_DATA] == ELFDATA2LSB || head[EI_DATA] == ELFDATA2MSB);
}

std::string textOf(const std::string& head) {
    const std::uint32_t machine = number(head, kMachineAt, 2);
    return fmt::format("{}-bit {}{}{}", head[EI_CLASS] == ELFCLASS64 ? 64 : 32, processor(machine),
                       floatText(head, machine), isBigEndian(head) ? ", big-endian" : "");
}

std::string ownHead() {
    bool ignored = false;
    return fileHead("/proc/self/exe", &ignored);
}

}  // namespace

ElfIdentity elfIdentity(const std::string& path) {
    ElfIdentity identity;
    const std::string head = fileHead(path, &identity.isReadable);
    identity.isElf = isElfHead(head);
    if (identity.isElf) {
        identity.text = textOf(head);
        const std::string own = ownHead();
        identity.isOfThisMachine = isElfHead(own) && own[EI_CLASS] == head[EI_CLASS] && own[EI_DATA] == head[EI_DATA] &&
                                   number(own, kMachineAt, 2) == number(head, kMachineAt, 2);
    }
    return identity;
}

std::string thisMachine() {
    const std::string own = ownHead();
    return isElfHead(own) ? textOf(own) : "unknown";
}

}  // namespace ac500::doctor
