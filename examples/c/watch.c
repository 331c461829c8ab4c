/* Prints what changes, from a thread of the library, for two seconds: watch plant.json 127.0.0.1:1201 */
#include <stdio.h>
#include <unistd.h>

#include <ac500_client.h>

static void print_event(void* user, ac500_subscription* subscription, ac500_values* values) {
    size_t i;
    (void)user;
    (void)subscription;
    for (i = 0; i < ac500_values_count(values); ++i) {
        ac500_value_info info;
        const char* text = "-"; /* stays so for a value that is stale or was never received */
        if (ac500_get_value_info(values, i, &info, sizeof info) == AC500_OK) {
            ac500_get_text(values, i, &text);
            printf("%s = %s (%s, %ld ms old)\n", info.name, text, ac500_state_name(info.state), (long)info.age_ms);
        }
    }
}

int main(int argc, char** argv) {
    const char* const names[] = {"Main.counter", "Dosing.mixer.speed"};
    ac500_plc* plc;
    ac500_subscription* subscription;
    if (argc < 3 || ac500_open(argv[1], argv[2], NULL, &plc) != AC500_OK ||
        ac500_subscribe(plc, names, 2, AC500_ON_CHANGE, print_event, NULL, &subscription) != AC500_OK) {
        fprintf(stderr, "%s\n", ac500_last_error());
        return 1;
    }
    sleep(2);
    ac500_unsubscribe(subscription);
    return ac500_close(plc);
}
