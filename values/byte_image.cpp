#include "values/byte_image.h"

#include <algorithm>

#include "protocol/bytes.h"

namespace ac500 {

namespace {

enum { kWordBytes = 2, kMostReserved = 1 << 20, kZerosAtOnce = 64 };

const char kZeros[kZerosAtOnce] = {};

ImageKey areaPart(qint32 area) {
    return static_cast<quint64>(static_cast<quint32>(area)) << 32;
}

}  // namespace

ImageKey readKey(qint32 area, qint32 address) {
    return areaPart(area) | static_cast<quint32>(address);
}

ImageKey storeKey(qint32 area, qint32 address) {
    return areaPart(area) | static_cast<quint64>(static_cast<qint64>(address));  // quirk 28
}

WordBit wordBit(qint32 area, qint32 firstBit, int index) {
    const quint64 bitAddress = static_cast<quint64>(static_cast<quint32>(firstBit)) + static_cast<quint32>(index);
    const WordBit position = {areaPart(area) | ((bitAddress >> 4) * kWordBytes), static_cast<int>(bitAddress & 15)};
    return position;
}

quint8 ByteImage::byte(ImageKey key) {
    char value = 0;
    copyBytes(key, 1, &value);
    return static_cast<quint8>(value);
}

void ByteImage::copyElement(ImageKey key, int width, char* target) {
    const int present = ImageNodes(bytes_).copy(key, width, target);
    if (present == 0) {
        storeZeros(key, width);
        std::fill(target, target + width, '\0');
    } else if (present < width) {
        copyBytes(key, width, target);
    }
}

void ByteImage::copyBytes(ImageKey key, int count, char* target) {
    ImageNodes nodes(bytes_);
    for (int i = 0; i < count; ++i) {
        i += nodes.copy(key + static_cast<quint32>(i), count - i, target + i);
        if (i < count) {
            nodes.store(key + static_cast<quint32>(i), kZeros, 1);
            target[i] = 0;
        }
    }
}

bool ByteImage::bit(const WordBit& position) {
    char word[kWordBytes];
    copyElement(position.wordKey, kWordBytes, word);
    return ((getU16(word) >> position.bit) & 1) != 0;
}

void ByteImage::reserve(qint64 bytes) {
    const qint64 buckets = (qMin<qint64>(bytes, kMostReserved) + 1) / ImageNodes::kMostPerBucket;
    if (buckets > bytes_.capacity()) {
        bytes_.reserve(static_cast<int>(buckets));
    }
}

void ByteImage::store(ImageKey key, const char* source, int count) {
    ImageNodes(bytes_).store(key, source, count);
}

void ByteImage::storeZeros(ImageKey key, int count) {
    ImageNodes nodes(bytes_);
    for (int stored = 0; count > 0; count -= stored, key += static_cast<quint32>(stored)) {
        stored = qMin<int>(count, kZerosAtOnce);
        nodes.store(key, kZeros, stored);
    }
}

void ByteImage::storeBit(const WordBit& position, bool value) {
    char bytes[kWordBytes];
    copyElement(position.wordKey, kWordBytes, bytes);
    const int mask = 1 << position.bit;
    const int word = value ? getU16(bytes) | mask : getU16(bytes) & ~mask;
    putU16(bytes, static_cast<quint16>(word));
    store(position.wordKey, bytes, kWordBytes);
}

}  // namespace ac500
