// The PLC of a long run: a simulated PLC in a process of its own, so that the memory of the host's side is measured
// alone. It takes commands on its standard input, one a line, and answers each with one line on its standard output:
//
//   memory AREA HEX    puts bytes into an area, from its beginning            "ok"
//   listen             begins to serve                                        "ok", or "error" and why
//   storm SEED MS KIND arms a fault about every MS milliseconds; KIND: the number of one kind, 0: any            "ok"
//                    with any kind the PLC takes its time for each request, from then on
//   calm               no more faults                                         "ok"
//   drop               closes all connections                                 "ok"
//   halt               ends the service for good                              "ok"
//   dump               the areas that the host writes                         "AREA HEX AREA HEX ..."
//   counters           replies that met a fault, by kind from 1; requests; refused ones; connections
//
// It ends when its standard input does.
#ifndef AC500_TESTS_SOAK_PLC_PROGRAM_H
#define AC500_TESTS_SOAK_PLC_PROGRAM_H

#include <cstdint>

namespace ac500::soak {

struct PlcOptions {
    std::uint64_t seed = 1;    // of the plant
    std::uint64_t boot = 0;    // starts of the PLC before this one: other session bytes each time
    std::uint16_t port = 0;    // on 127.0.0.1
    std::int64_t epochNs = 0;  // where the PLC's time begins, on the machine's steady clock
};

int runPlc(const PlcOptions& options);

}  // namespace ac500::soak

#endif
