/*
 * libac500client reads, writes and watches the variables of AC500 PLCs from a program, by their names.
 *
 *     ac500_plc* plc;
 *     double speed;
 *     if (ac500_open("plant.json", "192.168.0.10:1201", NULL, &plc) == AC500_OK) {
 *         if (ac500_read_double(plc, "Main.motor.speed", &speed) != AC500_OK) {
 *             fprintf(stderr, "%s\n", ac500_last_error());
 *         }
 *         ac500_close(plc);
 *     }
 *
 * Every function keeps these rules; what it says of itself comes on top.
 *
 * Threads. Every function may be called from any thread at any time, also several on one handle, and none waits
 * for the call of another thread but for moments. Not in a signal handler. After a fork(), whatever other threads
 * were doing, the child may use the library, and may call exit(); a PLC that was opened before, and what was made
 * for it, is refused there (AC500_USAGE), and values are not. The fork() waits until no session is in the middle of a
 * step: mostly 50 ms at most, a second while a PLC takes no bytes.
 *
 * Time. A function that asks the PLC returns within the time limit of its PLC (ac500_settings), counted from the call,
 * whatever network and PLC do, and the scheduler of the machine adds what it adds. ac500_next_event and
 * ac500_wait_online wait as long as they are told. Everything else returns at once; ac500_open reads and checks the
 * symbol file and loads the driver first, which takes milliseconds, and a second for a hundred thousand variables.
 * By way of a gateway it is asked for names that were not used before, by ac500_find_tag and ac500_subscribe, too: its
 * answer is waited for at most half of the time limit.
 *
 * Results. AC500_OK, or the layer that failed, and then ac500_last_error() says what and what to do. What is
 * handed back through pointers is changed on success alone. Nothing ends the process and no exception leaves the
 * library: a null pointer where none may be, and a handle that is wrong, closed or freed, are AC500_USAGE.
 *
 * Ownership. A handle belongs to the caller, who hands it back once, to the function that its comment names. What
 * was obtained through a PLC may outlive it: calls on it that need the PLC are then AC500_CLOSED. A text that is
 * handed out lives as long as the handle that it was asked of; a text or an array that is passed in is copied
 * before the function returns. Texts are in UTF-8.
 *
 * Growth. A record that grows in later versions begins with struct_size, set by the caller to what it was compiled
 * with. The library touches no byte beyond it.
 *
 * A program that uses the library: once loaded it stays, a dlclose() leaves it where it is. SIGPIPE is ignored in the
 * process from the first connection on. Each PLC has a thread of ours that talks to it, and a copy of the driver
 * library in memory; docs/client.md has the figures.
 */
#ifndef AC500_CLIENT_H
#define AC500_CLIENT_H

#include <stddef.h>
#include <stdint.h>

#if defined(__GNUC__)
#define AC500_CLIENT_API __attribute__((visibility("default")))
#else
#define AC500_CLIENT_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* ---- Results ---------------------------------------------------------------------------------------------------- */

/* 0 to 7 are what ac500-host ends with, by the same words; its 8, "program", is AC500_PROGRAM here. */
typedef enum ac500_result {
    AC500_OK = 0,        /* "ok" */
    AC500_USAGE = 1,     /* "usage": an argument, a handle, a value that does not fit its variable */
    AC500_FILE = 2,      /* "file": the symbol file or the driver library */
    AC500_NAME = 3,      /* "name": a name that does not resolve */
    AC500_TCP = 4,       /* "tcp": the connection to the PLC */
    AC500_HANDSHAKE = 5, /* "handshake": the two requests that open a session with the PLC */
    AC500_REQUEST = 6,   /* "request": reading and writing; also: no answer within the time limit */
    AC500_OUTPUT = 7,    /* "output": never of this library */
    AC500_MEMORY = 8,    /* "memory": there is none left; nothing was changed */
    AC500_CLOSED = 9,    /* "closed": the PLC was closed, before the call or while it waited */
    AC500_INTERNAL = 10, /* "internal": a mistake of this library; please report what ac500_last_error() says */
    AC500_NOTHING = 11,  /* "nothing": no event came in time */
    AC500_PROGRAM = 12   /* "program": another program is in the PLC than the symbols describe, by their guard */
} ac500_result;

