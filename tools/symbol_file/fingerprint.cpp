#include "tools/symbol_file/fingerprint.h"

#include <string>
#include <string_view>

#include "tools/text/checksum.h"

namespace ac500::symbol_file {
namespace {

class Fingerprint {
public:
    void add(const std::string& text) {
        hash_.add(text);
        constexpr char kEnd = '\0';
        hash_.add(std::string_view(&kEnd, 1));  // so that two texts are not as one
    }
    void add(std::int64_t number) { add(std::to_string(number)); }

    std::uint64_t value() const { return hash_.value(); }

private:
    text::Fnv1a hash_;
};

}  // namespace

std::uint64_t fingerprint(const SymbolFile& file) {
    Fingerprint print;
    for (const Area& area : file.areas) {
        print.add(area.number);
        print.add(area.sizeBytes);
    }
    for (const Leaf& leaf : listLeaves(file)) {
        print.add(leaf.tag);
        print.add(typeName(leaf.code, leaf.stringCharacters));
        print.add(leaf.area);
        print.add(leaf.address);
        for (const ArrayDimension& dimension : leaf.dimensions) {
            print.add(dimension.lower);
            print.add(dimension.upper);
        }
    }
    for (const GuardTag& guard : file.guards) {
        print.add(guard.tag);
        print.add(text::toText(guard.value));
    }
    return print.value();
}

}  // namespace ac500::symbol_file
