// From a tag name to area, address, type, array position and bit: the one way in which lists and values resolve a tag
// of the host.
#ifndef AC500_SYMBOLS_TAG_RESOLUTION_H
#define AC500_SYMBOLS_TAG_RESOLUTION_H

#include <QtCore/QString>

#include "symbols/control_information.h"
#include "symbols/resolution_cache.h"

namespace ac500 {

// Makes the name concrete when it holds "%%" (`tag` is overwritten; `argument` is decimal text, 0 when it is unreadable
// or null), then resolves it. Returns a resolution code; `info` is cleared first and filled on success.
int resolveTag(QString& tag, const QString* argument, ControlInformationM& info);

// For who resolves many tags in a row, on one thread: keeps its seat in the cache from one to the next, and copies no text of
// tags that are known.
class TagResolver {
public:
    TagResolver() : cache_(resolutionCache) {}

    // As resolveTag, but the tag stays as it is: its concrete name is not told.
    int resolve(const QString& tag, const QString& argument, ControlInformationM& info);

private:
    Q_DISABLE_COPY(TagResolver)

    ResolutionCache::Use cache_;
};

// get_label_address_info(QString&, int) (core/host_interface.h) for who uses the cache already.
int makeConcrete(QString& tag, int argument, ResolutionCache::Use& cache);

}  // namespace ac500

#endif
