// GetRegisterData: from the byte image to the host's registers.
#include <algorithm>

#include <QtCore/QMutexLocker>

#include "core/host_interface.h"
#include "symbols/resolution_code.h"
#include "symbols/tag_resolution.h"
#include "values/byte_image.h"
#include "values/tag_value.h"

using namespace ac500;

namespace {

QByteArray zeros(int length) {
    return QByteArray(notNegative(length), '\0');
}

QByteArray zeroWords(int count) {
    return zeros(wrapMul(kBytesPerHostWord, count));
}

// Number of elements that are converted: one, or as many of `requested` as the array row still holds.
int convertedElements(const ControlInformationM& info, int requested) {
    return info.isArray != 0 ? qMin(requested, info.arrayCount) : qMin(requested, 1);
}

QByteArray readBooleans(const ControlInformationM& info, int count, ByteImage& image) {
    QByteArray out = zeros(count);
    const ImageKey key = readKey(info.area, info.address);
    const int elements = convertedElements(info, count);
    for (int i = 0; i < elements; ++i)
        out[i] = image.byte(key + static_cast<quint32>(i)) != 0 ? 1 : 0;
    return out;
}

QByteArray readBitAddressed(const ControlInformationM& info, int count, ByteImage& image) {
    QByteArray out = zeros(count);
    const int elements = convertedElements(info, count);
    for (int i = 0; i < elements; ++i)
        out[i] = image.bit(wordBit(info.area, info.address, i)) ? 1 : 0;
    return out;
}

// One byte per element, packed: the second half of the output stays 0 (quirk 23).
QByteArray readPackedBytes(const ControlInformationM& info, int count, ByteImage& image) {
    QByteArray out = zeroWords(count);
    const ImageKey key = readKey(info.area, info.address);
    const int elements = convertedElements(info, qMin(count, out.size()));  // bytes of a huge count wrap
    for (int i = 0; i < elements; ++i)
        out[i] = static_cast<char>(image.byte(key + static_cast<quint32>(i)));
    return out;
}

QByteArray readText(const ControlInformationM& info, int count, ByteImage& image) {
    QByteArray out = zeroWords(count);
    const ImageKey key = readKey(info.area, info.address);
    for (int i = 0; i < out.size(); ++i)
        out[i] = static_cast<char>(image.byte(key + static_cast<quint32>(i)));
    return out;
}

// Values of 2, 4 or 8 bytes: big-endian in the image, little-endian for the host.
QByteArray readWords(const ControlInformationM& info, int count, ByteImage& image) {
    const ValueGroup group = dataType(info.dataType).group;
    const int width = valueBytes(group);
    const int requested = valuesInWords(count, group);
    QByteArray out = zeros(wrapMul(requested, width));
    const ImageKey key = readKey(info.area, info.address);
    const int elements = convertedElements(info, qMin(requested, out.size() / width));
    for (int i = 0; i < elements; ++i) {
        char* element = out.data() + i * width;
        image.copyElement(key + static_cast<quint32>(i * width), width, element);
        std::reverse(element, element + width);
    }
    return out;
}

QByteArray readElements(const ControlInformationM& info, int count, ByteImage& image) {
    switch (dataType(info.dataType).group) {
        case kBooleanByte:
            return readBooleans(info, count, image);
        case k8Bit:
            return readPackedBytes(info, count, image);
        case k16Bit:
        case k32Bit:
        case k64Bit:
            return readWords(info, count, image);
        case kText:
            return readText(info, count, image);
        case kBitAddressedBoolean:
            return readBitAddressed(info, count, image);
        case kNotServed:
            break;
    }
    return zeroWords(count);
}

QByteArray readBits(const ControlInformationM& info, int count, ByteImage& image) {
    QByteArray out = zeros(count);
    const ValueGroup group = dataType(info.dataType).group;
    if (info.bitIndex < 0)
        return out;
    const ImageKey key = readKey(info.area, info.address);
    const int available = bitWidth(group) - info.bitIndex;
    for (int k = 0; k < count && k < available; ++k) {
        const int bit = info.bitIndex + k;
        const quint8 byte = image.byte(key + static_cast<quint32>(byteOfBit(bit, valueBytes(group))));
        out[k] = static_cast<char>((byte >> (bit % kBitsPerByte)) & 1);
    }
    return out;
}

}  // namespace

quint32 GetRegisterData(QString* label, qint32, QString* labelArg, qint32, QByteArray* out, qint32 count) noexcept {
    ControlInformationM info;
    if (resolveTag(*label, *labelArg, info) != kResolved) {
        *out = zeroWords(count);
        return 0;
    }
    QMutexLocker lock(&PLC_driver.localAreaMutex);
    ByteImage image(PLC_driver.localValues);
    *out = info.isBit == 1 ? readBits(info, count, image) : readElements(info, count, image);
    return 1;
}
