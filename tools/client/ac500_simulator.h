/*
 * libac500simulator runs the simulated PLC inside a program, so that users of libac500client can test their own
 * programs: on 127.0.0.1 and a free port, with variables to set and look at, and with faults on demand.
 *
 *     ac500_simulator* simulator;
 *     ac500_simulator_start("plant.json", NULL, &simulator);
 *     ac500_open("plant.json", ac500_simulator_address(simulator), NULL, &plc);
 *     ac500_simulator_set_number(simulator, "Main.setpoint", 21.5);
 *     ac500_simulator_inject(simulator, "silence:count=2");
 *     ...
 *     ac500_simulator_stop(simulator);
 *
 * Threads: every function may be called from any thread; a program without a QCoreApplication starts the first
 * simulator in its main thread. Time: every function returns at once, but for the file that ac500_simulator_start
 * reads. Results are those of ac500_client.h, with a last error of their own; handles that are null or wrong are
 * AC500_USAGE, and so is a simulator that was started before a fork() in the child, which may use its address. A
 * child that is forked while a connection is made to a simulator of its parent ends with _exit(): exit() may wait for
 * a lock that was held at that moment.
 * Names are those of the symbol file and of the simulator itself (Sim.*), one element at a time:
 * "Main.recipe[3]", "Main.flags.b[3]".
 */
#ifndef AC500_SIMULATOR_H
#define AC500_SIMULATOR_H

#include "ac500_client.h"

#ifdef __cplusplus
extern "C" {
#endif

/* A simulated PLC that runs. To be stopped with ac500_simulator_stop. */
typedef struct ac500_simulator ac500_simulator;

typedef struct ac500_simulator_settings {
    size_t struct_size;
    uint64_t seed;             /* 1: of session bytes, random walks and faults; the same seed, the same run */
    const char* const* faults; /* null: rules as ac500-sim takes them with --fault, such as "reset:every=50" */
    size_t fault_count;        /* 0 */
} ac500_simulator_settings;

/* What went wrong in the last call of this thread to this library that did not return AC500_OK. As
 * ac500_last_error. */
AC500_CLIENT_API const char* ac500_simulator_last_error(void);

/* Fills in the defaults. `size` is sizeof(ac500_simulator_settings) as the caller knows it. */
AC500_CLIENT_API ac500_result ac500_simulator_settings_init(ac500_simulator_settings* settings, size_t size);

/* Reads the symbol file and listens. `settings` may be null for the defaults. AC500_FILE: every problem of the
 * file; AC500_USAGE: a fault rule that is none; AC500_TCP: no port can be listened on. */
AC500_CLIENT_API ac500_result ac500_simulator_start(const char* symbols, const ac500_simulator_settings* settings,
                                                    ac500_simulator** simulator);

/* Stops listening, closes all connections, and frees the handle. Simulators that run when the program ends are
 * stopped then; the child of a fork() leaves those of its parent alone. */
AC500_CLIENT_API ac500_result ac500_simulator_stop(ac500_simulator* simulator);

/* "127.0.0.1:40123", for ac500_open; null for a wrong handle. Lives as long as the simulator. */
AC500_CLIENT_API const char* ac500_simulator_address(ac500_simulator* simulator);

/* Sets a variable, as the PLC's program would: booleans are true unless the number is 0, integers take the nearest
 * within their range. 64-bit integers keep 53 bits. */
AC500_CLIENT_API ac500_result ac500_simulator_set_number(ac500_simulator* simulator, const char* name, double number);
AC500_CLIENT_API ac500_result ac500_simulator_get_number(ac500_simulator* simulator, const char* name, double* number);

/* The same as text: "TRUE", "-12", "1.5", for setting also "16#FF". A STRING is set to the text itself, cut at its
 * length; it is got in quotes, with \" and \\ and control characters as \xNN. AC500_USAGE: the text is no value of
 * the variable, or, for get, does not fit into `size` bytes with its terminator; nothing was changed. */
AC500_CLIENT_API ac500_result ac500_simulator_set_text(ac500_simulator* simulator, const char* name, const char* text);
AC500_CLIENT_API ac500_result ac500_simulator_get_text(ac500_simulator* simulator, const char* name, char* buffer,
                                                       size_t size);

/* The next good replies meet a fault: "KIND" or "KIND:key=value,...", as a rule of ac500-sim with the keys count
 * (1 if not given), service, and the argument of the kind; "none" takes back what was injected. Replaces what was
 * injected before. */
AC500_CLIENT_API ac500_result ac500_simulator_inject(ac500_simulator* simulator, const char* fault);

/* The PLC restarts: new session bytes, every connection is closed; memory stays. */
AC500_CLIENT_API ac500_result ac500_simulator_restart(ac500_simulator* simulator);
/* Closes every connection as if the link had gone; the PLC runs on. */
AC500_CLIENT_API ac500_result ac500_simulator_drop_connections(ac500_simulator* simulator);

/* What happened since the start; all only grow. */
typedef struct ac500_simulator_counters {
    size_t struct_size;
    uint64_t connections;
    uint64_t requests; /* all of them */
    uint64_t reads;
    uint64_t writes;
    uint64_t refused; /* answered with a status word of the simulator's own */
    uint64_t faults;  /* replies that met a fault */
} ac500_simulator_counters;

/* `size` is sizeof(ac500_simulator_counters) as the caller knows it. */
AC500_CLIENT_API ac500_result ac500_simulator_get_counters(ac500_simulator* simulator,
                                                           ac500_simulator_counters* counters, size_t size);

#ifdef __cplusplus
}
#endif

#endif
