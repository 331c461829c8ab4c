// Whether the sections of a symbol file that name tags look them up.
#ifndef AC500_TOOLS_SYMBOL_FILE_TAG_LOOKUP_H
#define AC500_TOOLS_SYMBOL_FILE_TAG_LOOKUP_H

namespace ac500::symbol_file {

// Tags are looked up only in a file whose variables are right: otherwise one wrong variable would be reported again for
// every tag that names it.
enum class TagLookup { Possible, Impossible };

}  // namespace ac500::symbol_file

#endif
