// GetRegisterData: from the byte image to the host's registers.
#include <algorithm>

#include <QtCore/QMutexLocker>

#include "core/codes.h"
#include "core/host_interface.h"
#include "symbols/tag_resolution.h"
#include "values/byte_image.h"
#include "values/tag_value.h"

using namespace ac500;

namespace {

// All of these replace `out`, in place: the host that hands in the same array again spares an allocation.
void setZeros(QByteArray& out, int length) {
    out.detach();  // the array may only point at memory of the host's
    out.fill('\0', notNegative(length));
}

void setZeroWords(QByteArray& out, int count) {
    setZeros(out, wrapMul(kBytesPerHostWord, count));
}

// Number of elements that are converted: one, or as many of `requested` as a row of the array has. A run that begins in
// the middle of a row goes on behind its end (quirk 17).
int convertedElements(const ControlInformationM& info, int requested) {
    return info.isArray != 0 ? qMin(requested, info.arrayCount) : qMin(requested, 1);
}

void readBooleans(const ControlInformationM& info, int count, ByteImage& image, QByteArray& out) {
    setZeros(out, count);
    char* target = out.data();
    const ImageKey key = readKey(info.area, info.address);
    const int elements = convertedElements(info, count);
    for (int i = 0; i < elements; ++i) {
        target[i] = image.byte(key + static_cast<quint32>(i)) != 0 ? 1 : 0;
    }
}

void readBitAddressed(const ControlInformationM& info, int count, ByteImage& image, QByteArray& out) {
    setZeros(out, count);
    char* target = out.data();
    const int elements = convertedElements(info, count);
    for (int i = 0; i < elements; ++i) {
        target[i] = image.bit(wordBit(info.area, info.address, i)) ? 1 : 0;
    }
}

// One byte per element, packed: the second half of the output stays 0 (quirk 23).
void readPackedBytes(const ControlInformationM& info, int count, ByteImage& image, QByteArray& out) {
    setZeroWords(out, count);
    char* target = out.data();
    const ImageKey key = readKey(info.area, info.address);
    const int elements = convertedElements(info, qMin(count, out.size()));  // bytes of a huge count wrap
    for (int i = 0; i < elements; ++i) {
        target[i] = static_cast<char>(image.byte(key + static_cast<quint32>(i)));
    }
}

void readText(const ControlInformationM& info, int count, ByteImage& image, QByteArray& out) {
    setZeroWords(out, count);
    char* target = out.data();
    const ImageKey key = readKey(info.area, info.address);
    for (int i = 0; i < out.size(); ++i) {
        target[i] = static_cast<char>(image.byte(key + static_cast<quint32>(i)));
    }
}

// Values of 2, 4 or 8 bytes: big-endian in the image, little-endian for the host.
void readWords(const ControlInformationM& info, int count, ByteImage& image, QByteArray& out) {
    const ValueGroup group = dataType(info.dataType).group;
    const int width = valueBytes(group);
    const int requested = valuesInWords(count, group);
    setZeros(out, wrapMul(requested, width));
    char* target = out.data();
    const ImageKey key = readKey(info.area, info.address);
    const int elements = convertedElements(info, qMin(requested, out.size() / width));
    for (int i = 0; i < elements; ++i) {
        char* element = target + i * width;
        image.copyElement(key + static_cast<quint32>(i * width), width, element);
        std::reverse(element, element + width);
    }
}

void readElements(const ControlInformationM& info, int count, ByteImage& image, QByteArray& out) {
    switch (dataType(info.dataType).group) {
        case kBooleanByte:
            return readBooleans(info, count, image, out);
        case k8Bit:
            return readPackedBytes(info, count, image, out);
        case k16Bit:
        case k32Bit:
        case k64Bit:
            return readWords(info, count, image, out);
        case kText:
            return readText(info, count, image, out);
        case kBitAddressedBoolean:
            return readBitAddressed(info, count, image, out);
        case kNotServed:
            break;
    }
    setZeroWords(out, count);
}

void readBits(const ControlInformationM& info, int count, ByteImage& image, QByteArray& out) {
    setZeros(out, count);
    if (info.bitIndex < 0) {
        return;
    }
    const ValueGroup group = dataType(info.dataType).group;
    char* target = out.data();
    const ImageKey key = readKey(info.area, info.address);
    const int available = bitWidth(group) - info.bitIndex;
    for (int k = 0; k < count && k < available; ++k) {
        const int bit = info.bitIndex + k;
        const quint8 byte = image.byte(key + static_cast<quint32>(byteOfBit(bit, valueBytes(group))));
        target[k] = static_cast<char>((byte >> (bit % kBitsPerByte)) & 1);
    }
}

}  // namespace

quint32 GetRegisterData(QString* label, qint32, QString* labelArg, qint32, QByteArray* out, qint32 count) noexcept {
    ControlInformationM info;
    if (resolveTag(*label, labelArg, info) != kResolved) {
        setZeroWords(*out, count);
        return 0;
    }
    QMutexLocker lock(&PLC_driver.localAreaMutex);
    ByteImage image(PLC_driver.localValues);
    if (info.isBit == 1) {
        readBits(info, count, image, *out);
    } else {
        readElements(info, count, image, *out);
    }
    return 1;
}
