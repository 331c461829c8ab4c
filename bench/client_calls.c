/* How long one call of a client takes that asks for one value, or for a thousand, in a C program: libac500client beside
 * libmodbus, each against its own server on this machine (bench_server).
 *
 *   client_calls ac500 ADDRESS SYMBOLS DRIVER VALUES CALLS
 *   client_calls libmodbus PORT VALUES CALLS
 *
 * The values are 16-bit words that lie one behind the other. Prints the microseconds of each call, a line each.
 */
#include <modbus/modbus.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>

#include "tools/client/ac500_client.h"

enum { kMostValues = 1000, kWordsOfOneRequest = 125 };

static double microseconds(void) {
    struct timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return 1e6 * (double)now.tv_sec + 1e-3 * (double)now.tv_nsec;
}

static void require(int done, const char* what) {
    if (!done) {
        fprintf(stderr, "client_calls: %s\n", what);
        exit(1);
    }
}

static void require_ok(ac500_result result) {
    require(result == AC500_OK, ac500_last_error());
}

static void measure_ac500(const char* address, const char* symbols, const char* driver, int values, int calls) {
    static char names[kMostValues][24];
    ac500_tag* tags[kMostValues];
    ac500_settings settings;
    ac500_plc* plc = NULL;
    int i;
    require_ok(ac500_settings_init(&settings, sizeof settings));
    settings.driver = driver;
    require_ok(ac500_open(symbols, address, &settings, &plc));
    for (i = 0; i < values; ++i) {
        snprintf(names[i], sizeof names[i], "Main.v%d", i);
        require_ok(ac500_find_tag(plc, names[i], &tags[i]));
    }
    for (i = 0; i <= calls; ++i) {
        const double begin = microseconds();
        ac500_values* read = NULL;
        uint64_t last = 0;
        require_ok(ac500_read_tags(plc, tags, (size_t)values, &read));
        require_ok(ac500_get_uint64s(read, (size_t)values - 1, &last, 1));
        require_ok(ac500_free_values(read));
        if (i > 0) { /* the first one connects */
            printf("%.1f\n", microseconds() - begin);
        }
    }
    require_ok(ac500_close(plc));
}

static void measure_modbus(int port, int values, int calls) {
    uint16_t words[kMostValues];
    modbus_t* plc = modbus_new_tcp("127.0.0.1", port);
    int i;
    require(plc != NULL && modbus_connect(plc) == 0, "no connection");
    for (i = 0; i <= calls; ++i) {
        const double begin = microseconds();
        int first;
        for (first = 0; first < values; first += kWordsOfOneRequest) {
            const int count = values - first < kWordsOfOneRequest ? values - first : kWordsOfOneRequest;
            require(modbus_read_registers(plc, first, count, words + first) == count, "a request failed");
        }
        if (i > 0) {
            printf("%.1f\n", microseconds() - begin);
        }
    }
    modbus_close(plc);
    modbus_free(plc);
}

int main(int argc, char** argv) {
    const int values = argc > 2 ? atoi(argv[argc - 2]) : 0;
    const int calls = argc > 2 ? atoi(argv[argc - 1]) : 0;
    require(values >= 1 && values <= kMostValues && calls >= 1, "give 1 to 1000 values and at least one call");
    if (argc == 7 && strcmp(argv[1], "ac500") == 0) {
        measure_ac500(argv[2], argv[3], argv[4], values, calls);
    } else if (argc == 5 && strcmp(argv[1], "libmodbus") == 0) {
        measure_modbus(atoi(argv[2]), values, calls);
    } else {
        require(0, "see the top of the source for its arguments");
    }
    return 0;
}