/* The word of a result, "?" for another number. Never null; lives for ever. */
AC500_CLIENT_API const char* ac500_result_name(int result);

/* What went wrong in the last call of this thread that did not return AC500_OK, in one or more lines without the
 * word of the result; "" when there was none. Never null; valid until the next call of this thread. Longer texts
 * than 4 kB are cut. */
AC500_CLIENT_API const char* ac500_last_error(void);

/* "0.1.0". Lives for ever. */
AC500_CLIENT_API const char* ac500_client_version(void);

/* ---- A PLC ------------------------------------------------------------------------------------------------------ */

/* A PLC: symbols, a connection that comes back by itself, and the driver at work on it. To be closed with
 * ac500_close. */
typedef struct ac500_plc ac500_plc;

typedef struct ac500_settings {
    size_t struct_size;
    const char* driver;    /* path of libac500driver.so; null: AC500_DRIVER in the environment, else beside this
                                  library, beside the program, and where the system looks */
    int32_t time_limit_ms; /* 5000: no call on this PLC takes longer; 1 to a day. A write that could not be handed over
                                  within the first half of it fails, and is not sent later */
    int32_t reply_timeout_ms;  /* 2000: of a connection, and of each reply; 1 to a day */
    int32_t cycle_ms;          /* 100: subscribed tags are read so often; 0 (as fast as can be) to a day */
    int32_t max_request_words; /* 100: largest request that the PLC takes, in 16-bit words; 1 to 32000 */
    int32_t retry_limit;       /* 2: failed replies before a request is given up; 0 to 1000 */
    int32_t simulator;         /* 0; otherwise the variables that ac500-sim has of its own (Sim.*) are known, too */
    const char* handshake; /* path of what "ac500-host guard learn" has stored: ac500_status tells when the PLC answers
                                  the handshake otherwise; null: nothing is compared */
} ac500_settings;

/* Fills in the defaults. `size` is sizeof(ac500_settings) as the caller knows it: what a program does not know that was
 * built with an older header stays as it is by default. AC500_USAGE for null and for a size that no version had. */
AC500_CLIENT_API ac500_result ac500_settings_init(ac500_settings* settings, size_t size);

/* Opens a PLC: `address` is "HOST", "HOST:PORT" or "[IPV6]:PORT", the port 1201 if none is given; or "unix:PATH", the
 * socket of an ac500-gateway on this machine, whose session with the PLC is used then: `symbols` may be null for
 * those of the gateway, and of the settings only time_limit_ms counts. `settings` may be null for the defaults.
 * Does not wait for the PLC: the first call that needs it does. At most 64 PLCs are open at a time. AC500_FILE: the
 * symbol file (every mistake is listed) or the driver, or a gateway has other symbols; AC500_TCP: there is no
 * gateway; AC500_USAGE: a setting out of its range, an address that is none, one PLC too many. */
AC500_CLIENT_API ac500_result ac500_open(const char* symbols, const char* address, const ac500_settings* settings,
                                         ac500_plc** plc);

/* Ends everything on the PLC: calls of other threads that wait return AC500_CLOSED, subscriptions call back no
 * more, writes that were not sent are never sent. Waits for the thread that talks to the PLC, some milliseconds,
 * and up to a second while the PLC takes no bytes; and for a callback that runs, up to a second: one that takes
 * longer goes on, and is the last. May be called in a callback. PLCs that are open when the program ends are closed
 * then. */
AC500_CLIENT_API ac500_result ac500_close(ac500_plc* plc);

/* Waits until a session with the PLC is open, at most `wait_ms` (0: looks once); to open one it asks for a
 * variable. Otherwise the layer that failed last, and why; AC500_REQUEST when nothing failed yet. */
