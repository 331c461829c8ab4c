// The PLC program of a long run: a few hundred variables of every type that the driver transfers, scattered over five
// areas by a seed, so that each seed makes the driver merge and cut its requests in another way. A sixth area is filled
// with equally long arrays, so that a reply that is taken for another's is wrong by its values alone.
//
// Some variables change by themselves (the signal "pattern") and are only read; the others hold what the host wrote.
// Everything lies below address 4096 of its area, so that the places in patterns are unique. Pure.
#ifndef AC500_TESTS_SOAK_PLANT_H
#define AC500_TESTS_SOAK_PLANT_H

#include <cstdint>
#include <string>
#include <vector>

#include "tools/symbol_file/symbol_file.h"

namespace ac500::soak {

using symbol_file::Area;
using symbol_file::SymbolFile;

struct PlantTag {
    std::string text;        // as TagTable::find takes it
    bool isWritten = false;  // by the host; else the PLC changes it
    int periodMs = 0;        // of a variable that the PLC changes
};

struct Plant {
    SymbolFile file;
    std::vector<PlantTag> tags;
};

Plant makePlant(std::uint64_t seed);

// Areas that hold what the host wrote, so what a PLC has to keep over a restart.
std::vector<Area> writtenAreas(const Plant& plant);

}  // namespace ac500::soak

#endif
