#include "symbols/tag_resolution.h"

#include "core/host_interface.h"
#include "symbols/resolution_code.h"
#include "symbols/tag_path.h"

namespace ac500 {

int resolveTag(QString& tag, const QString& argument, ControlInformationM& info) {
    info = ControlInformationM();
    if (hasPlaceholder(tag)) {
        const int code = get_label_address_info(tag, argument.toInt());
        if (code != kResolved)
            return code;
    }
    const QString& concreteTag = tag;
    return get_label_address_info(concreteTag, info);
}

}  // namespace ac500