AC500_CLIENT_API ac500_result ac500_wait_online(ac500_plc* plc, int32_t wait_ms);

typedef struct ac500_status {
    size_t struct_size;
    int32_t is_online;       /* 1: connected, and the PLC has opened a session; else 0 */
    int32_t last_failure;    /* ac500_result of the last thing that went wrong, AC500_OK if nothing did */
    int64_t events;          /* what has happened so far that is worth a line in a log, failures or not */
    int64_t last_failure_ms; /* how long that is ago; -1 without any */
    /* Counted since ac500_open. */
    int64_t frames_sent;
    int64_t frames_accepted; /* replies taken as good, those that open a session included */
    int64_t bytes_sent;
    int64_t bytes_received;
    int64_t retries;     /* frames sent again */
    int64_t timeouts;    /* replies that did not come, or not whole, in time */
    int64_t refusals;    /* replies in which the PLC says no */
    int64_t bad_replies; /* replies of a wrong length or form, and bytes that nobody asked for */
    int64_t abandoned;   /* requests that were given up */
    int64_t connections;
    int64_t handshakes;
    /* Passes over the subscribed tags, in microseconds; 0 as long as cycles is 0. */
    int64_t cycles;
    int64_t cycle_min_us;
    int64_t cycle_median_us; /* of the last thousand */
    int64_t cycle_max_us;
    char state[32];              /* "exchanging", "backing off", ... as ac500-host status shows it */
    char last_failure_text[512]; /* "" without any; cut to fit */
    /* What speaks against the program being the one that the handshake was learned of (ac500_settings): how the latest
     * replies differ, or why little or nothing can be compared. "" when all is as learned, and without a file. A hint:
     * nothing is held by it. */
    char handshake_text[512];
} ac500_status;

/* Sets status->struct_size to what was filled. `size` is sizeof(ac500_status) as the caller knows it. */
AC500_CLIENT_API ac500_result ac500_get_status(ac500_plc* plc, ac500_status* status, size_t size);

/* ---- Tags ------------------------------------------------------------------------------------------------------- */

/* What the elements of a tag are for a program. Scaled variables are doubles. */
typedef enum ac500_kind {
    AC500_KIND_BOOL = 1,        /* BOOL, BIT, single bits */
    AC500_KIND_INT64 = 2,       /* SINT, INT, DINT, LINT */
    AC500_KIND_UINT64 = 3,      /* USINT, UINT, UDINT, ULINT, BYTE, WORD, DWORD, LWORD */
    AC500_KIND_DOUBLE = 4,      /* REAL, LREAL, everything scaled */
    AC500_KIND_STRING = 5,      /* STRING */
    AC500_KIND_DURATION = 6,    /* TIME: milliseconds */
    AC500_KIND_DATE = 7,        /* DATE: seconds since 1970-01-01, at the beginning of the day */
    AC500_KIND_TIME_OF_DAY = 8, /* TOD: milliseconds since midnight */
    AC500_KIND_DATE_TIME = 9    /* DT: seconds since 1970-01-01, of the PLC's clock, which has no time zone */
} ac500_kind;

/* What is known of a tag. Absent texts are "", never null. */
typedef struct ac500_tag_info {
    size_t struct_size;
    const char* name;
    const char* type; /* as the symbol file spells it: "INT", "STRING(20)" */
    const char* unit;
    const char* comment;
    int32_t kind;        /* ac500_kind */
    int32_t elements;    /* 1 for what is no array */
    int32_t is_list;     /* 1: an array, or a range of one, also when it has one element */
    int32_t is_readonly; /* 1: the symbol file forbids writing it */
    int32_t has_minimum; /* 1: minimum holds; likewise has_maximum */
    int32_t has_maximum;
    double minimum; /* in the unit; of times what they count */
    double maximum;
    const char* value_names; /* of an enumeration: "0=off, 1=automatic"; else "" */
} ac500_tag_info;

