#include "tests/fuzz/tag_checks.h"

#include <cstring>

namespace ac500::fuzz {

namespace {

bool isSame(const ControlInformationM& a, const ControlInformationM& b) {
    return std::memcmp(&a, &b, sizeof a) == 0;
}

// What a good resolution may say.
void checkInformation(const ControlInformationM& info) {
    FUZZ_CHECK(info.dataType >= 0 && info.dataType <= 21);
    FUZZ_CHECK(info.dataType != 12 && info.dataType != 19 && info.dataType != 20);
    FUZZ_CHECK(info.isBit == 0 || info.isBit == 1);
    FUZZ_CHECK(info.isArray == 0 || info.isArray == 1);
    FUZZ_CHECK(info.isBit == 1 || info.bitIndex == 0);
    FUZZ_CHECK(info.isArray == 1 || (info.arrayIndex == 0 && info.arrayCount == 0));
    FUZZ_CHECK(info.reserved == 0 && info.arrayReserved == 0);
}

// As the values resolve it: made concrete first when it holds a placeholder.
int resolveForValues(QString tag, const QString& argument, ControlInformationM& info) {
    info = ControlInformationM();
    if (tag.contains("%%")) {
        const int code = get_label_address_info(tag, argument.toInt());
        if (code != 0) {
            return code;
        }
    }
    const QString& concrete = tag;
    return get_label_address_info(concrete, info);
}

// The runs that a write appended: of the variable's place as resolved without the driver's memory of names, one behind
// the other.
void checkTransport(const QList<RW_VAR>& list, int from, const ControlInformationM& info) {
    FUZZ_CHECK(list.size() <= from || list.at(from).offset == info.address);
    for (int i = from; i < list.size(); ++i) {
        FUZZ_CHECK(list.at(i).area == info.area);
        FUZZ_CHECK(list.at(i).size == list.at(i).data.size());
        FUZZ_CHECK(i == from || list.at(i).offset == static_cast<qint32>(static_cast<quint32>(list.at(i - 1).offset) +
                                                                         static_cast<quint32>(list.at(i - 1).size)));
    }
}

void checkWriting(FuzzedDriver& driver, const QString& tag, const QString& argument, int count, const std::string& in) {
    ControlInformationM info;
    const int code = resolveForValues(tag, argument, info);
    const int before = PLC_driver.writeList.size();
    const int result = driver.writeValue(tag, argument, in, count, 5);
    FUZZ_CHECK(code == 0 || result == 0);
    checkTransport(PLC_driver.writeList, before, info);
    FUZZ_CHECK(driver.settings.accessMode == 2 || PLC_driver.writeList.size() == before);
}

}  // namespace

int checkResolution(const QString& tag, ControlInformationM& info) {
    info = ControlInformationM();
    const int code = get_label_address_info(tag, info);
    FUZZ_CHECK(isResolutionCode(code));
    ControlInformationM again = ControlInformationM();
    FUZZ_CHECK(get_label_address_info(tag, again) == code);
    FUZZ_CHECK(isSame(info, again));
    if (code == 0) {
        checkInformation(info);
    }
    return code;
}

int checkRewriting(QString& tag, int argument) {
    const QString given = tag;
    QString again = tag;
    const int code = get_label_address_info(tag, argument);
    FUZZ_CHECK(isResolutionCode(code));
    FUZZ_CHECK(code == 0 || tag == given);
    FUZZ_CHECK(get_label_address_info(again, argument) == code);
    FUZZ_CHECK(again == tag);
    FUZZ_CHECK(given.contains("%%") || tag == given);
    return code;
}

QByteArray checkReading(const QString& tag, const QString& argument, int count) {
    ControlInformationM info;
    const int code = resolveForValues(tag, argument, info);
    QString label = tag;
    QString labelArg = argument;
    QByteArray out = "stale";
    const quint32 result = GetRegisterData(&label, 0, &labelArg, 0, &out, count);
    FUZZ_CHECK(result == (code == 0 ? 1u : 0u));
    FUZZ_CHECK(label == tag || tag.contains("%%"));
    FUZZ_CHECK(labelArg == argument);
    FUZZ_CHECK(out.size() == documentedOutputBytes(code == 0 ? info.dataType : 0, info.isBit == 1 && code == 0, count));
    FUZZ_CHECK(result == 1 || out.count('\0') == out.size());

    QByteArray again;
    label = tag;
    GetRegisterData(&label, 0, &labelArg, 0, &again, count);
    FUZZ_CHECK(again == out);
    return out;
}

void checkTag(FuzzedDriver& driver, const QString& tag, const QString& argument, int count, const std::string& in) {
    ControlInformationM info;
    checkResolution(tag, info);
    QString concrete = tag;
    if (checkRewriting(concrete, argument.toInt()) == 0) {
        checkResolution(concrete, info);
    }
    checkReading(tag, argument, count);
    checkWriting(driver, tag, argument, count, in);
    driver.readOnce(tag, argument, count, 3);
    driver.readCyclically({HostTag{0, 0, argument, tag, count}});
}

}  // namespace ac500::fuzz
