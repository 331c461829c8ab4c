// Also where the host's own register areas are kept, which the driver never looks into.
#include "values/local_area.h"

#include <QtCore/QMutexLocker>

#include "core/codes.h"
#include "core/host_interface.h"
#include "protocol/frames.h"
#include "values/byte_image.h"

using namespace ac500;

void* LB;
void* LW;
void* RWI;

namespace {

// Walks the item data of a read reply.
class ItemReader {
public:
    ItemReader(const char* bytes, int size, int firstLeadByte) : bytes_(bytes), size_(size), next_(firstLeadByte) {}

    void skipLeadByte() { next_ += kLeadByteBytes; }

    // How many of the next `wanted` bytes the reply holds.
    int available(int wanted) const {
        return next_ < 0 || next_ >= size_ ? 0 : static_cast<int>(qMin<qint64>(qMax(wanted, 0), size_ - next_));
    }

    // REQUIRES: available(count) is count.
    const char* take(int count) {
        const char* taken = bytes_ + next_;
        next_ += count;
        return taken;
    }

private:
    const char* bytes_;
    qint64 size_;
    qint64 next_;
};

// Bytes that the reply does not hold become 0 (quirk 26).
void storeItem(const RW_VAR& item, ItemReader& reader, ByteImage& image) {
    const ImageKey key = storeKey(item.area, item.offset);
    reader.skipLeadByte();
    const int delivered = reader.available(item.size);
    if (delivered > 0) {
        image.store(key, reader.take(delivered), delivered);
    }
    image.storeZeros(key + static_cast<quint32>(delivered), item.size - delivered);
}

char dataByte(const RW_VAR& var, int index) {
    return index < var.data.size() ? var.data.at(index) : '\0';
}

void storeBytes(const RW_VAR& var, ByteImage& image) {
    const ImageKey key = storeKey(var.area, var.offset);
    const int given = qMin(qMax(var.size, 0), var.data.size());
    image.store(key, var.data.constData(), given);
    image.storeZeros(key + static_cast<quint32>(given), var.size - given);
}

void storeBits(const RW_VAR& var, ByteImage& image) {
    for (int i = 0; i < var.size; ++i) {
        image.storeBit(wordBit(var.area, var.offset, i), dataByte(var, i) != 0);
    }
}

}  // namespace

void ac500::reserveLocalArea(const QList<RW_VAR>& reads) {
    qint64 bytes = 0;
    for (int i = 0; i < reads.size(); ++i) {
        bytes += qMax(reads.at(i).size, 0);
    }
    if (PLC_driver.localAreaMutex.tryLock()) {
        ByteImage(PLC_driver.localValues).reserve(bytes);
        PLC_driver.localAreaMutex.unlock();
    }
}

void** FlashLocalRegister(void* lb, void* lw, void* rwi) noexcept {
    LB = lb;
    LW = lw;
    RWI = rwi;
    return &LW;
}

void SaveToLocalDataErea(QByteArray* reply) noexcept {
    if (PLC_driver.batchCount < 1 || PLC_driver.frameList.isEmpty()) {
        return;
    }
    const char* bytes = reply->data();  // detaches: the host may share the array with another thread
    ItemReader reader(bytes, reply->size(), PLC_driver.frameList.first().replyDataOffset);
    ByteImage image(PLC_driver.localValues);
    for (int i = 0; i < PLC_driver.batchCount; ++i) {
        storeItem(PLC_driver.batch[i], reader, image);
    }
}

void WriteDataToLocal(RW_VAR* var) noexcept {
    QMutexLocker lock(&PLC_driver.localAreaMutex);
    ByteImage image(PLC_driver.localValues);
    if (var->dataType == kBitAddressedType) {
        storeBits(*var, image);
    } else {
        storeBytes(*var, image);
    }
}