/* A name that was looked up once. Serves on its own PLC only. To be freed with ac500_free_tag. */
typedef struct ac500_tag ac500_tag;

/* Finds "Main.motor.speed", "Main.grid[2,3]", "Main.recipe[1..5]", "Main.recipe" (the whole array),
 * "Main.flags.b[3]", "Main.flags.3". AC500_NAME: there is no such thing, and which names are near; or the driver
 * has it elsewhere. */
AC500_CLIENT_API ac500_result ac500_find_tag(ac500_plc* plc, const char* name, ac500_tag** tag);
AC500_CLIENT_API ac500_result ac500_free_tag(ac500_tag* tag);

/* `size` is sizeof(ac500_tag_info) as the caller knows it; info->struct_size becomes what was filled. The texts
 * live as long as the tag. */
AC500_CLIENT_API ac500_result ac500_get_tag_info(ac500_tag* tag, ac500_tag_info* info, size_t size);

/* Tags of the symbol file. To be freed with ac500_free_tag_list. */
typedef struct ac500_tag_list ac500_tag_list;

/* The variables and arrays whose names match `pattern` ("Main.*", "Main.tank[*].level", a name, "@" is not
 * understood); null for all. In the order of the symbol file. AC500_NAME: nothing matches. */
AC500_CLIENT_API ac500_result ac500_browse(ac500_plc* plc, const char* pattern, ac500_tag_list** list);
AC500_CLIENT_API ac500_result ac500_free_tag_list(ac500_tag_list* list);
/* 0 for a wrong handle. */
AC500_CLIENT_API size_t ac500_tag_list_count(ac500_tag_list* list);
/* As ac500_get_tag_info, of tag number `index`, from 0. The texts live as long as the list. */
AC500_CLIENT_API ac500_result ac500_tag_list_get(ac500_tag_list* list, size_t index, ac500_tag_info* info, size_t size);

/* ---- Values ----------------------------------------------------------------------------------------------------- */

typedef enum ac500_state {
    AC500_NEVER_RECEIVED = 0,
    AC500_FRESH = 1,
    AC500_STALE = 2,         /* older than three cycles (and than two seconds), or the connection is down */
    AC500_WRITE_PENDING = 3, /* a write is on its way, or was accepted and the value not read again yet */
    AC500_WRITE_FAILED = 4,  /* the last write failed; told for ten seconds, and until the value was read again */
    AC500_SUSPECT = 5        /* received, but perhaps from another program than the symbols describe */
} ac500_state;

/* The words of ac500-host: "never received", "fresh", ... "?" for another number. Never null; lives for ever. */
AC500_CLIENT_API const char* ac500_state_name(int state);

/* Values of one or more tags as they were when they were handed out; they never change. To be freed with
 * ac500_free_values. */
typedef struct ac500_values ac500_values;

typedef struct ac500_value_info {
    size_t struct_size;
    const char* name; /* as the tag was named */
    const char* unit; /* "" without any */
    int32_t kind;     /* ac500_kind */
    int32_t state;    /* ac500_state */
    int32_t elements; /* of the tag */
    int32_t is_known; /* 1: there is a value, whatever its age */
    int32_t is_list;
    int32_t error;  /* AC500_WRITE_FAILED, or read in vain: the layer that failed, else AC500_OK */
    int64_t age_ms; /* since its oldest byte was received, when this was handed out; -1 unless known. Monotonic:
                                   setting the clock does not change it */
    int64_t received_unix_ms; /* the same as a time, UTC in milliseconds since 1970; -1 unless known */
    const char* error_text;   /* "" without an error */
} ac500_value_info;

AC500_CLIENT_API ac500_result ac500_free_values(ac500_values* values);
/* 0 for a wrong handle. */
AC500_CLIENT_API size_t ac500_values_count(const ac500_values* values);
/* `size` is sizeof(ac500_value_info) as the caller knows it; info->struct_size becomes what was filled. */
AC500_CLIENT_API ac500_result ac500_get_value_info(const ac500_values* values, size_t index, ac500_value_info* info,
                                                   size_t size);

