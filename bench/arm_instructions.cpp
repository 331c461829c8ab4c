// Counts the instructions that an emulated program executes between two marks: a plugin of qemu-user, which prints
// "instructions N" when the second mark is met. bench/panel_counts.cpp sets them.
//
// Debian has the emulator without the header of its plugins: what is used of it is declared here, as of the interface's
// version 1.
#include <cstddef>
#include <cstdint>
#include <cstdio>

#include "bench/arm_marks.h"

extern "C" {

#define PLUGIN_EXPORT __attribute__((visibility("default")))

struct qemu_plugin_tb;
struct qemu_info_t;
enum qemu_plugin_op { QEMU_PLUGIN_INLINE_ADD_U64 };

void qemu_plugin_register_vcpu_tb_trans_cb(std::uint64_t id, void (*translated)(std::uint64_t, qemu_plugin_tb*));
void qemu_plugin_register_vcpu_tb_exec_inline(qemu_plugin_tb* block, qemu_plugin_op op, void* number,
                                              std::uint64_t add);
void qemu_plugin_register_vcpu_syscall_cb(std::uint64_t id,
                                          void (*called)(std::uint64_t, unsigned, std::int64_t, std::uint64_t,
                                                         std::uint64_t, std::uint64_t, std::uint64_t, std::uint64_t,
                                                         std::uint64_t, std::uint64_t, std::uint64_t));
std::size_t qemu_plugin_tb_n_insns(const qemu_plugin_tb* block);

PLUGIN_EXPORT extern const int qemu_plugin_version;
const int qemu_plugin_version = 1;

}  // extern "C"

namespace {

std::uint64_t executed = 0;
std::uint64_t executedAtMark = 0;

void countBlock(std::uint64_t, qemu_plugin_tb* block) {
    qemu_plugin_register_vcpu_tb_exec_inline(block, QEMU_PLUGIN_INLINE_ADD_U64, &executed,
                                             qemu_plugin_tb_n_insns(block));
}

void lookForMark(std::uint64_t, unsigned, std::int64_t number, std::uint64_t mark, std::uint64_t, std::uint64_t,
                 std::uint64_t, std::uint64_t, std::uint64_t, std::uint64_t, std::uint64_t) {
    using namespace ac500::bench;
    if (number != kMarkCall) {
        return;
    }
    if (mark == kBeginMark) {
        executedAtMark = executed;
    } else {
        std::printf("instructions %llu\n", static_cast<unsigned long long>(executed - executedAtMark));
        std::fflush(stdout);
    }
}

}  // namespace

extern "C" PLUGIN_EXPORT int qemu_plugin_install(std::uint64_t id, const qemu_info_t*, int, char**) {
    qemu_plugin_register_vcpu_tb_trans_cb(id, countBlock);
    qemu_plugin_register_vcpu_syscall_cb(id, lookForMark);
    return 0;
}
