// A host that makes any calls in any order, by names of the plant: registers, reads and writes values, runs the loop,
// and uses everything else that the library shows. Steps are those of steps.h.
#include <algorithm>

#include "protocol/bytes.h"
#include "tests/fuzz/fuzz_input.h"
#include "tests/fuzz/plant.h"
#include "tests/fuzz/steps.h"
#include "tests/fuzz/tag_checks.h"
#include "tools/symbol_file/label_records.h"

using namespace ac500;
using namespace ac500::fuzz;

namespace {

constexpr int kMostQueued = 300;
constexpr int kMostTags = 12;
constexpr int kMostCount = 400;

void readCyclically(FuzzInput& input, FuzzedDriver& driver) {
    QList<HostTag> tags;
    for (int left = input.below(kMostTags + 1); left > 0; --left) {
        HostTag tag{0, 0, QString(), QString(), input.between(-3, kMostCount)};
        tag.tagName = input.text();
        tag.argument = input.text();
        tags << tag;
    }
    driver.readCyclically(tags);
}

void readOnce(FuzzInput& input, FuzzedDriver& driver) {
    const int count = input.between(-3, kMostCount);
    const int hostId = input.below(16) - 1;
    const QString tag = input.text();
    const QString argument = input.text();
    if (PLC_driver.onceReadList.size() < kMostQueued) {
        driver.readOnce(tag, argument, count, hostId);
    }
}

void writeValue(FuzzInput& input, FuzzedDriver& driver) {
    const int count = input.between(-3, kMostCount);
    const int hostId = input.below(16) - 1;
    const std::string in = input.bytes(input.u8());
    const QString tag = input.text();
    const QString argument = input.text();
    if (PLC_driver.writeList.size() < kMostQueued) {
        driver.writeValue(tag, argument, in, count, hostId);
    }
}

void readValue(FuzzInput& input) {
    const int count = input.between(-3, kMostCount);
    const QString tag = input.text();
    const QString argument = input.text();
    checkReading(tag, argument, count);
}

void switchStation(FuzzInput& input) {
    const int station = input.i32();
    const int enable = input.below(3);
    const int before = Ethernetcontains(station);
    (station % 2 == 0 ? EnableEthernet : EnCommStation)(station, enable);
    const int expected = enable == 2 ? before : 1 - enable;
    FUZZ_CHECK(Ethernetcontains(station) == (station < 0 ? 0 : expected));
}

void checkStatusCode(int number) {
    const int code = GetDriverReturnValue(number);
    FUZZ_CHECK(code == 1 || code == 100 || code == 200 || (code >= 11 && code <= 182));
    FUZZ_CHECK((number >= 0 && number <= 7) == (code != 200));
    const qint32 beyond = wrapSub(SwitchErrorReturn(number), number);
    FUZZ_CHECK(beyond >= 1 && beyond <= 12);
}

RW_VAR runFrom(FuzzInput& input) {
    RW_VAR var = RW_VAR();
    var.offset = input.i32();
    return var;
}

void sort(FuzzInput& input) {
    QList<RW_VAR> list;
    for (int left = input.below(40); left > 0; --left) {
        list << runFrom(input);
        list.last().size = input.i32();
        list.last().hostId = list.size();
    }
    const int count = list.size();
    Bubble_Sort(&list);
    FUZZ_CHECK(list.size() == count);
    for (int i = 1; i < count; ++i) {
        const bool kept = list.at(i - 1).offset != list.at(i).offset || list.at(i - 1).hostId < list.at(i).hostId;
        FUZZ_CHECK(list.at(i - 1).offset <= list.at(i).offset && kept);
    }
}

bool isCovered(const RW_VAR& var, const QList<RW_VAR>& requests) {
    qint64 byte = var.offset;
    const qint64 end = byte + var.size;
    for (const RW_VAR& request : requests) {
        const qint64 from = request.offset;
        if (from <= byte && byte < from + request.size) {
            byte = from + request.size;
        }
    }
    return byte >= end;
}

// Merging one area's variables: no request is too long, and every byte is asked for. The read list is put back as it was.
void merge(FuzzInput& input) {
    const int limit = input.between(-2, 500);
    QList<RW_VAR> list;
    for (int left = input.below(24); left > 0; --left) {
        list << runFrom(input);
        list.last().offset &= 0x3FFFFFFF;  // ends stay below 2^31, where the sum of offset and size would wrap
        list.last().size = input.between(-3, kMostBytes);
    }
    Bubble_Sort(&list);
    const QList<RW_VAR> readList = PLC_driver.readList;
    PLC_driver.readList.clear();
    const QList<RW_VAR> wanted = list;  // who opens a run is left behind its pieces
    BitVarReCreat(&list, limit);
    for (const RW_VAR& request : PLC_driver.readList) {
        FUZZ_CHECK(limit == 1 || (request.size > 0 && request.size <= limit));
    }
    for (const RW_VAR& var : wanted) {
        FUZZ_CHECK(limit <= 0 || isCovered(var, PLC_driver.readList));
    }
    FUZZ_CHECK(limit > 0 || PLC_driver.readList.isEmpty());
    PLC_driver.readList = readList;
}

void cut(FuzzInput& input) {
    const int total = input.between(-3, 3000);
    const int limit = input.between(-2, 3000);
    RW_VAR var = runFrom(input);
    var.size = total;
    QList<RW_VAR> pieces;
    WhetherGroup(total, limit, &var, &pieces);
    qint64 sum = 0;
    for (const RW_VAR& piece : pieces) {
        FUZZ_CHECK(piece.size <= limit);
        sum += piece.size;
    }
    FUZZ_CHECK(sum == total || (limit <= 0 && total > limit && pieces.isEmpty()));
}

void checksums(FuzzInput& input) {
    std::string bytes = input.bytes(input.u8());
    const auto count = static_cast<unsigned short>(bytes.size());
    std::vector<unsigned char> exact(bytes.begin(), bytes.end());
    FUZZ_CHECK(CalSUM(exact.data(), count) <= 0xFFFF);
    FUZZ_CHECK(CalCRC(exact.data(), count) <= 0xFFFF);
    const unsigned int lrc = CalLRC(exact.data(), count);
    FUZZ_CHECK(lrc >= 1 && lrc <= 256);
    FUZZ_CHECK(exact.empty() || CalXOR(exact.data(), count) <= 0xFF);
}

void digits(int number) {
    DigitalToASCII(number);
    ASCIIToDigital(number);
    const int digit = number & 15;
    FUZZ_CHECK(ASCIIToDigital(DigitalToASCII(digit)) == digit);
}

void refresh(FuzzedDriver& driver) {
    QList<Label_Type_Info> records = labelRecords(plant());
    PassVarName_2(&records);
    PassVarName_2(nullptr);
    SetComInfo(&driver.settings);
    FUZZ_CHECK(FlashLocalRegister(nullptr, &driver, nullptr) == &LW && LW == &driver);
    FUZZ_CHECK(PLCAddressChangeIntef() == -1 && QueryFinishFlag() == 1);
    FUZZ_CHECK(Remote_ReadVar(nullptr) == nullptr && Remote_WriteVar(&PLC_driver.resultVar) == &PLC_driver.resultVar);
}

void addPlanned(FuzzInput& input, FuzzedDriver& driver) {
    const int list = input.below(3);
    const int offset = input.between(0, 2047);
    const int bytes = input.between(-3, kMostBytes);
    if (list == 0 && PLC_driver.readList.size() < kMostQueued) {
        driver.addCyclicRead(1, offset, bytes);
    } else if (list == 1 && PLC_driver.writeList.size() < kMostQueued) {
        driver.addWrite(1, offset, 3, "\x11\x22\x33", bytes, 4);
    } else if (list == 2 && PLC_driver.onceReadList.size() < kMostQueued) {
        driver.addOnceRead(1, offset, bytes, 4);
    }
}

void indexList(FuzzInput& input) {
    const int dimensions = input.i32();
    QList<int> bounds;
    for (int left = input.below(12); left > 0; --left) {
        bounds << input.i32();
    }
    unsigned int index = 4711;
    unsigned int end = 4712;
    const int code = get_label_address_array_memory_index(input.text(), dimensions, bounds, index, &end);
    FUZZ_CHECK(code == 0 || code == 1 || code == 3);
    FUZZ_CHECK(code == 0 || (index == 4711 && end == 4712));
}

void call(FuzzInput& input, FuzzedDriver& driver) {
    switch (input.below(kHostCalls)) {
        case kCallReadCyclically:
            return readCyclically(input, driver);
        case kCallReadOnce:
            return readOnce(input, driver);
        case kCallWriteValue:
            return writeValue(input, driver);
        case kCallReadValue:
            return readValue(input);
        case kCallNext:
            driver.next();
            return;
        case kCallDeliver:
            driver.deliver(input.bytes(input.u16()));
            return;
        case kCallDeliverNothing:
            driver.deliver(std::string());
            return;
        case kCallAnswerWell: {
            const char fill = static_cast<char>(input.u8());
            driver.answer(goodReplyTo(driver.next(), fill));
            return;
        }
        case kCallStation:
            return switchStation(input);
        case kCallStatusCode:
            return checkStatusCode(input.i32());
        case kCallSort:
            return sort(input);
        case kCallMerge:
            return merge(input);
        case kCallCut:
            return cut(input);
        case kCallChecksums:
            return checksums(input);
        case kCallDigits:
            return digits(input.i32());
        case kCallRefresh:
            return refresh(driver);
        case kCallAddPlanned:
            return addPlanned(input, driver);
        case kCallIndexList:
            return indexList(input);
        case kCallAccessMode:
            driver.settings.accessMode = input.below(3);
            return;
    }
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzInput input(data, size);
    FuzzedDriver driver;
    PLC_driver.labelTable = plantLabels();
    driver.settings.retryLimit = input.below(4);
    driver.settings.maxRequestWords = input.between(-1, 400);
    driver.settings.accessMode = input.below(3);
    for (int calls = 0; !input.empty() && calls < 200; ++calls) {
        call(input, driver);
    }
    FUZZ_CHECK(PLC_driver.labelTable.size() == plantLabels().size());
    return 0;
}