/* The functions below give AC500_REQUEST for a value that is not known or is stale, so that an old number never
 * passes for a new one, and AC500_PROGRAM for one that is suspect, whatever its state. After this call a stale one
 * is given, too; a suspect one never is. */
AC500_CLIENT_API ac500_result ac500_accept_stale(ac500_values* values);

/* `count` elements of value number `index` to `to`, from the first; exactly as many as the tag has. As integer:
 * BOOL (0 or 1), integers that fit, times (what they count). As double: all of these and doubles; beyond 2^53 the
 * nearest double. AC500_USAGE: another kind, a number that does not fit, another count. */
AC500_CLIENT_API ac500_result ac500_get_bools(const ac500_values* values, size_t index, int32_t* to, size_t count);
AC500_CLIENT_API ac500_result ac500_get_int64s(const ac500_values* values, size_t index, int64_t* to, size_t count);
AC500_CLIENT_API ac500_result ac500_get_uint64s(const ac500_values* values, size_t index, uint64_t* to, size_t count);
AC500_CLIENT_API ac500_result ac500_get_doubles(const ac500_values* values, size_t index, double* to, size_t count);
/* Times as nanoseconds: TIME, TOD since midnight, DATE and DT since 1970. */
AC500_CLIENT_API ac500_result ac500_get_nanoseconds(const ac500_values* values, size_t index, int64_t* to,
                                                    size_t count);
/* Pointers to the strings, which live as long as the values. */
AC500_CLIENT_API ac500_result ac500_get_strings(const ac500_values* values, size_t index, const char** to,
                                                size_t count);
/* The whole value as ac500-host shows it: "21.5 °C", "automatic", "T#1m30s", "1, 2, 3 bar". Lives as long as the
 * values. */
AC500_CLIENT_API ac500_result ac500_get_text(const ac500_values* values, size_t index, const char** text);

/* ---- Reading ---------------------------------------------------------------------------------------------------- */

/* Asks the PLC for `count` tags and waits for all. Each comes once per name, in the order of the names.
 * AC500_NAME: at least one does not resolve, and the PLC was asked for none. When some were not received in time
 * the result is the layer that failed, and *values is set all the same: each value tells its state and error. On
 * any other failure *values is unchanged. */
AC500_CLIENT_API ac500_result ac500_read(ac500_plc* plc, const char* const* names, size_t count, ac500_values** values);
/* The same with tags that were found before. AC500_USAGE: a tag of another PLC. */
AC500_CLIENT_API ac500_result ac500_read_tags(ac500_plc* plc, ac500_tag* const* tags, size_t count,
                                              ac500_values** values);
/* What is known without asking the PLC: of tags that are subscribed or were read. Never waits. */
AC500_CLIENT_API ac500_result ac500_latest(ac500_plc* plc, ac500_tag* const* tags, size_t count, ac500_values** values);

/* One tag of one element, asked of the PLC: ac500_read and ac500_get_... in one. */
AC500_CLIENT_API ac500_result ac500_read_bool(ac500_plc* plc, const char* name, int32_t* value);
AC500_CLIENT_API ac500_result ac500_read_int64(ac500_plc* plc, const char* name, int64_t* value);
AC500_CLIENT_API ac500_result ac500_read_uint64(ac500_plc* plc, const char* name, uint64_t* value);
AC500_CLIENT_API ac500_result ac500_read_double(ac500_plc* plc, const char* name, double* value);
/* Copies string and terminator to `buffer`. AC500_USAGE: they do not fit into `size` bytes; nothing was copied. */
AC500_CLIENT_API ac500_result ac500_read_string(ac500_plc* plc, const char* name, char* buffer, size_t size);
/* The same for any tag, as ac500_get_text. */
AC500_CLIENT_API ac500_result ac500_read_text(ac500_plc* plc, const char* name, char* buffer, size_t size);

