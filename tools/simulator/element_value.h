// Values of single PLC variables in memory: numbers and texts become big-endian bytes by type code, and back.
//
// Integers are rounded to the nearest and limited to the range of their type; a boolean is true when the rounded number
// is not 0; a string takes the number's shortest decimal text. Numbers travel as double, so 64-bit integers keep
// 53 significant bits; copyValue between equal types keeps all. Not thread-safe (see PlcMemory).
#ifndef AC500_TOOLS_SIMULATOR_ELEMENT_VALUE_H
#define AC500_TOOLS_SIMULATOR_ELEMENT_VALUE_H

#include <string>

#include "tools/simulator/plc_memory.h"
#include "tools/symbol_file/symbol_file.h"

namespace ac500::sim {

using symbol_file::Element;

// The bytes that the element occupies; for a bit (type Bit): its word.
ByteRun runOf(const Element& element);

// All REQUIRE: memory.contains(runOf(element)).

void writeNumber(PlcMemory& memory, const Element& element, double number);

// 0 for a string that is no number.
double readNumber(const PlcMemory& memory, const Element& element);

// Writes what `text` says: TRUE/FALSE/1/0 for booleans and bits, decimal or 16#hexadecimal integers, decimal floats; a
// string takes the text itself, cut at its length and filled with zeros. False, and nothing written, when the text is no
// value of the type.
bool writeText(PlcMemory& memory, const Element& element, const std::string& text);

// "TRUE", "-12", "1.5", "\"hello\"": the value exactly, also of 64-bit integers; strings as UTF-8 up to their first zero
// byte, control characters as \xNN.
std::string valueText(const PlcMemory& memory, const Element& element);

// Copies bytes when the types are equal and both elements are whole variables, else the number. A longer string is cut.
void copyValue(PlcMemory& memory, const Element& source, const Element& target);

}  // namespace ac500::sim

#endif
