// Symbol records as no decoder should make them, and tags that reach into them. The input is a list of scopes, each a
// tree of records with numbers of any size, then lines of tag and argument.
//
// Names come from a short list, so that tags meet them. A tree has at most kMostRecords records: their number is the
// host's own memory.
#include "tests/fuzz/fuzz_input.h"
#include "tests/fuzz/tag_checks.h"

using namespace ac500::fuzz;

namespace {

constexpr int kMostRecords = 60;
constexpr int kMostDepth = 6;
constexpr int kMostTags = 8;

constexpr const char* kNames[] = {"", "Main", "a", "b", "a[", "c]", "%%", "\xC3\xA9"};

class RecordReader {
public:
    explicit RecordReader(FuzzInput& input) : input_(input) {}

    // Byte: name (low 3 bits), type is special, has bounds, members, element type, area; then what these announce.
    Label_Type_Info record(int depth) {
        const int shape = input_.u8();
        Label_Type_Info record;
        record.name = QString::fromUtf8(kNames[shape & 7]);
        record.type = (shape & 0x08) != 0 ? input_.u16() : static_cast<quint16>(input_.below(22));
        record.offset = input_.i32();
        record.dimensions = 0;
        record.memberCount = 0;
        record.extra1 = 0;
        record.extra2 = 0;
        if ((shape & 0x10) != 0) {
            record.dimensions = input_.i32();
            for (int i = input_.below(10); i > 0; --i) {
                record.arrayBounds << input_.i32();
            }
        }
        if ((shape & 0x20) != 0) {
            record.members = records(depth, 4);
            record.memberCount =
                input_.u8() == 0xFF ? static_cast<quint32>(input_.i32()) : static_cast<quint32>(record.members.size());
        }
        if ((shape & 0x40) != 0) {
            record.elementType = records(depth, 2);
        }
        if ((shape & 0x80) != 0) {
            record.areaList << input_.i32();
        }
        return record;
    }

    QList<Label_Type_Info> records(int depth, int most) {
        QList<Label_Type_Info> list;
        const int count = input_.below(most + 1);
        for (int i = 0; i < count && depth < kMostDepth && made_ < kMostRecords; ++i) {
            ++made_;
            list << record(depth + 1);
        }
        return list;
    }

private:
    FuzzInput& input_;
    int made_ = 0;
};

// The same program with everything moved, as after a download into the PLC: no name may resolve to its old place.
void move(QList<Label_Type_Info>& scopes) {
    for (Label_Type_Info& scope : scopes) {
        for (Label_Type_Info& contents : scope.elementType) {
            for (Label_Type_Info& variable : contents.members) {
                variable.offset ^= 0x40;
            }
        }
    }
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzInput input(data, size);
    FuzzedDriver driver;
    driver.settings.maxRequestWords = input.between(-1, 300);
    driver.settings.accessMode = input.below(3);
    QList<Label_Type_Info> scopes = RecordReader(input).records(0, 4);
    PassVarName_2(&scopes);
    const int known = PLC_driver.labelTable.size();
    FUZZ_CHECK(known <= scopes.size());

    for (int tags = 0; !input.empty() && tags < kMostTags; ++tags) {
        const int count = input.between(-3, 600);
        const QString tag = input.text();
        const QString argument = input.text();
        checkTag(driver, tag, argument, count, "\x01\x02\x03\x04\x05");
        if (tags % 2 == 1) {
            move(scopes);
            PassVarName_2(&scopes);
            checkTag(driver, tag, argument, count, "\x01\x02\x03\x04\x05");
        }
    }
    FUZZ_CHECK(PLC_driver.labelTable.size() == known);
    return 0;
}