/* ---- Writing ---------------------------------------------------------------------------------------------------- */

/* A write is done when the PLC has accepted it. One that is refused here (AC500_USAGE: read-only, beyond its
 * limits, another kind) is not sent. After AC500_TCP, AC500_HANDSHAKE and AC500_REQUEST ac500_last_error() says
 * whether it was sent; nothing is sent later than half of the time limit after the call began, once the connection
 * was lost. One tag of one element. Numbers are taken when the variable holds them: a REAL the nearest, a
 * whole-number variable whole numbers of any of the three types, a scaled one what rounds to its steps, times what
 * they count. */
AC500_CLIENT_API ac500_result ac500_write_bool(ac500_plc* plc, const char* name, int32_t value);
AC500_CLIENT_API ac500_result ac500_write_int64(ac500_plc* plc, const char* name, int64_t value);
AC500_CLIENT_API ac500_result ac500_write_uint64(ac500_plc* plc, const char* name, uint64_t value);
AC500_CLIENT_API ac500_result ac500_write_double(ac500_plc* plc, const char* name, double value);
/* For STRING variables; at most as many characters of Latin-1 as they have. */
AC500_CLIENT_API ac500_result ac500_write_string(ac500_plc* plc, const char* name, const char* value);
/* Any tag, in the form that ac500-host takes behind TAG=: "21.5", "automatic", "T#1m30s", "1, 2, 3". */
AC500_CLIENT_API ac500_result ac500_write_text(ac500_plc* plc, const char* name, const char* value);

/* Writes to be sent together. To be freed with ac500_free_writes. */
typedef struct ac500_writes ac500_writes;

AC500_CLIENT_API ac500_result ac500_new_writes(ac500_plc* plc, ac500_writes** writes);
AC500_CLIENT_API ac500_result ac500_free_writes(ac500_writes* writes);
/* 0 for a wrong handle. */
AC500_CLIENT_API size_t ac500_writes_count(ac500_writes* writes);
/* Each adds one write, number ac500_writes_count() - 1, with all elements of the tag. A write that is refused is
 * not added. */
AC500_CLIENT_API ac500_result ac500_add_bools(ac500_writes* writes, ac500_tag* tag, const int32_t* from, size_t count);
AC500_CLIENT_API ac500_result ac500_add_int64s(ac500_writes* writes, ac500_tag* tag, const int64_t* from, size_t count);
AC500_CLIENT_API ac500_result ac500_add_uint64s(ac500_writes* writes, ac500_tag* tag, const uint64_t* from,
                                                size_t count);
AC500_CLIENT_API ac500_result ac500_add_doubles(ac500_writes* writes, ac500_tag* tag, const double* from, size_t count);
AC500_CLIENT_API ac500_result ac500_add_strings(ac500_writes* writes, ac500_tag* tag, const char* const* from,
                                                size_t count);
AC500_CLIENT_API ac500_result ac500_add_nanoseconds(ac500_writes* writes, ac500_tag* tag, const int64_t* from,
                                                    size_t count);
AC500_CLIENT_API ac500_result ac500_add_text(ac500_writes* writes, ac500_tag* tag, const char* text);

/* The PLC must hold this value, in the form of ac500_add_text, at the tag of write number `index`: it is read for
 * the write and immediately before it, and when it is another one the write is not sent. */
AC500_CLIENT_API ac500_result ac500_expect_text(ac500_writes* writes, size_t index, const char* text);

typedef enum ac500_write_flags {
    AC500_READ_BACK = 1,       /* afterwards each is read back; another value than the written one is AC500_REQUEST */
    AC500_ALLOW_NOT_FINITE = 2 /* infinities and what is no number are written, which few PLC programs expect */
} ac500_write_flags;

/* Sends all writes and waits for all; `flags` are ac500_write_flags added up, 0 for none. AC500_OK when every one
 * succeeded, else the result of the first that did not: the others may have been done. AC500_USAGE, and nothing is
 * sent, when two of them overlap. The same writes may be sent again. */
