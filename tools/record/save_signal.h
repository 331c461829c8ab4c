// SIGUSR1: "save what you have recorded". Caught from the start of a program on, so that it never ends one, and kept, so
// that none that comes before a recorder is there, or while it is saving, is forgotten.
#ifndef AC500_TOOLS_RECORD_SAVE_SIGNAL_H
#define AC500_TOOLS_RECORD_SAVE_SIGNAL_H

namespace ac500::record {

// To be called once, before there are threads.
void catchSaveSignal();
// Has one come since the last call? Any thread.
bool takeSaveSignals();
// A descriptor that can be read from when one has come, or after wakeWaiters(); -1 when there is none. Whoever waits for
// it reads it empty with takeWakeups().
int saveSignalDescriptor();
void wakeWaiters();
void takeWakeups();

}  // namespace ac500::record

#endif
