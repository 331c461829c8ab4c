// The files of the page, embedded in the program: index.html and what it loads, the charts' library among it. Constant data,
// for any thread.
#ifndef AC500_TOOLS_GATEWAY_PAGE_ASSETS_H
#define AC500_TOOLS_GATEWAY_PAGE_ASSETS_H

#include <cstddef>
#include <string_view>

namespace ac500::gateway {

struct Asset {
    std::string_view name;  // without a folder: "index.html", "main.js"
    const char* contentType;
    const char* etag;  // with its quotes, as the header has it; another content has another one
    const unsigned char* bytes;
    std::size_t length;
};

// A null pointer when there is no asset of that name. "index.html" is the page itself.
const Asset* findAsset(std::string_view name);

// Sixteen hex digits that differ when any asset differs. The page carries the build that it was made with; the door tells
// the build of today in the first event of a stream, so that a page from before an update loads itself anew.
std::string_view pageBuild();

}  // namespace ac500::gateway

#endif
