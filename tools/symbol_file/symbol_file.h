// SymbolFile is the description of a PLC program that both programs read: memory areas, scopes, variables, structure
// types, and what the simulator is to do with them. docs/symbol-file.md gives the JSON format; this header gives what
// is left of it after loading: everything resolved, checked and free of Qt.
//
// Plain values, immutable after loading by convention; safe to share between threads as const.
#ifndef AC500_TOOLS_SYMBOL_FILE_SYMBOL_FILE_H
#define AC500_TOOLS_SYMBOL_FILE_SYMBOL_FILE_H

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tools/symbol_file/value_notes.h"

namespace ac500::symbol_file {

// Type codes of the driver's interface (docs/host-interface.md), where 12 is a structure and 19 and 20 do not exist; and
// behind them types that the driver takes for another (driverCode).
enum class TypeCode : std::uint8_t {
    Bool = 1,  // one byte
    Sint = 2,
    Int = 3,
    Uint = 4,
    Dint = 5,
    Udint = 6,
    Real = 7,  // 32-bit float
    Lint = 8,
    Lreal = 9,  // 64-bit float
    String = 10,
    Cstring = 11,  // the same under its second code
    Struct = 12,
    Bit = 13,  // one bit, addressed by bit
    Usint = 14,
    Byte = 15,
    Word = 16,
    Dword = 17,
    Lword = 18,
    Ulint = 21,
    // 32 bits, unsigned: text::TimeKind says what they count
    Time = 101,
    Date = 102,
    TimeOfDay = 103,
    DateAndTime = 104,
};

// What the values of a type are.
enum class TypeKind {
    Truth,      // TRUE or FALSE
    Signed,     // whole numbers
    Unsigned,   // whole numbers from 0
    BitString,  // likewise, but people read them in hexadecimal: BYTE to LWORD
    Float,
    Text,
    Structure,
};

// A STRING without a length has so many characters, each string a terminator behind them. The driver counts elements of
// any array of strings by this room.
constexpr int kStringCharacters = 80;
constexpr int kStringBytes = kStringCharacters + 1;
constexpr int kMostStringCharacters = 255;

struct TypeTraits {
    TypeCode code;
    TypeKind kind;
    const char* name;     // as symbol files and terminals spell it: "BOOL", "INT", ...
    int widthBytes;       // of one element; 0 for Bit and Struct; of a string without a length
    bool bitAddressable;  // may a symbol file give it "bits": true?
};

// The row of a code; never null for a member of the enum.
const TypeTraits* typeTraits(TypeCode code);
inline TypeKind kindOf(TypeCode code) {
    return typeTraits(code)->kind;
}
// The row of a name (exact spelling), or null.
const TypeTraits* typeTraits(const std::string& name);
// What the driver's records call the type: UDINT for TIME, DATE, TOD and DT, else the code itself.
TypeCode driverCode(TypeCode code);
// Nothing for a type that is no time or date.
std::optional<text::TimeKind> timeKindOf(TypeCode code);
// Bytes of one element; `stringCharacters` counts for strings only. 0 for Bit and Struct.
int elementBytes(TypeCode code, int stringCharacters);
// As symbol files spell it: "INT", "STRING(20)", and "STRING" for one of 80 characters.
std::string typeName(TypeCode code, int stringCharacters);
// The names of all types but "STRUCT": what a symbol file can use without declaring it.
std::vector<std::string> builtInTypeNames();

// What a variable of a whole-number or truth type can hold; truth is 0 or 1.
struct IntegerLimits {
    std::int64_t smallest;
    std::uint64_t largest;
};
// REQUIRES: the kind is Truth, Signed, Unsigned or BitString
IntegerLimits integerLimits(TypeCode code);

// Both bounds belong to the array, as in ARRAY[1..6]. (The driver's records carry upper + 1: see label_records.h.)
struct ArrayDimension {
    int lower;
    int upper;
    int count() const { return upper - lower + 1; }
};

struct StructType;

// A variable of a scope or a member of a structure.
struct Variable {
    std::string name;
    TypeCode code = TypeCode::Bool;
    std::shared_ptr<const StructType> structure;  // set exactly for TypeCode::Struct
    int area = 0;                                 // variables of a scope only
    int offset = 0;  // bytes from the start of the area or structure; for Bit: bits from the start of the area
    std::vector<ArrayDimension> dimensions;  // outermost first; empty: no array
    bool bitAddressable = false;             // single bits may be named: Main.flags.b[3]
    std::string comment;
    int line = 0;                              // in the symbol file, from 1
    int stringCharacters = kStringCharacters;  // strings only
    bool isReadOnly = false;                   // of a structure: everything in it
    bool isOnlyWrittenHere = false;            // nobody but this host is to write it; of a structure: anything in it
    std::shared_ptr<const ValueNotes> notes;   // null without any
};

struct StructType {
    std::string name;
    int sizeBytes = 0;
    std::vector<Variable> members;
    int line = 0;
};

struct Scope {
    std::string name;
    std::vector<Variable> variables;
    int line = 0;
};

struct Area {
    int number = 0;
    std::string name;
    std::uint32_t sizeBytes = 0;
    int line = 0;
};

// What the simulator does with one tag over time.
struct Signal {
    enum class Kind { Constant, Counter, Ramp, Sine, Square, RandomWalk, Echo, Pattern };
    std::string tag;  // a leaf, concrete indices: "Main.tank[2].level"
    Kind kind = Kind::Constant;
    double minimum = 0;  // Constant: the value
    double maximum = 0;
    double step = 1;      // Counter and RandomWalk: per period
    int periodMs = 1000;  // Counter, RandomWalk, Pattern: one step; Ramp, Sine, Square: one wave
    std::string source;   // Echo: the tag it repeats
    int line = 0;
};

// The value a tag has when the simulator starts, as text ("12", "TRUE", "3.5", "hello").
struct InitialValue {
    std::string tag;
    std::string text;
    int line = 0;
};

// A variable by which the program in the PLC is told from others: it holds a number that changes with the program.
struct GuardTag {
    std::string tag;          // a whole number that is not scaled
    text::WholeNumber value;  // what this program has there; never 0, which cleared memory has
    int line = 0;
};

struct SymbolFile {
    std::string description;
    std::vector<Area> areas;
    std::vector<std::shared_ptr<const StructType>> types;
    std::vector<Scope> scopes;
    std::vector<GuardTag> guards;
    std::vector<Signal> signals;
    std::vector<InitialValue> initialValues;
};

// One finding; prints as "plant.json:34:17: scopes[0].variables[3].type: unknown type \"WORDX\"; ...".
struct Problem {
    int line = 0;
    int column = 0;
    std::string where;  // path inside the document
    std::string what;   // what is wrong and what to do
};
std::string describe(const std::string& fileName, const Problem& problem);

struct LoadedSymbolFile {
    SymbolFile file;                // usable exactly when `problems` is empty
    std::vector<Problem> problems;  // in line order; all that were found, not just the first
};

// Reads and checks a file; an unreadable one is a problem at line 0.
LoadedSymbolFile loadSymbolFile(const std::string& fileName);
// The same for a text that is already in memory.
LoadedSymbolFile parseSymbolFile(const std::string& text);

// A scalar or a whole array of scalars that can be read: the leaves of all scopes, structures expanded.
struct Leaf {
    std::string tag;  // "Main.motor[2].speed", "Main.grid" (array: without index)
    TypeCode code = TypeCode::Bool;
    int area = 0;
    std::int64_t address = 0;  // bytes; bits for Bit
    std::vector<ArrayDimension> dimensions;
    bool bitAddressable = false;
    std::string comment;
    int stringCharacters = kStringCharacters;  // strings only
    bool isReadOnly = false;
    std::shared_ptr<const ValueNotes> notes;  // null without any
    bool isOnlyWrittenHere = false;
    int elementCount() const;  // product over dimensions; 1 without
};

// Every leaf in file order, arrays of structures expanded element by element.
std::vector<Leaf> listLeaves(const SymbolFile& file);

// One element found by its concrete tag.
struct Element {
    TypeCode code = TypeCode::Bool;
    int area = 0;
    std::int64_t address = 0;  // bytes; bits for Bit
    int elementsToRowEnd = 1;  // elements from this one to the end of the innermost dimension, itself included
    bool bitAddressable = false;
    int bit = -1;  // 0 = least significant when the tag names a bit of the variable, else -1
    int stringCharacters = kStringCharacters;  // strings only
    bool isReadOnly = false;
    std::shared_ptr<const ValueNotes> notes;  // null without any, and of a bit of a variable
    bool isOnlyWrittenHere = false;
};

// Why a tag does not resolve.
struct TagProblem {
    std::string reason;          // which component does not exist
    std::string remedy;          // begins with "; "; for an unknown name the one that is near, or else where to look
    bool isOutOfBounds = false;  // all of it exists, but an index or a bit lies outside its bounds
};

// Resolves a concrete tag ("Main.grid[2,3]", "Main.flags.b[3]" or "Main.flags.3"). Nothing on failure; *problem then says why.
std::optional<Element> findElement(const SymbolFile& file, const std::string& tag, TagProblem* problem);
// The same, with reason and remedy in one text.
std::optional<Element> findElement(const SymbolFile& file, const std::string& tag, std::string* error);

}  // namespace ac500::symbol_file

#endif
