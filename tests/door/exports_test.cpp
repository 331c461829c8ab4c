// What the built library shows to the outside, and what it asks of it. Reads the library with nm and readelf.
#include <cxxabi.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "tests/door/loaded_driver.h"
#include "tests/support/child_process.h"
#include "tests/support/places.h"

using namespace ac500::test;
using ::testing::AnyOf;
using ::testing::Contains;
using ::testing::Each;
using ::testing::UnorderedElementsAre;
using ::testing::UnorderedElementsAreArray;

namespace {

std::vector<std::string> linesOf(std::istream& text) {
    std::vector<std::string> result;
    for (std::string line; std::getline(text, line);) {
        result.push_back(line);
    }
    return result;
}

// What a program of the build tools prints about the library.
std::vector<std::string> report(const char* program, std::vector<std::string> arguments) {
    const int limitMs = 30000;
    arguments.push_back(driverPath());
    ChildProcess process;
    EXPECT_TRUE(process.start(program, arguments) && process.waitForEnd(limitMs) && process.exitCode() == 0)
        << program << " failed: " << process.takeErrors();
    std::istringstream text(process.takeOutput());
    return linesOf(text);
}

// Linker name to kind: 'T' function, 'B' or 'D' data.
std::map<std::string, char> exportedSymbols() {
    std::map<std::string, char> symbols;
    for (const std::string& line : report("nm", {"--dynamic", "--defined-only", "--format=posix"})) {
        std::istringstream fields(line);
        std::string name;
        char kind = '?';
        fields >> name >> kind;
        symbols[name] = kind;
    }
    return symbols;
}

std::string plainName(const std::string& linkerName) {
    int status = 0;
    char* text = abi::__cxa_demangle(linkerName.c_str(), nullptr, nullptr, &status);
    const std::string plain = status == 0 ? text : linkerName;
    std::free(text);
    return plain;
}

std::vector<std::string> namesOfKinds(const std::string& kinds) {
    std::vector<std::string> names;
    for (const auto& [name, kind] : exportedSymbols()) {
        if (kinds.find(kind) != std::string::npos) {
            names.push_back(plainName(name));
        }
    }
    return names;
}

TEST(ExportsTest, LibraryShowsExactlyTheListedSymbols) {
    std::vector<std::string> listed;
    std::ifstream file(projectFile("core/exports.txt"));
    for (const std::string& line : linesOf(file)) {
        if (!line.empty() && line[0] != '#') {
            listed.push_back(line);
        }
    }
    std::vector<std::string> exported;
    for (const auto& [name, kind] : exportedSymbols()) {
        exported.push_back(name);
    }
    EXPECT_THAT(exported, UnorderedElementsAreArray(listed));
}

TEST(ExportsTest, DataIsTheDriverObjectAndTheRegisterAreas) {
    EXPECT_THAT(namesOfKinds("BDVR"), UnorderedElementsAre("PLC_driver", "LB", "LW", "RWI"));
}

TEST(ExportsTest, FunctionsAreThoseOfTheHostInterface) {
    EXPECT_THAT(
        namesOfKinds("T"),
        UnorderedElementsAre(
            "SetComInfo", "RegistCallBackFuncIntf", "FlashLocalRegister", "PassVarName_2", "AddListReadVar",
            "AddListOnceReadVar", "AddListWriteVar", "ReCreatReadVarList", "ComCommunication", "DataCom",
            "GetRegisterData", "SetRegisterData", "EnableEthernet", "EnCommStation", "PLCAddressChangeIntef",
            "QueryFinishFlag",
            // The others carry their arguments in their names.
            "Ethernetcontains(int)", "Remote_ReadVar(RW_VAR*)", "Remote_WriteVar(RW_VAR*)",
            "customMessageHandler(QtMsgType, char const*)", "GetDriverReturnValue(int)", "SwitchErrorReturn(int)",
            "handshake_data(RW_VAR*)", "handshake_data_check(QByteArray*)", "ReadRegister(RW_VAR*)",
            "WriteRegister(RW_VAR*)", "ReadAnalog(RW_VAR*)", "WriteAnalog(RW_VAR*)",
            "infinite_length_data_reception(QByteArray*)", "CheckGetData(QByteArray const*, int)",
            "DealDataOfLocalArea(QByteArray*, int)", "passRetValue(RW_VAR const&, RW_VAR&)",
            "SaveToLocalDataErea(QByteArray*)", "WriteDataToLocal(RW_VAR*)", "Bubble_Sort(QList<RW_VAR>*)",
            "BitVarReCreat(QList<RW_VAR>*, int)", "WhetherGroup(int, int, RW_VAR*, QList<RW_VAR>*)",
            "CalSUM(unsigned char*, unsigned short)", "CalCRC(unsigned char*, unsigned short)",
            "CalLRC(unsigned char*, unsigned short)", "CalXOR(unsigned char*, int)", "DigitalToASCII(int)",
            "ASCIIToDigital(int)", "get_label_address_info(QString const&, ControlInformationM&)",
            "get_label_address_info(QString&, int)",
            "get_label_address_1(Label_Type_Info const&, QStringList const&, int, ControlInformationM&)",
            "get_label_address_2(Label_Type_Info const&, QStringList const&, int, ControlInformationM&)",
            "get_label_address_3(Label_Type_Info const&, QStringList&, int, int)",
            "get_label_address_array_memory_index(QString, int, QList<int> const&, unsigned int&, unsigned int*)",
            "get_label_address_query(QStringList const&, int)"));
}

TEST(ExportsTest, EveryExportIsDataOrFunction) {
    for (const auto& [name, kind] : exportedSymbols()) {
        EXPECT_THAT(kind, AnyOf('T', 'B', 'D')) << name;
    }
}

// The libraries that the dynamic linker must find, by name.
std::vector<std::string> neededLibraries() {
    std::vector<std::string> names;
    for (const std::string& line : report("readelf", {"--dynamic", "--wide"})) {
        const size_t start = line.find('[');
        const bool isEntry = line.find("(NEEDED)") != std::string::npos && start != std::string::npos;
        if (isEntry) {
            names.push_back(line.substr(start + 1, line.rfind(']') - start - 1));
        }
    }
    return names;
}

// Builds with sanitizers need the sanitizers' own libraries as well.
std::vector<std::string> withoutSanitizers(std::vector<std::string> names) {
#ifdef __SANITIZE_ADDRESS__
    const auto isSanitizer = [](const std::string& name) {
        return name.rfind("libasan.so", 0) == 0 || name.rfind("libubsan.so", 0) == 0;
    };
    names.erase(std::remove_if(names.begin(), names.end(), isSanitizer), names.end());
#endif
    return names;
}

TEST(DependenciesTest, AreQtCoreAndTheStandardLibraryOnly) {
    const std::vector<std::string> needed = withoutSanitizers(neededLibraries());
    EXPECT_THAT(needed, Each(AnyOf("libQt5Core.so.5", "libQtCore.so.4", "libstdc++.so.6", "libm.so.6", "libgcc_s.so.1",
                                   "libc.so.6")));
    EXPECT_THAT(needed, Contains(AnyOf("libQt5Core.so.5", "libQtCore.so.4")));
}

}  // namespace
