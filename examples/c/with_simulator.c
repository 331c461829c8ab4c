/* A program tests itself: it runs a simulated PLC, and takes away its answers. with_simulator plant.json */
#include <stdio.h>

#include <ac500_client.h>
#include <ac500_simulator.h>

int main(int argc, char** argv) {
    ac500_simulator* simulator;
    ac500_plc* plc;
    ac500_settings settings;
    double level = 0;
    ac500_result silent;
    if (argc < 2 || ac500_simulator_start(argv[1], NULL, &simulator) != AC500_OK) {
        fprintf(stderr, "%s\n", ac500_simulator_last_error());
        return 1;
    }
    ac500_settings_init(&settings, sizeof settings);
    settings.time_limit_ms = 500;
    if (ac500_open(argv[1], ac500_simulator_address(simulator), &settings, &plc) != AC500_OK ||
        ac500_simulator_set_number(simulator, "Main.recipe[2]", 21) != AC500_OK ||
        ac500_read_double(plc, "Main.recipe[2]", &level) != AC500_OK) {
        fprintf(stderr, "%s\n", ac500_last_error());
        return 1;
    }
    printf("the PLC says %.0f\n", level);
    ac500_simulator_inject(simulator, "silence:count=100");
    silent = ac500_read_double(plc, "Main.recipe[2]", &level);
    printf("and now: %s: %s\n", ac500_result_name(silent), ac500_last_error());
    ac500_close(plc);
    ac500_simulator_stop(simulator);
    return silent == AC500_OK || level != 21;
}
