// How a program that runs until it is told to end hears of it, and that it is to read its settings again.
#ifndef AC500_TOOLS_CONSOLE_END_SIGNALS_H
#define AC500_TOOLS_CONSOLE_END_SIGNALS_H

namespace ac500::console {

// From now on SIGINT and SIGTERM interrupt nothing: they wait in a descriptor, which can be read from when one has come, and
// belongs to the caller. To be called before there are threads, so that all inherit it. -1 when there is no descriptor.
int blockEndSignals();
// The same for SIGHUP, too, which tells a program to read its settings again.
int blockEndAndReloadSignals();

enum class Signal { None, End, Reload };
// Takes one that has come out of the descriptor.
Signal takeSignal(int descriptor);

}  // namespace ac500::console

#endif
