// Tag names: numbers in texts, the table of scopes, resolution and index rewriting.
#ifndef AC500_TESTS_REFERENCE_NAMES_H
#define AC500_TESTS_REFERENCE_NAMES_H

#include <map>
#include <string>
#include <vector>

#include "tests/reference/records.h"

namespace reference {

// Reads a whole text as a number in the given base (0: as C writes numbers). Blanks around it are fine. False, with 0,
// when it is no number or does not fit into 32 bits.
bool parseNumber(const std::string& text, int base, std::int32_t* number);

// The number, 0 when it is none.
std::int32_t decimalOrZero(const std::string& text);

bool contains(const std::string& text, const std::string& part);

class SymbolTable {
public:
    void load(const std::vector<Symbol>& symbols);
    void remove(const std::string& scope);

    // Result code; *place is filled as far as resolution came.
    int resolve(const std::string& tag, Place* place) const;

    // Result code; replaces "%%" in *tag, which keeps its text on failure.
    int rewrite(std::string* tag, std::int32_t n) const;

private:
    int findVariable(const std::string& tag, const Symbol** variable) const;

    std::map<std::string, Symbol> scopes_;
};

// What the size column of the type table says; 0 for codes that have none.
int elementSize(int typeCode);

// The steps of resolution and rewriting below the table.
int resolveComponent(const Symbol& symbol, const std::vector<std::string>& parts, int k, Place* place);
int rewriteComponent(const Symbol& symbol, std::vector<std::string>* parts, int k, std::int32_t n);
int arrayPosition(const std::string& indexList, std::int32_t dimensions, const std::vector<std::int32_t>& bounds,
                  std::uint32_t* index, std::uint32_t* end);

std::vector<std::string> split(const std::string& text, char separator);

}  // namespace reference

#endif
