// TagTexts holds what the C interface tells of a tag, so that its texts live as long as a handle.
#ifndef AC500_TOOLS_CLIENT_TAG_TEXTS_H
#define AC500_TOOLS_CLIENT_TAG_TEXTS_H

#include <string>

#include "tools/client/ac500_client.h"
#include "tools/host/tag.h"

namespace ac500::client {

class TagTexts {
public:
    // `comment`: of the variable that it belongs to.
    TagTexts(const host::Tag& tag, std::string comment);

    // Its texts live as long as this.
    ac500_tag_info info() const;

private:
    std::string name_;
    std::string type_;
    std::string unit_;
    std::string comment_;
    std::string valueNames_;
    ac500_tag_info numbers_{};
};

}  // namespace ac500::client

#endif
