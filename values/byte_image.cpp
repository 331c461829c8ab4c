#include "values/byte_image.h"

#include <algorithm>

#include "protocol/bytes.h"

namespace ac500 {

namespace {

enum { kWordBytes = 2 };

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
    return static_cast<quint8>(bytes_[key]);
}

void ByteImage::copyElement(ImageKey key, int width, char* target) {
    const QHash<quint64, char>& bytes = bytes_;
    const QHash<quint64, char>::const_iterator first = bytes.constFind(key);
    if (first == bytes.constEnd()) {
        storeZeros(key, width);
        std::fill(target, target + width, '\0');
        return;
    }
    target[0] = first.value();
    for (int i = 1; i < width; ++i) {
        target[i] = bytes_[key + static_cast<quint32>(i)];
    }
}

bool ByteImage::bit(const WordBit& position) {
    char word[kWordBytes];
    copyElement(position.wordKey, kWordBytes, word);
    return ((getU16(word) >> position.bit) & 1) != 0;
}

void ByteImage::store(ImageKey key, const char* source, int count) {
    for (int i = 0; i < count; ++i) {
        bytes_[key + static_cast<quint32>(i)] = source[i];
    }
}

void ByteImage::storeZeros(ImageKey key, int count) {
    for (int i = 0; i < count; ++i) {
        bytes_[key + static_cast<quint32>(i)] = 0;
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
