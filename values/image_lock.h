// ImageLock holds the driver's image lock while it lives: for reads by name, on any thread, which need it for as long as it
// takes to copy a few bytes.
//
// Who holds the lock is mostly done with it within microseconds: another reader, or the loop, which stores a reply. To
// sleep and to be woken takes many times as long, so this tries again for some microseconds first, and lets others run
// where it cannot be that its holder runs beside it.
#ifndef AC500_VALUES_IMAGE_LOCK_H
#define AC500_VALUES_IMAGE_LOCK_H

#include "core/communication_protocol.h"

namespace ac500 {

class ImageLock {
public:
    ImageLock() {
        if (!PLC_driver.localAreaMutex.tryLock()) {
            waitForTurn();
        }
    }

    ~ImageLock() { PLC_driver.localAreaMutex.unlock(); }

private:
    Q_DISABLE_COPY(ImageLock)

    static void waitForTurn();
};

}  // namespace ac500

#endif
