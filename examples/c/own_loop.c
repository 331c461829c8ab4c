/* Waits for events in a loop of its own, beside whatever else it waits for: own_loop plant.json 127.0.0.1:1201 */
#include <poll.h>
#include <stdio.h>

#include <ac500_client.h>

int main(int argc, char** argv) {
    const char* const names[] = {"Main.counter"};
    ac500_plc* plc;
    ac500_subscription* subscription;
    struct pollfd events;
    int seen = 0;
    if (argc < 3 || ac500_open(argv[1], argv[2], NULL, &plc) != AC500_OK ||
        ac500_subscribe(plc, names, 1, AC500_ON_CHANGE, NULL, NULL, &subscription) != AC500_OK ||
        ac500_event_fd(subscription, &events.fd) != AC500_OK) {
        fprintf(stderr, "%s\n", ac500_last_error());
        return 1;
    }
    events.events = POLLIN;
    while (seen < 3 && poll(&events, 1, 10000) > 0) {
        ac500_values* values;
        int64_t counter;
        while (ac500_next_event(subscription, 0, &values) == AC500_OK) {
            if (ac500_get_int64s(values, 0, &counter, 1) == AC500_OK) {
                printf("counter %ld\n", (long)counter);
                ++seen;
            }
            ac500_free_values(values);
        }
    }
    ac500_unsubscribe(subscription);
    ac500_close(plc);
    return seen < 3;
}
