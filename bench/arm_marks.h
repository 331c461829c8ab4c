// How a program tells the emulator's plugin where to begin and where to end counting: by a system call that no kernel has.
#ifndef AC500_BENCH_ARM_MARKS_H
#define AC500_BENCH_ARM_MARKS_H

namespace ac500::bench {

enum { kMarkCall = 0x7AC5, kBeginMark = 1, kEndMark = 2 };

}  // namespace ac500::bench

#endif
