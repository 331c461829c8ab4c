// ac500-soak: the driver under load and faults for minutes or hours. scripts/soak builds and starts it.
#include <CLI/CLI.hpp>

#include "tests/soak/plc_program.h"
#include "tests/soak/soak_run.h"

int main(int argc, char** argv) {
    CLI::App app("Runs the driver under load and faults, and watches every value, every write and the memory.");
    app.require_subcommand(1);

    ac500::soak::SoakOptions options;
    CLI::App* run = app.add_subcommand("run", "one long run");
    run->add_option("--seconds", options.seconds, "how long")->check(CLI::PositiveNumber)->capture_default_str();
    run->add_option("--seed", options.seed, "of plant, load and faults")->capture_default_str();
    run->add_option("--driver", options.driver, "the driver library; default: where ac500-host looks for it");
    run->add_option("--report", options.report, "file that the report's table goes to");
    run->add_option("--record", options.record, "file for a record of the run, which ac500-host replay takes");

    ac500::soak::PlcOptions plcOptions;
    CLI::App* plc = app.add_subcommand("plc", "the PLC's side; started by \"run\"");
    plc->add_option("--seed", plcOptions.seed, "of the plant");
    plc->add_option("--boot", plcOptions.boot, "starts before this one");
    plc->add_option("--port", plcOptions.port, "on 127.0.0.1");
    plc->add_option("--epoch", plcOptions.epochNs, "where the PLC's time begins, in ns of the steady clock");

    CLI11_PARSE(app, argc, argv);
    return plc->parsed() ? ac500::soak::runPlc(plcOptions) : ac500::soak::runSoak(options);
}
