/* Reads, writes and reads again: quick_start plant.json 127.0.0.1:1201 */
#include <stdio.h>

#include <ac500_client.h>

int main(int argc, char** argv) {
    ac500_plc* plc;
    double counter = 0;
    char recipe[100] = "";
    int ok = argc > 2 && ac500_open(argv[1], argv[2], NULL, &plc) == AC500_OK &&
             ac500_read_double(plc, "Main.counter", &counter) == AC500_OK &&
             ac500_write_int64(plc, "Main.recipe[3]", 77) == AC500_OK &&
             ac500_read_text(plc, "Main.recipe[1..3]", recipe, sizeof recipe) == AC500_OK;
    if (!ok) {
        fprintf(stderr, "%s\n", ac500_last_error());
        return 1;
    }
    printf("counter %.0f, recipe %s\n", counter, recipe);
    return ac500_close(plc);
}
