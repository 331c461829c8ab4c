/* What plain_c.c has for tests in C++. */
#ifndef AC500_TESTS_CLIENT_PLAIN_C_H
#define AC500_TESTS_CLIENT_PLAIN_C_H

#include "tools/client/ac500_client.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Opens, reads one value, closes. */
ac500_result plain_c_read(const char* symbols, const char* address, const ac500_settings* settings, const char* name,
                          double* value);

#ifdef __cplusplus
}
#endif

#endif
