// Feeding the byte image from read replies and writes, and the host's own register areas.
#include <QtCore/QMutexLocker>

#include "core/host_interface.h"
#include "protocol/bytes.h"
#include "symbols/data_types.h"
#include "values/byte_image.h"

using namespace ac500;

void* LB;
void* LW;
void* RWI;

namespace {

// Walks the item data of a read reply. Bytes that the reply does not hold read as 0 (quirk 26).
class ItemReader {
public:
    ItemReader(const char* bytes, int size, int firstLeadByte) : bytes_(bytes), size_(size), next_(firstLeadByte) {}

    // Every item starts with one byte that carries no data.
    void skipLeadByte() { ++next_; }

    char takeByte() {
        if (next_ < 0 || next_ >= size_)
            return 0;
        return bytes_[next_++];
    }

private:
    const char* bytes_;
    qint64 size_;
    qint64 next_;
};

void storeItem(const RW_VAR& item, ItemReader& reader, ByteImage& image) {
    const ImageKey key = storeKey(item.area, item.offset);
    reader.skipLeadByte();
    for (int i = 0; i < item.size; ++i)
        image.store(key + static_cast<quint32>(i), reader.takeByte());
}

// The hash doubles its buckets while the image grows and is left half empty. Once as many bytes were stored without a
// new one as the image holds, it has stopped growing, and half of the buckets do. Guarded by the image lock.
class GrowthWatch {
public:
    GrowthWatch() : size_(0), storedSinceGrowth_(0) {}

    void stored(QHash<quint64, char>& bytes, qint64 count) {
        storedSinceGrowth_ = bytes.size() == size_ ? storedSinceGrowth_ + count : 0;
        size_ = bytes.size();
        if (storedSinceGrowth_ >= size_ && bytes.capacity() > size_)
            bytes.squeeze();
    }

private:
    int size_;
    qint64 storedSinceGrowth_;
};

GrowthWatch growthWatch;

char dataByte(const RW_VAR& var, int index) {
    return index < var.data.size() ? var.data.at(index) : '\0';
}

void storeBytes(const RW_VAR& var, ByteImage& image) {
    const ImageKey key = storeKey(var.area, var.offset);
    for (int i = 0; i < var.size; ++i)
        image.store(key + static_cast<quint32>(i), dataByte(var, i));
}

void storeBits(const RW_VAR& var, ByteImage& image) {
    for (int i = 0; i < var.size; ++i)
        image.storeBit(wordBit(var.area, var.offset, i), dataByte(var, i) != 0);
}

}  // namespace

void** FlashLocalRegister(void* lb, void* lw, void* rwi) noexcept {
    LB = lb;
    LW = lw;
    RWI = rwi;
    return &LW;
}

void SaveToLocalDataErea(QByteArray* reply) noexcept {
    if (PLC_driver.batchCount < 1 || PLC_driver.frameList.isEmpty())
        return;
    const char* bytes = reply->data();  // detaches: the host may share the array with another thread
    ItemReader reader(bytes, reply->size(), PLC_driver.frameList.first().replyDataOffset);
    ByteImage image(PLC_driver.localValues);
    qint64 stored = 0;
    for (int i = 0; i < PLC_driver.batchCount; ++i) {
        storeItem(PLC_driver.batch[i], reader, image);
        stored += qMax(PLC_driver.batch[i].size, 0);
    }
    growthWatch.stored(PLC_driver.localValues, stored);
}

void WriteDataToLocal(RW_VAR* var) noexcept {
    QMutexLocker lock(&PLC_driver.localAreaMutex);
    ByteImage image(PLC_driver.localValues);
    if (var->dataType == kBitAddressedType)
        storeBits(*var, image);
    else
        storeBytes(*var, image);
}
