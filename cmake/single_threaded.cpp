// Goes into the driver with AC500_STATIC_RUNTIME only. The compiler's libstdc++ asks the C library, by a variable that is
// there since glibc 2.32, whether the process has a single thread, to spare itself locked instructions; on armel that
// would be the only thing that the driver needs of a glibc newer than 2.4. With this private variable it never spares
// them, which is right for every process.
extern "C" {
char __libc_single_threaded = 0;
}
