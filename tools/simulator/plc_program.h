// PlcProgram is a symbol file made ready to be run: its areas with what they hold at the start, its variables and its signals.
// Constant after construction.
#ifndef AC500_TOOLS_SIMULATOR_PLC_PROGRAM_H
#define AC500_TOOLS_SIMULATOR_PLC_PROGRAM_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tools/simulator/bit_layout.h"
#include "tools/simulator/plc_memory.h"
#include "tools/simulator/signal_generator.h"
#include "tools/symbol_file/symbol_file.h"

namespace ac500::sim {

using symbol_file::Element;
using symbol_file::Leaf;
using symbol_file::Problem;
using symbol_file::SymbolFile;

class PlcProgram {
public:
    // Takes a file that loaded without problems; the reserved variables are appended when they are missing. The program is
    // usable exactly when problems() is empty.
    explicit PlcProgram(const SymbolFile& file);

    // What the file asks for that the simulator cannot do.
    const std::vector<Problem>& problems() const { return problems_; }
    // What the simulator does otherwise than the author may think; it runs all the same.
    const std::vector<Problem>& warnings() const { return warnings_; }

    // All areas: zeros, but for the expected values of the file's guards and, over them, its initial values.
    const PlcMemory& initialMemory() const { return memory_; }
    const std::vector<Leaf>& leaves() const { return leaves_; }
    const BitLayout& bits() const { return bits_; }
    const std::vector<SignalGenerator::ResolvedSignal>& signalList() const { return signals_; }
    // symbol_file/fingerprint.h, of the file without the reserved variables.
    std::uint64_t fingerprint() const { return fingerprint_; }

private:
    void applyGuards(const SymbolFile& file);
    void applyInitialValues(const SymbolFile& file);
    void resolveSignals(const SymbolFile& file);
    std::optional<Element> locate(const SymbolFile& file, const std::string& tag, int line, const char* where);
    void addWarnings();

    std::vector<Problem> problems_;
    std::vector<Problem> warnings_;
    PlcMemory memory_;
    std::vector<Leaf> leaves_;
    BitLayout bits_;
    std::vector<SignalGenerator::ResolvedSignal> signals_;
    std::uint64_t fingerprint_;
};

}  // namespace ac500::sim

#endif
