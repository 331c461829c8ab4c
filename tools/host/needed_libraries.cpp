#include "tools/host/needed_libraries.h"

#include <link.h>

#include <array>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <limits>

namespace ac500::host {

namespace {

constexpr unsigned char kNativeClass = sizeof(void*) == 8 ? ELFCLASS64 : ELFCLASS32;
constexpr unsigned char kNativeData = __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__ ? ELFDATA2LSB : ELFDATA2MSB;
constexpr std::size_t kLongestName = 255;  // of a file

// A file that may hold anything: each access looks whether the bytes are there. Only what is asked for is read: with debug
// information a library has tens of megabytes, and every command looks at it.
class ElfFile {
public:
    explicit ElfFile(const std::string& path) : file_(path, std::ios::binary) {
        ElfW(Ehdr) header;
        if (read(0, &header) && std::memcmp(header.e_ident, ELFMAG, SELFMAG) == 0 &&
            header.e_ident[EI_CLASS] == kNativeClass && header.e_ident[EI_DATA] == kNativeData &&
            header.e_phentsize == sizeof(ElfW(Phdr))) {
            readSegments(header);
            readDynamic();
        }
    }

    std::vector<std::string> needed() {
        std::vector<std::string> names;
        const std::uint64_t strings = stringTable();
        for (const ElfW(Dyn) & entry : dynamic_) {
            if (entry.d_tag == DT_NEEDED && strings != 0) {
                names.push_back(text(strings + entry.d_un.d_val));
            }
        }
        return names;
    }

private:
    // Returns how many bytes there were.
    std::size_t readBytes(std::uint64_t offset, char* to, std::size_t size) {
        if (offset > static_cast<std::uint64_t>(std::numeric_limits<std::streamoff>::max())) {
            return 0;
        }
        file_.clear();
        file_.seekg(static_cast<std::streamoff>(offset));
        file_.read(to, static_cast<std::streamsize>(size));
        return static_cast<std::size_t>(file_.gcount());
    }

    template <typename Record>
    bool read(std::uint64_t offset, Record* record) {
        return readBytes(offset, reinterpret_cast<char*>(record), sizeof(Record)) == sizeof(Record);
    }

    // Up to the next zero byte; cut where no file has so long a name, and at the end of this one.
    std::string text(std::uint64_t offset) {
        std::array<char, kLongestName> bytes;
        const std::size_t size = readBytes(offset, bytes.data(), bytes.size());
        return std::string(bytes.data(), ::strnlen(bytes.data(), size));
    }

    void readSegments(const ElfW(Ehdr) & header) {
        ElfW(Phdr) segment;
        for (std::uint64_t i = 0; i < header.e_phnum && read(header.e_phoff + i * sizeof segment, &segment); ++i) {
            segments_.push_back(segment);
        }
    }

    void readDynamic() {
        for (const ElfW(Phdr) & segment : segments_) {
            if (segment.p_type != PT_DYNAMIC) {
                continue;
            }
            ElfW(Dyn) entry;
            for (std::uint64_t at = 0;
                 at < segment.p_filesz && read(segment.p_offset + at, &entry) && entry.d_tag != DT_NULL;
                 at += sizeof entry) {
                dynamic_.push_back(entry);
            }
            return;
        }
    }

    // Where in the file the names stand; 0, which is the header's place, when nowhere.
    std::uint64_t stringTable() const {
        for (const ElfW(Dyn) & entry : dynamic_) {
            if (entry.d_tag == DT_STRTAB) {
                return fileOffset(entry.d_un.d_ptr);
            }
        }
        return 0;
    }

    std::uint64_t fileOffset(std::uint64_t address) const {
        for (const ElfW(Phdr) & segment : segments_) {
            if (segment.p_type == PT_LOAD && address >= segment.p_vaddr &&
                address - segment.p_vaddr < segment.p_filesz) {
                return segment.p_offset + (address - segment.p_vaddr);
            }
        }
        return 0;
    }

    std::ifstream file_;
    std::vector<ElfW(Phdr)> segments_;
    std::vector<ElfW(Dyn)> dynamic_;
};

}  // namespace

std::vector<std::string> neededLibraries(const std::string& path) {
    return ElfFile(path).needed();
}

int qtVersionAmong(const std::vector<std::string>& libraries) {
    const std::string beforeVersion = "Core.so.";
    for (const std::string& name : libraries) {
        const std::size_t found = name.find(beforeVersion);
        if (name.rfind("libQt", 0) == 0 && found != std::string::npos) {
            return std::atoi(name.c_str() + found + beforeVersion.size());
        }
    }
    return 0;
}

}  // namespace ac500::host
