// Values both ways: one variable of any type and shape, an image with any bytes around it, read and written with any
// count. The output is compared with a second, plain conversion made from the table of types.
#include "protocol/bytes.h"
#include "tests/fuzz/fuzz_input.h"
#include "tests/fuzz/tag_checks.h"

using namespace ac500;
using namespace ac500::fuzz;

namespace {

constexpr int kArrayFlag = 0x100;
constexpr int kBitsFlag = 0x400;
constexpr int kMostCount = 1000;

struct Subject {
    int type = 0;
    int area = 0;
    qint32 address = 0;  // of the element read; bits for type 13
    int rowExtent = 0;   // of an array, else 0
    int bit = -1;
    QString tag;
};

int widthOf(int type) {
    return documentedOutputBytes(type, false, 1) == 4 ? 4 : documentedOutputBytes(type, false, 1) == 8 ? 8 : 2;
}

bool isIn(int type, std::initializer_list<int> types) {
    return std::find(types.begin(), types.end(), type) != types.end();
}

bool isSingleByte(int type) {
    return isIn(type, {1, 2, 14, 15});
}

Label_Type_Info recordNamed(const char* name, int type) {
    Label_Type_Info record;
    record.name = name;
    record.type = static_cast<quint16>(type);
    record.offset = 0;
    record.dimensions = 0;
    record.memberCount = 0;
    record.extra1 = 0;
    record.extra2 = 0;
    return record;
}

// A scope Main with the one variable v, which the driver resolves to `subject`.
void load(const Subject& subject, int index) {
    Label_Type_Info variable = recordNamed("v", subject.type);
    variable.areaList << subject.area;
    const int step = subject.type == 10 || subject.type == 11           ? 81
                     : isSingleByte(subject.type) || subject.type == 13 ? 1
                                                                        : widthOf(subject.type);
    variable.offset = wrapSub(subject.address, subject.rowExtent > 0 ? index * step : 0);
    if (subject.rowExtent > 0) {
        variable.type |= kArrayFlag;
        variable.dimensions = 1;
        variable.arrayBounds << 10 << 0 << subject.rowExtent;
    }
    if (subject.bit >= 0) {
        variable.type |= kBitsFlag;
    }
    Label_Type_Info contents = recordNamed("contents", 0x200);
    contents.members << variable;
    contents.memberCount = 1;
    Label_Type_Info scope = recordNamed("Main", 12);
    scope.elementType << contents;
    QList<Label_Type_Info> scopes{scope};
    PassVarName_2(&scopes);
}

// A copy of the image, to be read without being changed.
class Memory {
public:
    explicit Memory(const Subject& subject) : bytes_(PLC_driver.localValues), subject_(subject) {}

    bool has(quint64 key) const { return bytes_.contains(key); }
    quint8 at(quint64 key) const { return static_cast<quint8>(bytes_.value(key, '\0')); }
    quint64 key(qint64 bytesBeyond) const { return areaPart() + start() + static_cast<quint64>(bytesBeyond); }

    // Bytes of an element in the order of the host; zeros when its first byte was never received.
    QByteArray element(int index, int width) const {
        QByteArray bytes(width, '\0');
        const quint64 first = key(static_cast<qint64>(index) * width);
        for (int i = 0; i < width && has(first); ++i) {
            bytes[width - 1 - i] = static_cast<char>(at(first + static_cast<quint64>(i)));
        }
        return bytes;
    }

    bool wordBit(int index) const {
        const quint64 bit = start() + static_cast<quint64>(index);
        const quint64 word = areaPart() + bit / 16 * 2;
        const int value = has(word) ? at(word) << 8 | at(word + 1) : 0;
        return (value >> bit % 16 & 1) != 0;
    }

private:
    quint64 areaPart() const { return static_cast<quint64>(static_cast<quint32>(subject_.area)) << 32; }
    quint64 start() const { return static_cast<quint32>(subject_.address); }

