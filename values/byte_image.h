// ByteImage is the byte image of PLC memory: the bytes last received from or written to the PLC, by area and address, as
// the PLC holds them (big-endian). It is a view of the hash in the driver object, whose keys are
// (area << 32 | byte address).
//
// A byte that is read and not there was never received: it reads as 0 and is inserted as 0, so the image only grows.
// Not thread-safe: callers hold the image lock.
#ifndef AC500_VALUES_BYTE_IMAGE_H
#define AC500_VALUES_BYTE_IMAGE_H

#include "values/image_nodes.h"

namespace ac500 {

typedef quint64 ImageKey;

// The key that values are read under.
ImageKey readKey(qint32 area, qint32 address);

// The key that runs of bytes are stored under: the same below 2^31; from there on the sign of the address spreads into
// the area (quirk 28).
ImageKey storeKey(qint32 area, qint32 address);

// One bit of a 16-bit word: bit addresses count from the least significant bit of the word at byte (address / 16) * 2.
struct WordBit {
    ImageKey wordKey;
    int bit;  // 0 to 15
};

// The bit `index` places after bit address `firstBit` of an area.
WordBit wordBit(qint32 area, qint32 firstBit, int index);

class ByteImage {
public:
    // Keeps a reference to `bytes`.
    explicit ByteImage(ImageHash& bytes) : bytes_(bytes) {}

    quint8 byte(ImageKey key);

    // Copies `width` bytes. When the first was never received the whole element becomes 0, in the image too, also bytes
    // that were received (quirk 22).
    void copyElement(ImageKey key, int width, char* target);

    bool bit(const WordBit& position);

    // Copies `count` bytes; each that was never received becomes 0 by itself.
    void copyBytes(ImageKey key, int count, char* target);

    // Makes room for an image of so many bytes, up to a mebibyte, so that storing them does not have to.
    void reserve(qint64 bytes);

    // Stores under `key` and the keys that follow it.
    void store(ImageKey key, const char* source, int count);
    void storeZeros(ImageKey key, int count);

    // Changes one bit of a word; a word whose first byte was never received is cleared before (quirk 27).
    void storeBit(const WordBit& position, bool value);

private:
    ImageHash& bytes_;
};

}  // namespace ac500

#endif
