#include "tests/reference/comparison.h"

#include <cstring>
#include <new>

#include "tests/reference/run.h"
#include "tests/support/callback_diary.h"

namespace ac500::test {

namespace {

[[noreturn]] void differ(const std::string& what, const std::string& driver, const std::string& expected) {
    throw Difference(what + ": the driver has " + driver + ", expected is " + expected);
}

QList<int> numbersToDriver(const std::vector<std::int32_t>& numbers) {
    QList<int> list;
    for (const std::int32_t number : numbers) {
        list.append(number);
    }
    return list;
}

bool equal(const QString& driver, const std::string& expected) {
    return driver == QLatin1String(expected.data(), static_cast<int>(expected.size()));
}

bool equal(const QByteArray& driver, const std::string& expected) {
    return driver.size() == static_cast<int>(expected.size()) &&
           std::memcmp(driver.constData(), expected.data(), expected.size()) == 0;
}

void compareFrames(const QList<Protocol>& driver, const std::vector<reference::Frame>& expected) {
    compareNumbers("frameList count", driver.size(), static_cast<std::int64_t>(expected.size()));
    for (int i = 0; i < driver.size(); ++i) {
        const Protocol& one = driver.at(i);
        const reference::Frame& other = expected[static_cast<std::size_t>(i)];
        const std::string what = "frameList[" + std::to_string(i) + "].";
        compareBytes(what + "frame", one.frame, other.bytes);
        compareNumbers(what + "frameLength", one.frameLength, other.frameLength);
        compareNumbers(what + "replyLength", one.replyLength, other.replyLength);
        compareNumbers(what + "replyDataOffset", one.replyDataOffset, other.replyDataOffset);
        compareNumbers(what + "minReplyLength", one.minReplyLength, other.minReplyLength);
        compareNumbers(what + "reserved80", one.reserved80, 0);
        compareNumbers(what + "reserved84", one.reserved84, 0);
        compareNumbers(what + "reserved88", one.reserved88, 0);
        compareVariables(what + "var", one.var, other.variable);
    }
}

void compareSettings(const reference::Settings& expected) {
    qint32 words[19];
    static_assert(sizeof words == sizeof(ComInfo), "the settings record is 19 words");
    std::memcpy(words, PLC_driver.comInfo, sizeof words);
    for (int i = 0; i < 19; ++i) {
        if (words[i] != expected.words[static_cast<std::size_t>(i)]) {
            compareNumbers("ComInfo word at offset " + std::to_string(4 * i), words[i],
                           expected.words[static_cast<std::size_t>(i)]);
        }
    }
}

void compareStations(const reference::Machine& expected) {
    std::map<std::int32_t, std::int32_t> driver;
    for (auto entry = PLC_driver.disabledStations.constBegin(); entry != PLC_driver.disabledStations.constEnd();
         ++entry) {
        driver[entry.key()] = entry.value();
    }
    if (driver != expected.offStations) {
        differ("disabledStations", std::to_string(driver.size()) + " entries",
               std::to_string(expected.offStations.size()) + " or others");
    }
}

void compareCallbacks(const std::vector<std::string>& expected) {
    if (callbackDiary == expected) {
        return;
    }
    std::string driver;
    std::string wanted;
    for (const std::string& call : callbackDiary) {
        driver += call + "; ";
    }
    for (const std::string& call : expected) {
        wanted += call + "; ";
    }
    differ("callbacks", "[" + driver + "]", "[" + wanted + "]");
}

}  // namespace

QString toDriver(const std::string& text) {
    return QString::fromLatin1(text.data(), static_cast<int>(text.size()));
}

QByteArray bytesToDriver(const std::string& bytes) {
    return QByteArray(bytes.data(), static_cast<int>(bytes.size()));
}

RW_VAR toDriver(const reference::Variable& variable) {
    RW_VAR var;
    var.hostId = variable.hostId;
    var.hostSubId = variable.hostSubId;
    var.writeFlag = variable.writeFlag;
    var.aux3 = variable.aux3;
    var.aux4 = variable.aux4;
    var.status = variable.status;
    var.labelName = toDriver(variable.labelName);
    var.labelArg = toDriver(variable.labelArg);
    var.dataType = variable.dataType;
    var.offset = variable.offset;
    var.comWord = variable.comWord;
    var.size = variable.size;
    var.resolveResult = variable.resolveResult;
    var.area = variable.area;
    var.data = bytesToDriver(variable.data);
    return var;
}

QList<Label_Type_Info> toDriver(const std::vector<reference::Symbol>& symbols) {
    QList<Label_Type_Info> list;
    for (const reference::Symbol& symbol : symbols) {
        list.append(toDriver(symbol));
    }
    return list;
}

Label_Type_Info toDriver(const reference::Symbol& symbol) {
    Label_Type_Info info;
    info.name = toDriver(symbol.name);
    info.type = symbol.type;
    info.offset = symbol.offset;
    info.dimensions = symbol.dimensions;
    info.memberCount = symbol.memberCount;
    info.arrayBounds = numbersToDriver(symbol.arrayBounds);
    info.members = toDriver(symbol.members);
    info.elementType = toDriver(symbol.elementType);
    info.extra1 = 0;
    info.extra2 = 0;
    info.areaList = numbersToDriver(symbol.areaList);
    return info;
}

QList<HostTag> toDriver(const std::vector<reference::Tag>& tags) {
    QList<HostTag> list;
    for (const reference::Tag& tag : tags) {
        HostTag hostTag;
        hostTag.hostWord0 = 111;
        hostTag.hostWord1 = 222;
        hostTag.argument = toDriver(tag.argument);
        hostTag.tagName = toDriver(tag.name);
        hostTag.count = tag.count;
        list.append(hostTag);
    }
    return list;
}

std::string hexText(const std::string& bytes) {
    const char* const digits = "0123456789ABCDEF";
    std::string text;
    for (const char byte : bytes) {
        text += digits[static_cast<unsigned char>(byte) / 16];
        text += digits[static_cast<unsigned char>(byte) % 16];
        text += ' ';
    }
    return bytes.empty() ? "(empty)" : text;
}

std::string toText(const reference::Variable& v) {
    return "{id " + std::to_string(v.hostId) + "/" + std::to_string(v.hostSubId) + ", write " +
           std::to_string(v.writeFlag) + ", aux " + std::to_string(v.aux3) + "/" + std::to_string(v.aux4) +
           ", name \"" + v.labelName + "\" arg \"" + v.labelArg + "\", type " + std::to_string(v.dataType) + ", area " +
           std::to_string(v.area) + ", offset " + std::to_string(v.offset) + ", size " + std::to_string(v.size) +
           ", data " + hexText(v.data) + "}";
}

std::string toText(const reference::Symbol& symbol) {
    std::string text = symbol.name + "{type " + std::to_string(symbol.type) + " offset " +
                       std::to_string(symbol.offset) + " dims " + std::to_string(symbol.dimensions) + " bounds";
    for (const std::int32_t bound : symbol.arrayBounds) {
        text += " " + std::to_string(bound);
    }
    text += symbol.areaList.empty() ? " no area" : " area " + std::to_string(symbol.areaList[0]);
    text += " memberCount " + std::to_string(symbol.memberCount);
    for (const reference::Symbol& member : symbol.members) {
        text += " member " + toText(member);
    }
    for (const reference::Symbol& element : symbol.elementType) {
        text += " element " + toText(element);
    }
    return text + "}";
}

void compareNumbers(const std::string& what, std::int64_t driver, std::int64_t expected) {
    if (driver != expected) {
        differ(what, std::to_string(driver), std::to_string(expected));
    }
}

void compareTexts(const std::string& what, const QString& driver, const std::string& expected) {
    if (!equal(driver, expected)) {
        differ(what, '"' + driver.toStdString() + '"', '"' + expected + '"');
    }
}

void compareBytes(const std::string& what, const QByteArray& driver, const std::string& expected) {
    if (!equal(driver, expected)) {
        differ(what, hexText(driver.toStdString()), hexText(expected));
    }
}

namespace {

bool equal(const RW_VAR& driver, const reference::Variable& expected) {
    return driver.hostId == expected.hostId && driver.hostSubId == expected.hostSubId &&
           driver.writeFlag == expected.writeFlag && driver.aux3 == expected.aux3 && driver.aux4 == expected.aux4 &&
           driver.status == expected.status && equal(driver.labelName, expected.labelName) &&
           equal(driver.labelArg, expected.labelArg) && driver.dataType == expected.dataType &&
           driver.offset == expected.offset && driver.comWord == expected.comWord && driver.size == expected.size &&
           driver.resolveResult == expected.resolveResult && driver.area == expected.area &&
           equal(driver.data, expected.data);
}

}  // namespace

void compareVariables(const std::string& what, const RW_VAR& driver, const reference::Variable& expected) {
    compareNumbers(what + ".hostId", driver.hostId, expected.hostId);
    compareNumbers(what + ".hostSubId", driver.hostSubId, expected.hostSubId);
    compareNumbers(what + ".writeFlag", driver.writeFlag, expected.writeFlag);
    compareNumbers(what + ".aux3", driver.aux3, expected.aux3);
    compareNumbers(what + ".aux4", driver.aux4, expected.aux4);
    compareNumbers(what + ".status", driver.status, expected.status);
    compareTexts(what + ".labelName", driver.labelName, expected.labelName);
    compareTexts(what + ".labelArg", driver.labelArg, expected.labelArg);
    compareNumbers(what + ".dataType", driver.dataType, expected.dataType);
    compareNumbers(what + ".offset", driver.offset, expected.offset);
    compareNumbers(what + ".comWord", driver.comWord, expected.comWord);
    compareNumbers(what + ".size", driver.size, expected.size);
    compareNumbers(what + ".resolveResult", driver.resolveResult, expected.resolveResult);
    compareNumbers(what + ".area", driver.area, expected.area);
    compareBytes(what + ".data", driver.data, expected.data);
}

void compareLists(const char* what, const QList<RW_VAR>& driver, const std::vector<reference::Variable>& expected) {
    if (driver.size() != static_cast<int>(expected.size())) {
        compareNumbers(std::string(what) + " count", driver.size(), static_cast<std::int64_t>(expected.size()));
    }
    for (int i = 0; i < driver.size(); ++i) {
        const reference::Variable& other = expected[static_cast<std::size_t>(i)];
        if (!equal(driver.at(i), other)) {
            compareVariables(std::string(what) + "[" + std::to_string(i) + "]", driver.at(i), other);
        }
    }
}

void comparePlaces(const ControlInformationM& driver, const reference::Place& expected) {
    compareNumbers("dataType", driver.dataType, expected.dataType);
    compareNumbers("address", driver.address, expected.address);
    compareNumbers("reserved", driver.reserved, expected.reserved);
    compareNumbers("isBit", driver.isBit, expected.isBit);
    compareNumbers("bitIndex", driver.bitIndex, expected.bitIndex);
    compareNumbers("isArray", driver.isArray, expected.isArray);
    compareNumbers("arrayReserved", driver.arrayReserved, expected.arrayReserved);
    compareNumbers("arrayIndex", driver.arrayIndex, expected.arrayIndex);
    compareNumbers("arrayCount", driver.arrayCount, expected.arrayCount);
    compareNumbers("area", driver.area, expected.area);
}

void compareImages(const reference::Image& expected) {
    for (const auto& byte : expected.bytes()) {
        const auto entry = PLC_driver.localValues.constFind(byte.first);
        const bool absent = entry == PLC_driver.localValues.constEnd();
        if (absent || static_cast<std::uint8_t>(entry.value()) != byte.second) {
            differ("byte image at key " + std::to_string(byte.first),
                   absent ? "nothing" : std::to_string(static_cast<std::uint8_t>(entry.value())),
                   std::to_string(byte.second));
        }
    }
    compareNumbers("bytes in the byte image", PLC_driver.localValues.size(),
                   static_cast<std::int64_t>(expected.bytes().size()));
}

void compareAll(const reference::Machine& expected) {
    compareLists("readList", PLC_driver.readList, expected.readList);
    compareLists("writeList", PLC_driver.writeList, expected.writeList);
    compareLists("onceReadList", PLC_driver.onceReadList, expected.onceReadList);
    compareNumbers("spareList count", PLC_driver.spareList.size(), 0);
    compareNumbers("extendList count", PLC_driver.extendList.size(), 0);
    compareFrames(PLC_driver.frameList, expected.frames);
    compareVariables("resultVar", PLC_driver.resultVar, expected.result);
    compareNumbers("batchKind", PLC_driver.batchKind, expected.batchKind);
    compareNumbers("writeTurns", PLC_driver.writeTurns, expected.writeTurns);
    compareNumbers("onceReadTurns", PLC_driver.onceReadTurns, expected.onceReadTurns);
    compareNumbers("cyclicBatches", PLC_driver.cyclicBatches, expected.cyclicBatches);
    compareNumbers("commFailed", PLC_driver.commFailed, expected.commFailed ? 1 : 0);
    compareNumbers("unusedFlag", PLC_driver.unusedFlag, 0);
    compareNumbers("connected", PLC_driver.connected, expected.connected ? 1 : 0);
    compareNumbers("batchCount", PLC_driver.batchCount, static_cast<std::int64_t>(expected.batch.size()));
    for (std::size_t i = 0; i < expected.batch.size(); ++i) {
        if (!equal(PLC_driver.batch[i], expected.batch[i])) {
            compareVariables("batch[" + std::to_string(i) + "]", PLC_driver.batch[i], expected.batch[i]);
        }
    }
    for (std::size_t i = 0; i < 4; ++i) {
        compareNumbers("handshakeBytes", PLC_driver.handshakeBytes[i], expected.session[i]);
    }
    compareStations(expected);
    compareSettings(*expected.settings);
    compareCallbacks(expected.callbacks);
    compareImages(expected.image);
}

void restartDriver() {
    PLC_driver.~Communication_Protocol();
    new (&PLC_driver) Communication_Protocol();
    callbackDiary.clear();
    RegistCallBackFuncIntf(recordVarDone, recordCommFail);
}

}  // namespace ac500::test
