#include "vars/request_size.h"

#include <QtCore/qglobal.h>

#include "core/communication_protocol.h"
#include "protocol/bytes.h"
#include "symbols/data_types.h"

namespace ac500 {

namespace {

enum { kBitsPerWord = 16, kBytesPerWord = 2 };

int elementCount(const ControlInformationM& info, ValueGroup group, int requested) {
    if (info.isArray != 0) {  // of strings too, though they count words (quirk 35)
        return qMin<int>(requested, info.arrayCount);
    }
    return group == kText ? requested : 1;
}

// Words of the host, rounded up to whole values of `wordsPerValue` words each.
int bytesOfWords(int words, int wordsPerValue) {
    return wrapMul(wrapAdd(words, wordsPerValue - 1) / wordsPerValue, kBytesPerWord * wordsPerValue);
}

struct ByteRun {
    int startByte;
    int lengthBytes;
};

ByteRun wordsAroundBits(int firstBit, int count) {
    const int bitInWord = firstBit % kBitsPerWord;
    const int words = wrapAdd(wrapAdd(count, bitInWord), kBitsPerWord - 1) / kBitsPerWord;
    return {firstBit / kBitsPerWord * kBytesPerWord, words * kBytesPerWord};
}

ByteRun bytesOf(const ControlInformationM& info, ValueGroup group, int count) {
    switch (group) {
        case kBooleanByte:
        case k8Bit:
            return {info.address, count};
        case k16Bit:
        case kText:
            return {info.address, bytesOfWords(count, 1)};
        case k32Bit:
            return {info.address, bytesOfWords(count, 2)};
        case k64Bit:
            return {info.address, bytesOfWords(count, 4)};
        case kBitAddressedBoolean:
            return wordsAroundBits(info.address, count);
        case kNotServed:
            break;
    }
    return {0, 0};
}

}  // namespace

ReadExtent readExtent(const ControlInformationM& info, int requested) {
    const ValueGroup group = dataType(info.dataType).group;
    const int count = elementCount(info, group, requested);
    const bool askedFor = count >= 0;
    const ByteRun run = bytesOf(info, group, qMax(count, 0));
    if (group == kNotServed) {
        return {false, 0, 0, 0, false};
    }
    const int plannedType = group == kBitAddressedBoolean ? static_cast<int>(kWordType) : info.dataType;
    return {true, plannedType, run.startByte, askedFor ? run.lengthBytes : 0, askedFor};
}

int maxRequestBytes() {
    return wrapMul(kBytesPerWord, PLC_driver.comInfo->maxRequestWords);
}

}  // namespace ac500
