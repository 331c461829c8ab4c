/* The header and a call of it as a C compiler of 1989 takes them. */
#include "tools/client/ac500_client.h"

#include "tests/client/plain_c.h"

ac500_result plain_c_read(const char* symbols, const char* address, const ac500_settings* settings, const char* name,
                          double* value) {
    ac500_plc* plc;
    ac500_result result = ac500_open(symbols, address, settings, &plc);
    if (result != AC500_OK) {
        return result;
    }
    result = ac500_read_double(plc, name, value);
    ac500_close(plc);
    return result;
}
