// Keeps a sanitized 32-bit ARM program under qemu-user within the addresses that the sanitizer knows. Linked into every
// executable of such a build.
//
// The address sanitizer takes the top quarter of the address space for the kernel's and has no shadow for it; a chunk
// that merely ends where the quarter begins is too much for it already. qemu-user knows no such border: once the
// program has mapped about 600 MB in all, freed or not, it goes on at the top, and the sanitizer breaks down in the
// middle of reporting that. So these addresses are taken before anybody else asks, with the margin that a 32-bit kernel
// leaves. Where a kernel keeps them for itself nothing happens.
#include <cstddef>
#include <cstdint>

#include <sys/mman.h>

namespace {

const std::uintptr_t kUserSpaceEnd = 0xBF000000;
const std::uintptr_t kVectorPage = 0xFFFF0000;

// The address is a wish, not a demand: what is in use already stays.
void leaveTheKernelItsQuarter() {
    const std::size_t size = kVectorPage - kUserSpaceEnd;
    void* const wanted = reinterpret_cast<void*>(kUserSpaceEnd);
    void* const taken = mmap(wanted, size, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (taken != wanted && taken != MAP_FAILED) {
        munmap(taken, size);
    }
}

using Initialiser = void (*)();
[[gnu::section(".preinit_array"), gnu::used]] const Initialiser kFirst = leaveTheKernelItsQuarter;

}  // namespace
