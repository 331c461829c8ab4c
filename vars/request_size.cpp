#include "vars/request_size.h"

#include <QtCore/qglobal.h>

#include "core/communication_protocol.h"
#include "protocol/bytes.h"
#include "symbols/data_types.h"

namespace ac500 {

namespace {

enum { kBitsPerWord = 16, kBytesPerWord = 2 };

int elementCount(const ControlInformationM& info, ValueGroup group, int requested) {
    // The bytes of a row that ends farther before it begins would wrap around into gigabytes.
    enum { kShortestRow = -(1 << 28) };
    if (info.isArray != 0) {  // of strings too, though they count words (quirk 35)
        return qMin(requested, qMax<int>(info.arrayCount, kShortestRow));
    }
    return group == kText ? requested : 1;
}

// Words of the host, rounded up to whole values of `wordsPerValue` words each.
int bytesOfWords(int words, int wordsPerValue) {
    return wrapMul(wrapAdd(words, wordsPerValue - 1) / wordsPerValue, kBytesPerWord * wordsPerValue);
}

ReadExtent wordsAroundBits(int firstBit, int count) {
    const int bitInWord = firstBit % kBitsPerWord;
    const int words = wrapAdd(wrapAdd(count, bitInWord), kBitsPerWord - 1) / kBitsPerWord;
    const ReadExtent extent = {true, kWordType, firstBit / kBitsPerWord * kBytesPerWord, words * kBytesPerWord};
    return extent;
}

}  // namespace

ReadExtent readExtent(const ControlInformationM& info, int requested) {
    const ValueGroup group = dataType(info.dataType).group;
    const int count = elementCount(info, group, requested);
    switch (group) {
        case kBooleanByte:
        case k8Bit:
            return {true, info.dataType, info.address, count};
        case k16Bit:
        case kText:
            return {true, info.dataType, info.address, bytesOfWords(count, 1)};
        case k32Bit:
            return {true, info.dataType, info.address, bytesOfWords(count, 2)};
        case k64Bit:
            return {true, info.dataType, info.address, bytesOfWords(count, 4)};
        case kBitAddressedBoolean:
            return wordsAroundBits(info.address, count);
        case kNotServed:
            break;
    }
    return {false, 0, 0, 0};
}

int maxRequestBytes() {
    return wrapMul(kBytesPerWord, PLC_driver.comInfo->maxRequestWords);
}

}  // namespace ac500