    QHash<quint64, char> bytes_;
    const Subject& subject_;
};

QByteArray expectedBits(const Subject& subject, const Memory& memory, int count) {
    QByteArray out(qMax(count, 0), '\0');
    const int width = isSingleByte(subject.type) ? 1 : widthOf(subject.type);
    for (int i = 0; i < out.size() && subject.bit + i < width * 8; ++i) {
        const int bit = subject.bit + i;
        out[i] = static_cast<char>(memory.at(memory.key(width - 1 - bit / 8)) >> bit % 8 & 1);
    }
    return out;
}

QByteArray expectedOutput(const Subject& subject, const Memory& memory, int count) {
    if (subject.bit >= 0) {
        return expectedBits(subject, memory, count);
    }
    QByteArray out(documentedOutputBytes(subject.type, false, count), '\0');
    const bool isText = subject.type == 10 || subject.type == 11;
    const bool isWide = !isText && !isSingleByte(subject.type) && subject.type != 13;
    const int width = isWide ? widthOf(subject.type) : 1;
    const int wanted = isIn(subject.type, {1, 13}) || isSingleByte(subject.type) ? qMax(count, 0) : out.size() / width;
    const int elements = isText ? out.size() : qMin(wanted, subject.rowExtent > 0 ? subject.rowExtent : 1);
    for (int i = 0; i < elements; ++i) {
        if (subject.type == 1) {
            out[i] = memory.at(memory.key(i)) != 0 ? 1 : 0;
        } else if (subject.type == 13) {
            out[i] = memory.wordBit(i) ? 1 : 0;
        } else {
            out.replace(i * width, width,
                        isWide ? memory.element(i, width) : QByteArray(1, static_cast<char>(memory.at(memory.key(i)))));
        }
    }
    return out;
}

// Every byte in the image lies in the area, around the variable.
void checkImageKeys(const Subject& subject, const QHash<quint64, char>& before) {
    const Memory memory(subject);
    const quint64 most = 4 * kMostCount + 8;
    for (auto byte = PLC_driver.localValues.constBegin(); byte != PLC_driver.localValues.constEnd(); ++byte) {
        const quint64 start = subject.type == 13 ? memory.key(0) - static_cast<quint32>(subject.address) +
                                                       static_cast<quint32>(subject.address) / 16 * 2
                                                 : memory.key(0);
        FUZZ_CHECK(before.contains(byte.key()) || byte.key() - start < most);
    }
}

// What was written to the image alone reads back: as many elements as a write carries.
void checkRoundTrip(FuzzedDriver& driver, const Subject& subject, const std::string& in, int count) {
    driver.settings.accessMode = 1;
    driver.writeValue(subject.tag, QString(), in, count, 5);
    FUZZ_CHECK(PLC_driver.writeList.isEmpty());
    // Single bytes are packed differently in both directions; from 2^31 on, bytes are stored elsewhere than read.
    const qint64 end = static_cast<qint64>(subject.address) + 8 * kMostCount;
    if (subject.bit >= 0 || isSingleByte(subject.type) || subject.address < 0 || end > 0x7FFFFFFF || count <= 0) {
        return;
    }
    const QByteArray out = checkReading(subject.tag, QString(), count);
    const bool isBit = subject.type == 13;
    const int unit = isBit ? 1 : subject.type == 10 || subject.type == 11 ? 2 : widthOf(subject.type);
    const int limited = subject.rowExtent > 0          ? qMin(count, subject.rowExtent)
                        : isIn(subject.type, {10, 11}) ? count
                                                       : 1;
    const int carried = isBit || unit == 2 ? limited * unit : (limited * 2 + unit - 1) / unit * unit;
    const int whole = qMin(qMin(carried, out.size()), static_cast<int>(in.size()) / unit * unit);
    for (int i = 0; i < whole; ++i) {
        const char given = in[static_cast<std::size_t>(i)];
        FUZZ_CHECK(out.at(i) == (isBit ? static_cast<char>(given != 0) : given));
    }
}

// The queued pieces are the bytes that the image alone would have got, in runs of at most one request.
void checkQueuedWrite(FuzzedDriver& driver, const Subject& subject, const std::string& in, int count) {
    driver.settings.accessMode = 2;
    const QHash<quint64, char> before = PLC_driver.localValues;
    driver.writeValue(subject.tag, QString(), in, count, 5);
    const int maxBytes = subject.type == 13 ? 1 : 2 * driver.settings.maxRequestWords;
    for (const RW_VAR& piece : PLC_driver.writeList) {
        FUZZ_CHECK(piece.size > 0 && (subject.bit >= 0 || piece.size <= maxBytes));
        FUZZ_CHECK(piece.size == piece.data.size() && piece.dataType == subject.type && piece.area == subject.area);
    }
    FUZZ_CHECK(PLC_driver.writeList.isEmpty() || PLC_driver.writeList.first().offset == subject.address);
    FUZZ_CHECK(subject.bit >= 0 || PLC_driver.localValues == before);
}

bool isServed(int type) {
    return type >= 1 && type <= 21 && !isIn(type, {12, 19, 20});
}

bool namesBits(int type) {
    return isServed(type) && !isIn(type, {1, 7, 9, 10, 11, 13});
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzInput input(data, size);
    Subject subject;
    subject.type = 1 + input.below(21);
    const int shape = input.u8();
    const int index = input.below(16);
    subject.rowExtent = (shape & 1) != 0 ? input.between(1, 2000) : 0;
    subject.bit = (shape & 2) != 0 && namesBits(subject.type) ? input.below(80) : -1;
    subject.area = (shape & 4) != 0 ? input.i32() : 1;
    subject.address = (shape & 8) != 0 ? input.i32() : input.between(0, 999);
    const int count = input.between(-3, kMostCount);

    FuzzedDriver driver;
    driver.settings.maxRequestWords = input.between(1, 200);
    subject.tag = subject.rowExtent > 0 ? QString("Main.v[%1]").arg(index) : QString("Main.v");
    if (subject.bit >= 0) {
        subject.tag += QString(".b[%1]").arg(subject.bit);
    }
    load(subject, index);

    // The image: runs of a gap and some bytes, from a little before the variable on.
    const int imageBytes = input.u8();
    const Memory keys(subject);
    for (int i = 0, at = -8; i < imageBytes; ++i, ++at) {
        at += input.below(8) == 7 ? input.below(32) : 0;
        PLC_driver.localValues.insert(keys.key(at), static_cast<char>(input.u8()));
    }
    const std::string in = input.rest();
    const QHash<quint64, char> before = PLC_driver.localValues;

    if (isServed(subject.type)) {
        const QByteArray expected = expectedOutput(subject, Memory(subject), count);
        FUZZ_CHECK(checkReading(subject.tag, QString(), count) == expected);
        checkImageKeys(subject, before);
        checkRoundTrip(driver, subject, in, count);
        checkQueuedWrite(driver, subject, in, count);
    } else {
        checkTag(driver, subject.tag, QString(), count, in);
    }
    return 0;
}
