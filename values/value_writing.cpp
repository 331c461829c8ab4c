// SetRegisterData: from the host's registers to write requests and the byte image.
#include <algorithm>

#include <QtCore/QMutexLocker>

#include "core/codes.h"
#include "core/host_interface.h"
#include "core/list_lock.h"
#include "protocol/bytes.h"
#include "symbols/data_types.h"
#include "symbols/tag_resolution.h"
#include "values/byte_image.h"
#include "values/local_area.h"
#include "values/tag_value.h"
#include "vars/request_size.h"
#include "vars/variable_lists.h"

using namespace ac500;

namespace {

// A count in words that is limited in elements, on purpose (quirk 24): by a whole row, wherever in it the run begins
// (quirk 17). Never negative: the bytes of a row that ends far before it begins would wrap around into gigabytes.
int elementCount(const ControlInformationM& info, ValueGroup group, int count) {
    if (info.isArray != 0) {
        return notNegative(qMin(count, info.arrayCount));
    }
    return group == kText ? notNegative(count) : 1;
}

QByteArray booleanPayload(const QByteArray& in, int elements) {
    QByteArray payload(notNegative(elements), '\0');
    for (int e = 0; e < payload.size() && e < in.size(); ++e) {
        payload[e] = in.at(e) != 0 ? 1 : 0;
    }
    return payload;
}

QByteArray lowBytePayload(const QByteArray& in, int elements) {
    QByteArray payload(notNegative(elements), '\0');
    for (int e = 0; e < payload.size() && e < (in.size() + 1) / kBytesPerHostWord; ++e) {
        payload[e] = in.at(kBytesPerHostWord * e);  // the high byte is dropped (quirk 23)
    }
    return payload;
}

QByteArray textPayload(const QByteArray& in, int words) {
    QByteArray payload(notNegative(wrapMul(kBytesPerHostWord, words)), '\0');
    for (int i = 0; i < payload.size() && i < in.size(); ++i) {
        payload[i] = in.at(i);
    }
    return payload;
}

// Little-endian values become big-endian; a value that `in` does not hold whole stays 0.
QByteArray swappedPayload(const QByteArray& in, int words, ValueGroup group) {
    const int width = valueBytes(group);
    QByteArray payload(notNegative(wrapMul(valuesInWords(words, group), width)), '\0');
    const int bytes = qMin(payload.size(), in.size()) / width * width;
    char* const target = payload.data();
    for (int element = 0; element < bytes; element += width) {
        std::reverse_copy(in.constData() + element, in.constData() + element + width, target + element);
    }
    return payload;
}

QByteArray payloadOf(const ControlInformationM& info, const QByteArray& in, int count) {
    const ValueGroup group = dataType(info.dataType).group;
    const int elements = elementCount(info, group, count);
    switch (group) {
        case kBooleanByte:
        case kBitAddressedBoolean:
            return booleanPayload(in, elements);
        case k8Bit:
            return lowBytePayload(in, elements);
        case k16Bit:
        case k32Bit:
        case k64Bit:
            return swappedPayload(in, elements, group);
        case kText:
            return textPayload(in, elements);
        case kNotServed:
            break;
    }
    return QByteArray();
}

// The variable's bytes as the image knows them, with the named bits replaced.
QByteArray payloadWithBits(const ControlInformationM& info, const QByteArray& in, int count) {
    const ValueGroup group = dataType(info.dataType).group;
    QByteArray payload(valueBytes(group), '\0');
    {
        QMutexLocker lock(&PLC_driver.localAreaMutex);
        ByteImage(PLC_driver.localValues).copyElement(readKey(info.area, info.address), payload.size(), payload.data());
    }
    if (info.bitIndex < 0) {
        return payload;
    }
    const int bits = qMin(qMin(count, in.size()), bitWidth(group) - info.bitIndex);
    for (int j = 0; j < bits; ++j) {
        const int bit = info.bitIndex + j;
        const int position = byteOfBit(bit, payload.size());
        const int mask = 1 << (bit % kBitsPerByte);
        const int byte = byteAt(payload.constData(), position);
        payload[position] = static_cast<char>(in.at(j) != 0 ? byte | mask : byte & ~mask);
    }
    return payload;
}

// Delivers records: queues them for the PLC, or stores them in the image alone; while communication has failed, both
// (quirk 25).
class Delivery {
public:
    Delivery() : toPlc_(PLC_driver.comInfo->accessMode == kAccessPlc), pendingWrites_(kNotCounted) {}

