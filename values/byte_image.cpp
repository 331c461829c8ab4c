#include "values/byte_image.h"

#include <algorithm>

#include "protocol/bytes.h"

namespace ac500 {

namespace {

enum { kWordBytes = 2, kMostReserved = 1 << 19 };

// Stores `byteAt(i)` under `key` + i.
template <typename ByteAt>
void storeEach(ImageHash& bytes, ImageKey key, int count, const ByteAt& byteAt) {
    if (count <= 0) {
        return;
    }
    bytes.detach();
    ImageNodes nodes(bytes);
    for (int i = 0; i < count; ++i) {
        const int first = i;
        i += nodes.forEachByte(key + static_cast<quint32>(first), count - first,
                               [first, &byteAt](int k, char& byte) { byte = byteAt(first + k); });
        if (i < count) {
            nodes.insert(key + static_cast<quint32>(i), byteAt(i));
        }
    }
}

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
    const int present = ImageNodes(bytes_).forEachByte(key, width, [target](int i, char byte) { target[i] = byte; });
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
        char* const rest = target + i;
        i += nodes.forEachByte(key + static_cast<quint32>(i), count - i, [rest](int k, char byte) { rest[k] = byte; });
        if (i < count) {
            nodes.insert(key + static_cast<quint32>(i), 0);
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
    const qint64 buckets = (bytes + ImageNodes::kMostPerBucket - 1) / ImageNodes::kMostPerBucket;
    if (buckets > bytes_.capacity()) {
        bytes_.reserve(static_cast<int>(qMin<qint64>(buckets, kMostReserved)));
    }
}

void ByteImage::store(ImageKey key, const char* source, int count) {
    storeEach(bytes_, key, count, [source](int i) { return source[i]; });
}

void ByteImage::storeZeros(ImageKey key, int count) {
    storeEach(bytes_, key, count, [](int) { return '\0'; });
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
