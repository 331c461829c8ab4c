// Tag text and argument against the symbols of the plant: three lines, the tag, the argument and the count, the rest
// being the value to write. A first byte of FF makes UTF-16 of the tag, so that halves of surrogate pairs get in too.
#include "tests/fuzz/fuzz_input.h"
#include "tests/fuzz/plant.h"
#include "tests/fuzz/tag_checks.h"

using namespace ac500::fuzz;

namespace {

QString textOf(const std::string& line) {
    if (line.empty() || line[0] != '\xFF') {
        return QString::fromStdString(line);
    }
    QString text;
    for (std::size_t i = 1; i + 1 < line.size(); i += 2) {
        text += QChar(static_cast<uchar>(line[i]), static_cast<uchar>(line[i + 1]));
    }
    return text;
}

// The plant of the table is still there, and resolves as before.
void checkTable() {
    FUZZ_CHECK(PLC_driver.labelTable.size() == plantLabels().size());
    ControlInformationM info = ControlInformationM();
    FUZZ_CHECK(get_label_address_info(QStringLiteral("Main.motors[2].curve[3]"), info) == 0);
    FUZZ_CHECK(info.area == 1 && info.address == 800 + 32 + 4 + 2 * 4 && info.dataType == 7);
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzInput input(data, size);
    const QString tag = textOf(input.line());
    const QString argument = textOf(input.line());
    const int count = qBound(-3, input.text().toInt(), 600);

    FuzzedDriver driver;
    PLC_driver.labelTable = plantLabels();
    checkTag(driver, tag, argument, count, input.rest());
    checkTable();
    return 0;
}
