// A symbol file as a document: what stands in it, before anything is resolved. For what writes symbol files, or makes them
// from something else.
#ifndef AC500_TOOLS_SYMBOL_FILE_SYMBOL_DOCUMENT_H
#define AC500_TOOLS_SYMBOL_FILE_SYMBOL_DOCUMENT_H

#include <string>

#include "tools/symbol_file/json_document.h"
#include "tools/symbol_file/symbol_file.h"

namespace ac500::symbol_file {

// Checks and resolves a document; problems stand where its values say that they do.
LoadedSymbolFile readSymbolDocument(const JsonValue& document);

// The document as JSON: a line for each area, member, variable, signal and initial value.
std::string toJsonText(const JsonValue& document);

}  // namespace ac500::symbol_file

#endif
