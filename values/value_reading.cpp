// GetRegisterData: from the byte image to the host's registers.
#include <algorithm>

#include "core/codes.h"
#include "core/host_interface.h"
#include "symbols/tag_resolution.h"
#include "values/byte_image.h"
#include "values/image_lock.h"
#include "values/tag_value.h"

using namespace ac500;

namespace {

// Others wait while it lives: `out` gets its length before, and the host's byte order afterwards.
class LockedImage {
public:
    LockedImage() : image_(PLC_driver.localValues) {}

    ByteImage* operator->() { return &image_; }

private:
    ImageLock lock_;
    ByteImage image_;
};

// Gives `out` a length, in place: the host that hands in the same array again spares an allocation. Returns its bytes,
// of whatever value.
char* resized(QByteArray& out, int length) {
    const int size = notNegative(length);
    if (out.size() != size) {
        out.resize(size);
    }
    return out.data();  // of its own: the array may have only pointed at memory of the host's
}

// For bytes that were not converted.
void clear(char* begin, char* end) {
    std::fill(begin, end, '\0');
}

void setZeros(QByteArray& out, int length) {
    char* target = resized(out, length);
    clear(target, target + out.size());
}

void setZeroWords(QByteArray& out, int count) {
    setZeros(out, wrapMul(kBytesPerHostWord, count));
}

// Number of elements that are converted: one, or as many of `requested` as a row of the array has. A run that begins in
// the middle of a row goes on behind its end (quirk 17).
int convertedElements(const ControlInformationM& info, int requested) {
    return notNegative(info.isArray != 0 ? qMin(requested, info.arrayCount) : qMin(requested, 1));
}

ImageKey firstKey(const ControlInformationM& info) {
    return readKey(info.area, info.address);
}

void copyBytes(ImageKey key, int count, char* target) {
    LockedImage image;
    image->copyBytes(key, count, target);
}

void readBooleans(const ControlInformationM& info, int count, QByteArray& out) {
    char* target = resized(out, count);
    char* converted = target + convertedElements(info, count);
    copyBytes(firstKey(info), static_cast<int>(converted - target), target);
    for (char* element = target; element != converted; ++element) {
        *element = *element != 0 ? 1 : 0;
    }
    clear(converted, target + out.size());
}

void readBitAddressed(const ControlInformationM& info, int count, QByteArray& out) {
    char* target = resized(out, count);
    const int elements = convertedElements(info, count);
    clear(target + elements, target + out.size());
    LockedImage image;
    for (int i = 0; i < elements; ++i) {
        target[i] = image->bit(wordBit(info.area, info.address, i)) ? 1 : 0;
    }
}

// One byte per element, packed: the second half of the output stays 0 (quirk 23).
void readPackedBytes(const ControlInformationM& info, int count, QByteArray& out) {
    char* target = resized(out, wrapMul(kBytesPerHostWord, count));
    const int elements = convertedElements(info, qMin(count, out.size()));  // bytes of a huge count wrap
    clear(target + elements, target + out.size());
    copyBytes(firstKey(info), elements, target);
}

void readText(const ControlInformationM& info, int count, QByteArray& out) {
    char* target = resized(out, wrapMul(kBytesPerHostWord, count));
    copyBytes(firstKey(info), out.size(), target);
}

template <int kWidth>
void reverseEach(char* begin, const char* end) {
    for (char* element = begin; element != end; element += kWidth) {
        std::reverse(element, element + kWidth);
    }
}

// Values of 2, 4 or 8 bytes: big-endian in the image, little-endian for the host.
void readWords(const ControlInformationM& info, ValueGroup group, int count, QByteArray& out) {
    const int width = valueBytes(group);
    const int requested = valuesInWords(count, group);
    char* target = resized(out, wrapMul(requested, width));
    const int elements = convertedElements(info, qMin(requested, valuesInWords(out.size() / kBytesPerHostWord, group)));
    char* converted = target + elements * width;
    {
        LockedImage image;
        ImageKey key = firstKey(info);
        for (char* element = target; element != converted; element += width) {
            image->copyElement(key, width, element);
            key += static_cast<quint32>(width);
        }
    }
    switch (group) {  // bytes of a number that the compiler knows are reversed by a few instructions
        case k16Bit:
            reverseEach<2>(target, converted);
            break;
        case k32Bit:
            reverseEach<4>(target, converted);
            break;
        default:
            reverseEach<8>(target, converted);
    }
    clear(converted, target + out.size());
}

void readElements(const ControlInformationM& info, int count, QByteArray& out) {
    const ValueGroup group = dataType(info.dataType).group;
    switch (group) {
        case kBooleanByte:
            return readBooleans(info, count, out);
        case k8Bit:
            return readPackedBytes(info, count, out);
        case k16Bit:
        case k32Bit:
        case k64Bit:
            return readWords(info, group, count, out);
        case kText:
            return readText(info, count, out);
        case kBitAddressedBoolean:
            return readBitAddressed(info, count, out);
        case kNotServed:
            break;
    }
    setZeroWords(out, count);
}

void readBits(const ControlInformationM& info, int count, QByteArray& out) {
    setZeros(out, count);
    if (info.bitIndex < 0) {
        return;
    }
    const ValueGroup group = dataType(info.dataType).group;
    char* target = out.data();
    const ImageKey key = firstKey(info);
    const int available = bitWidth(group) - info.bitIndex;
    LockedImage image;
    for (int k = 0; k < count && k < available; ++k) {
        const int bit = info.bitIndex + k;
        const quint8 byte = image->byte(key + static_cast<quint32>(byteOfBit(bit, valueBytes(group))));
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
    if (info.isBit == 1) {
        readBits(info, count, *out);
    } else {
        readElements(info, count, *out);
    }
    return 1;
}
