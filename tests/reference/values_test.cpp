// Conversion of values in both directions and what it leaves in the byte image, for every type code.
#include <gtest/gtest.h>

#include "tests/reference/comparison.h"
#include "tests/reference/random_plant.h"
#include "tests/reference/run.h"

namespace ac500::test {

namespace {

using reference::Frame;
using reference::Machine;
using reference::Settings;
using reference::Symbol;
using reference::Variable;

class ValuesRun {
public:
    explicit ValuesRun(Figures& figures) : figures_(figures) {
        restartDriver();
        driverSettings_ = ComInfo();
        SetComInfo(&driverSettings_);
        machine_.useSettings(&settings_);
    }

    void run(const Step& step) {
        Choices choices(step);
        try {
            perform(choices);
        } catch (const Difference& difference) {
            throw Difference(log_ + difference.what());
        }
        figures_.countStep();
    }

private:
    void perform(Choices& choices) {
        switch (choices.below(10)) {
            default:
                read(choices);
                break;
            case 4:
            case 5:
            case 6:
            case 7:
                write(choices);
                break;
            case 8:
                mirror(choices);
                break;
            case 9:
                receive(choices);
                break;
        }
        compareAll(machine_);
    }

    static std::int32_t randomAddress(Choices& choices) {
        switch (choices.below(24)) {
            default:
                return choices.below(24);
            case 22:
                return choices.of<std::int32_t>({2147483640, -8, -2147483647 - 1, -2, 1000000});
            case 23:
                return choices.below(400);
        }
    }

    // Symbols for one variable, and the tag that names it or a part of it.
    std::string variable(Choices& choices) {
        Symbol symbol;
        symbol.name = "v";
        const int code = choices.oneIn(30) ? choices.of<int>({12, 19, 20, 22, 0}) : choices.between(1, 21);
        symbol.type = static_cast<std::uint16_t>(code);
        symbol.offset = code == 13 ? choices.below(200) : randomAddress(choices);
        symbol.areaList = {choices.below(2)};
        if (code == 12) {
            symbol.elementType = scopeOf("", {}).elementType;
        }
        std::string tag = "Main.v";
        if (choices.below(2) == 1) {
            symbol.type |= 0x100;
            symbol.dimensions = 1;
            symbol.arrayBounds = {10, 0, choices.oneIn(4) ? choices.below(60) : choices.below(12)};
            tag += "[" + std::to_string(choices.oneIn(3) ? choices.below(12) : 0) + "]";
        }
        if (choices.below(3) == 1) {
            symbol.type |= 0x400;
            tag += ".b[" + std::to_string(choices.oneIn(8) ? choices.below(80) : choices.below(16)) + "]";
        }
        log_ += toText(symbol) + " ";
        const std::vector<Symbol> list{scopeOf("Main", {symbol})};
        QList<Label_Type_Info> driverList = toDriver(list);
        if (choices.oneIn(3)) {
            PLC_driver.labelTable["Main"] = driverList.first();  // what was resolved before counts no more
            figures_.reached("symbols changed in the driver object");
        } else {
            PassVarName_2(&driverList);
        }
        machine_.loadSymbols(list);
        reference::Place place;
        if (machine_.symbols.resolve(tag, &place) == 0) {
            figures_.reached(stateOf(place));
        }
        return tag;
    }

    static const char* stateOf(const reference::Place& place) {
        if (place.isBit == 1) {
            const bool beyond = place.bitIndex >= 8 * reference::bytesWithBits(place.dataType);
            return beyond ? "bit beyond the variable" : "bit of a variable";
        }
        switch (place.dataType) {
            case 1:
                return "boolean byte";
            case 2:
            case 14:
            case 15:
                return "8-bit value";
            case 3:
            case 4:
            case 16:
                return "16-bit value";
            case 5:
            case 6:
            case 7:
            case 17:
                return "32-bit value";
            case 8:
            case 9:
            case 18:
            case 21:
                return "64-bit value";
            case 10:
            case 11:
                return "string";
            case 13:
                return "bit-addressed boolean";
            default:
                return "type that is not served";
        }
    }

    static std::int32_t randomCount(Choices& choices) {
        return choices.oneIn(10)  ? choices.between(-2, 0)
               : choices.oneIn(6) ? choices.below(80)
                                  : choices.between(1, 9);
    }

    void read(Choices& choices) {
        std::string tag = variable(choices);
        const std::int32_t count = randomCount(choices);
        log_ += "read " + tag + " count " + std::to_string(count) + "\n";
        QString label = toDriver(tag);
        QString argument;
        QByteArray out("old content");
        std::string expected;
        reference::Image before = machine_.image;
        try {
            const quint32 wanted = machine_.readValue(&tag, "", count, &expected);
            compareNumbers("result", GetRegisterData(&label, 0, &argument, 0, &out, count), wanted);
        } catch (const reference::LeftOpen&) {
            figures_.reached("reading left open");
            machine_.image = before;
            return;
        }
        compareBytes("value", out, expected);
        figures_.reached("value read");
    }