    // May leave the texts and bytes of the record empty.
    void deliver(RW_VAR& record) {
        if (!toPlc_) {
            WriteDataToLocal(&record);
            return;
        }
        const QueuedWrite queued = queueWrite(record);
        pendingWrites_ = queued.pendingWrites;
        if (queued.communicationFailed) {
            WriteDataToLocal(&record);
        }
    }

    // As counted when the last record was queued; without waiting for the list lock when none was.
    int pendingWrites() const { return pendingWrites_ == kNotCounted ? ac500::pendingWrites() : pendingWrites_; }

private:
    enum { kNotCounted = -1 };

    const bool toPlc_;
    int pendingWrites_;
};

void deliverPieces(RW_VAR& record, QByteArray payload, int maxBytes, Delivery& delivery) {
    if (payload.isEmpty() || maxBytes <= 0) {
        return;
    }
    int position = 0;
    for (; payload.size() - position > maxBytes; position += maxBytes) {
        RW_VAR piece = record;
        piece.data = payload.mid(position, maxBytes);
        piece.size = maxBytes;
        piece.offset = wrapAdd(record.offset, position);
        delivery.deliver(piece);
    }
    if (position != 0) {
        payload = payload.mid(position);
    }
    record.size = payload.size();
    record.data.swap(payload);
    record.offset = wrapAdd(record.offset, position);
    delivery.deliver(record);
}

void deliverBits(RW_VAR& record, const ControlInformationM& info, const QByteArray& in, int count, Delivery& delivery) {
    if (bitWidth(dataType(info.dataType).group) == 0) {
        return;
    }
    record.data = payloadWithBits(info, in, count);
    record.size = record.data.size();
    delivery.deliver(record);
}

RW_VAR writeRecord(const QString& tag, const QString& argument, const ControlInformationM& info) {
    const ComInfo& settings = *PLC_driver.comInfo;
    RW_VAR record = RW_VAR();
    record.writeFlag = 1;
    record.aux3 = settings.aux3;
    record.aux4 = settings.aux4;
    record.labelName = tag;
    record.labelArg = argument;
    record.dataType = info.dataType;
    record.offset = info.address;
    record.comWord = settings.comWord;
    record.area = info.area;
    return record;
}

// Each bit-addressed boolean is a request of its own: its record addresses one bit.
int pieceLimit(const ControlInformationM& info) {
    return info.dataType == kBitAddressedType ? 1 : maxRequestBytes();
}

}  // namespace

quint32 SetRegisterData(QString* label, qint32, QString* labelArg, qint32, QByteArray* in, qint32 count, qint32 hostId,
                        qint32 hostSubId) noexcept {
    ControlInformationM info;
    if (resolveTag(*label, labelArg, info) != kResolved) {
        return 0;
    }
    in->detach();  // the host may share the array with another thread

    RW_VAR record = writeRecord(*label, labelArg == nullptr ? QString() : *labelArg, info);
    record.hostId = hostId;
    record.hostSubId = hostSubId;
    Delivery delivery;
    if (info.isBit == 1) {
        deliverBits(record, info, *in, count, delivery);
    } else {
        deliverPieces(record, payloadOf(info, *in, count), pieceLimit(info), delivery);
    }
    return static_cast<quint32>(delivery.pendingWrites());
}
