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
    for (int i = 0; i < PLC_driver.batchCount; ++i)
        storeItem(PLC_driver.batch[i], reader, image);
}

void WriteDataToLocal(RW_VAR* var) noexcept {
    QMutexLocker lock(&PLC_driver.localAreaMutex);
    ByteImage image(PLC_driver.localValues);
    if (var->dataType == kBitAddressedType)
        storeBits(*var, image);
    else
        storeBytes(*var, image);
}