AC500_CLIENT_API ac500_result ac500_send_writes(ac500_writes* writes, int32_t flags);

/* The words of ac500-host: "pending", "done", "refused", "not sent", "unknown". */
typedef enum ac500_outcome {
    AC500_PENDING = 0,  /* not decided yet; of a write that was not ordered yet, too */
    AC500_DONE = 1,     /* the PLC has accepted it */
    AC500_REFUSED = 2,  /* the PLC has said no, to all of it */
    AC500_NOT_SENT = 3, /* nothing of it went out, and nothing of it will */
    AC500_UNKNOWN = 4   /* it went out, or a part of it, and nobody knows what the PLC made of it */
} ac500_outcome;

/* The word of an outcome, "?" for another number. Never null; lives for ever. */
AC500_CLIENT_API const char* ac500_outcome_name(int outcome);

typedef struct ac500_write_outcome {
    size_t struct_size;
    const char* name;
    int32_t outcome;        /* ac500_outcome */
    int32_t result;         /* ac500_result: of AC500_DONE mostly AC500_OK, but for what was read back */
    const char* error_text; /* "" without an error */
} ac500_write_outcome;

/* What became of write number `index` when it was sent last. The texts live until the writes are sent again or
 * freed. */
AC500_CLIENT_API ac500_result ac500_get_outcome(ac500_writes* writes, size_t index, ac500_write_outcome* outcome,
                                                size_t size);

/* ---- Subscriptions ---------------------------------------------------------------------------------------------- */

/* Tags that are read in every cycle, and events that tell of their values. To be ended with ac500_unsubscribe. */
typedef struct ac500_subscription ac500_subscription;

/* An event: the tags that have news, each once and with its latest value; how often it changed meanwhile is not
 * told. The values belong to the library and live until the callback returns. It runs on a thread of the library,
 * one call of a PLC's callbacks at a time: while it runs, other callbacks of that PLC wait, and nothing else does.
 * It may call every function of the library. An exception that leaves it is caught and forgotten. */
typedef void (*ac500_event_function)(void* user, ac500_subscription* subscription, ac500_values* values);

typedef enum ac500_subscribe_flags {
    AC500_ON_CHANGE = 0,   /* news are another value, another state or another error */
    AC500_ON_RECEPTION = 1 /* and every reception, whatever its value */
} ac500_subscribe_flags;

/* Reads the tags in every cycle from now on. With a callback events go there. Without one (null) they wait for
 * ac500_next_event. The first event of a tag comes with its first value. AC500_NAME as ac500_read. */
AC500_CLIENT_API ac500_result ac500_subscribe(ac500_plc* plc, const char* const* names, size_t count, int32_t flags,
                                              ac500_event_function callback, void* user,
                                              ac500_subscription** subscription);

/* When this has returned AC500_OK the callback does not run and will not run again; called in the callback, it
 * will not run again after it returns. AC500_REQUEST: a callback still runs after the time limit; the subscription
 * has ended all the same. The descriptor of ac500_event_fd is closed. */
AC500_CLIENT_API ac500_result ac500_unsubscribe(ac500_subscription* subscription);

/* The next event of a subscription without a callback; waits at most `wait_ms` (0: not at all). AC500_NOTHING:
 * none came. The values are the caller's: ac500_free_values. */
AC500_CLIENT_API ac500_result ac500_next_event(ac500_subscription* subscription, int32_t wait_ms,
                                               ac500_values** values);

/* A descriptor for poll(), select() and the like, of a subscription without a callback: readable while an event
 * waits for ac500_next_event, and from then on when the PLC was closed, which that tells (AC500_CLOSED). Read nothing
 * from it and do not close it; it lives as long as the subscription. */
AC500_CLIENT_API ac500_result ac500_event_fd(ac500_subscription* subscription, int* fd);

#ifdef __cplusplus
}
#endif

#endif