    void write(Choices& choices) {
        std::string tag = variable(choices);
        const std::int32_t count = randomCount(choices);
        const std::string in = noise(choices.number(), choices.oneIn(3) ? choices.below(20) : choices.below(170));
        PLC_driver.commFailed = choices.oneIn(4) ? 1 : 0;
        machine_.commFailed = PLC_driver.commFailed == 1;
        settings_.at(16) = driverSettings_.maxRequestWords = choices.of<std::int32_t>({100, 1, 2, 3, 8, 32});
        settings_.at(64) = driverSettings_.accessMode = choices.of<std::int32_t>({2, 2, 0, 1, 3});
        settings_.at(24) = driverSettings_.comWord = choices.below(3);
        settings_.at(56) = driverSettings_.aux3 = choices.below(3);
        settings_.at(60) = driverSettings_.aux4 = choices.below(3);
        log_ += "write " + tag + " count " + std::to_string(count) + " limit " + std::to_string(settings_.at(16)) +
                " mode " + std::to_string(settings_.at(64)) + " failed " + std::to_string(PLC_driver.commFailed) +
                " value " + hexText(in) + "\n";
        QString label = toDriver(tag);
        QString argument("9");
        QByteArray driverIn = bytesToDriver(in);
        const quint32 result = SetRegisterData(&label, 0, &argument, 0, &driverIn, count, 5, 6);
        compareNumbers("result", result, machine_.writeValue(&tag, "9", in, count, 5, 6));
        compareBytes("the host's value", driverIn, in);
        compareLists("writeList", PLC_driver.writeList, machine_.writeList);
        figures_.reached(machine_.writeList.empty()       ? "nothing to send written"
                         : machine_.writeList.size() == 1 ? "one write queued"
                                                          : "write cut into pieces");
        PLC_driver.writeList.clear();
        machine_.writeList.clear();
    }

    Variable randomRun(Choices& choices) {
        Variable v;
        v.dataType = choices.oneIn(3) ? 13 : choices.between(1, 21);
        v.area = choices.oneIn(12) ? choices.of<std::int32_t>({-1, 65536, 7}) : choices.below(2);
        v.offset = v.dataType == 13 ? choices.below(300) : randomAddress(choices);
        v.size = choices.oneIn(8) ? choices.between(-1, 0) : choices.between(1, 30);
        return v;
    }

    // WriteDataToLocal.
    void mirror(Choices& choices) {
        Variable v = randomRun(choices);
        const std::int32_t length = v.dataType != 13 && choices.oneIn(4) ? choices.below(30) : v.size;
        v.data = noise(choices.number(), length);
        log_ += "mirror " + toText(v) + "\n";
        RW_VAR driver = toDriver(v);
        WriteDataToLocal(&driver);
        machine_.image.store(v);
        figures_.reached(v.dataType == 13 ? "bits mirrored" : "bytes mirrored");
        if (v.offset < 0) {
            figures_.reached("negative address");
        }
    }

    // SaveToLocalDataErea, for a batch of up to three requests and a reply of any length.
    void receive(Choices& choices) {
        const int count = choices.below(4);
        machine_.batch.clear();
        std::int32_t wanted = 12;
        log_ += "receive\n";
        for (int i = 0; i < count; ++i) {
            Variable v = randomRun(choices);
            v.dataType = 16;
            machine_.batch.push_back(v);
            PLC_driver.batch[i] = toDriver(v);
            wanted += 1 + std::max(v.size, 0);
            log_ += "  " + toText(v) + "\n";
        }
        PLC_driver.batchCount = count;
        Frame frame;
        frame.replyDataOffset = choices.oneIn(10) ? choices.below(30) : 12;
        Protocol protocol = Protocol();
        protocol.replyDataOffset = frame.replyDataOffset;
        PLC_driver.frameList.append(protocol);
        const std::int32_t length = choices.oneIn(3) ? choices.below(wanted + 3) : wanted;
        const std::string reply = noise(choices.number(), length);
        log_ += "  data offset " + std::to_string(frame.replyDataOffset) + " reply " + hexText(reply) + "\n";
        QByteArray driverReply = bytesToDriver(reply);
        SaveToLocalDataErea(&driverReply);
        auto position = static_cast<std::size_t>(frame.replyDataOffset);
        for (const Variable& request : machine_.batch) {
            ++position;
            machine_.image.storeReply(reply, &position, request);
        }
        PLC_driver.frameList.clear();
        compareBytes("the reply", driverReply, reply);
        figures_.reached(count == 0        ? "reply without a batch"
                         : length < wanted ? "short reply stored"
                                           : "reply stored");
    }

    Figures& figures_;
    ComInfo driverSettings_;
    Settings settings_;
    Machine machine_;
    std::string log_;
};

TEST(Reference, Values) {
    RandomTest test;
    test.name = "Values";
    test.percent = 20;
    test.numbers = 22;
    test.longest = 40;
    test.run = [](const Sequence& sequence, Figures& figures) {
        ValuesRun run(figures);
        for (const Step& step : sequence) {
            run.run(step);
        }
    };
    test.states = {"symbols changed in the driver object",
                   "bit beyond the variable",
                   "bit of a variable",
                   "boolean byte",
                   "8-bit value",
                   "16-bit value",
                   "32-bit value",
                   "64-bit value",
                   "string",
                   "bit-addressed boolean",
                   "type that is not served",
                   "value read",
                   "reading left open",
                   "nothing to send written",
                   "one write queued",
                   "write cut into pieces",
                   "bits mirrored",
                   "bytes mirrored",
                   "negative address",
                   "reply without a batch",
                   "short reply stored",
                   "reply stored"};
    check(test);
}

}  // namespace

}  // namespace ac500::test
