// Symbol files as tables: nothing is lost on the way there and back, and what is wrong is told by row and column.
#include "tools/symbol_file/symbol_csv.h"

#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "tests/support/pace.h"
#include "tests/support/places.h"
#include "tools/symbol_file/symbol_document.h"

namespace ac500::symbol_file {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;

std::string contentOf(const std::string& path) {
    std::ifstream stream(test::projectFile(path), std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

// Everything that a symbol file says, in words, without where it says it.
class Spoken {
public:
    explicit Spoken(const SymbolFile& file) {
        out_ << "description " << file.description << "\n";
        for (const Area& area : file.areas) {
            out_ << "area " << area.number << " " << area.name << " " << area.sizeBytes << "\n";
        }
        for (const auto& type : file.types) {
            out_ << "type " << type->name << " " << type->sizeBytes << "\n";
            say(type->members);
        }
        for (const Scope& scope : file.scopes) {
            out_ << "scope " << scope.name << "\n";
            say(scope.variables);
        }
        for (const Signal& signal : file.signals) {
            out_ << "signal " << signal.tag << " " << static_cast<int>(signal.kind) << " " << signal.minimum << " "
                 << signal.maximum << " " << signal.step << " " << signal.periodMs << " " << signal.source << "\n";
        }
        for (const InitialValue& initial : file.initialValues) {
            out_ << "initial " << initial.tag << " <" << initial.text << ">\n";
        }
    }

    std::string text() const { return out_.str(); }

private:
    void say(const std::vector<Variable>& variables) {
        for (const Variable& variable : variables) {
            out_ << "  " << variable.name << " "
                 << (variable.structure ? variable.structure->name : typeName(variable.code, variable.stringCharacters))
                 << " " << variable.area << " " << variable.offset << " " << variable.bitAddressable << " "
                 << variable.isReadOnly << " <" << variable.comment << ">";
            for (const ArrayDimension& dimension : variable.dimensions) {
                out_ << " [" << dimension.lower << ".." << dimension.upper << "]";
            }
            if (variable.notes) {
                say(*variable.notes);
            }
            out_ << "\n";
        }
    }

    void say(const ValueNotes& notes) {
        out_ << " unit <" << notes.unit << ">";
        if (notes.scale) {
            out_ << " x " << notes.scale->factor.text << " + " << notes.scale->offset.text;
        }
        for (const auto& limit : {notes.minimum, notes.maximum}) {
            out_ << " limit " << (limit ? limit->number.text : "none")
                 << (limit && limit->whole ? " = " + toText(*limit->whole) : "");
        }
        for (const NamedValue& named : notes.names) {
            out_ << " <" << toText(named.value) << " is " << named.name << ">";
        }
    }

    std::ostringstream out_;
};

std::string spoken(const std::string& json) {
    const LoadedSymbolFile loaded = parseSymbolFile(json);
    for (const Problem& problem : loaded.problems) {
        ADD_FAILURE() << describe("json", problem);
    }
    return Spoken(loaded.file).text();
}

ImportedCsv imported(const std::string& csv) {
    ImportedCsv result = importCsv(csv);
    for (const CsvProblem& problem : result.problems) {
        ADD_FAILURE() << describe("csv", problem);
    }
    return result;
}

std::vector<std::string> csvProblems(const std::string& csv) {
    std::vector<std::string> texts;
    for (const CsvProblem& problem : importCsv(csv).problems) {
        texts.push_back(describe("f", problem));
    }
    return texts;
}

// An absent comment says the same as one without characters.
nlohmann::json withoutEmptyComments(const std::string& text) {
    nlohmann::json document = nlohmann::json::parse(text);
    for (nlohmann::json& scope : document["scopes"]) {
        for (nlohmann::json& variable : scope["variables"]) {
            if (variable.value("comment", "") == "") {
                variable.erase("comment");
            }
        }
    }
    return document;
}

void expectRoundTrip(const std::string& path) {
    const std::string json = contentOf(path);
    const std::string csv = exportCsv(parseJson(json).root);
    const JsonValue document = imported(csv).document;
    EXPECT_EQ(spoken(toJsonText(document)), spoken(json));
    EXPECT_EQ(withoutEmptyComments(toJsonText(document)), withoutEmptyComments(json));
    EXPECT_EQ(exportCsv(document), csv);
    EXPECT_EQ(exportCsv(parseJson(toJsonText(document)).root), csv);
}

TEST(SymbolCsv, LosesNothingOfThePlant) {
    expectRoundTrip("examples/plant.json");
}

TEST(SymbolCsv, LosesNothingOfAFileWithEveryKey) {
    expectRoundTrip("tests/symbol_file/data/every_key.json");
}

TEST(SymbolCsv, LosesNothingOfTheOtherGoodFiles) {
    for (const char* name : {"sample", "signals", "valid_simulation", "bits_switched_off",
                             "structure_used_before_declared", "array_with_negative_bounds"}) {
        SCOPED_TRACE(name);
        expectRoundTrip("tests/symbol_file/data/" + std::string(name) + ".json");
    }
}

TEST(SymbolCsv, KeepsTheNameOfTheSchema) {
    const std::string csv = exportCsv(parseJson(contentOf("tests/symbol_file/data/every_key.json")).root);
    EXPECT_THAT(
        toJsonText(imported(csv).document),
        StartsWith("{\n  \"$schema\": \"../../../docs/symbol-file.schema.json\",\n  \"format\": \"ac500-symbols\",\n"
                   "  \"version\": 1,\n"));
}

TEST(SymbolCsv, IsWrittenWithAllColumnsAndOneRowForEachThing) {
    const std::string csv = exportCsv(parseJson(contentOf("tests/symbol_file/data/every_key.json")).root);
    EXPECT_THAT(
        csv,
        StartsWith("kind,name,type,area,offset,bit,bytes,array,bits,readOnly,onlyWriter,unit,scaleFactor,scaleOffset,"
                   "min,max,names,comment,signal,step,periodMs,source,value\r\n"));
    EXPECT_THAT(csv, HasSubstr("\r\narea,,,3,,,8,,,,,,,,,,,,,,,,\r\n"));
    EXPECT_THAT(csv, HasSubstr("\r\ntype,Sensor,,,,,8,,,,,,,,,,,,,,,,\r\n"));
    EXPECT_THAT(csv, HasSubstr("\r\nmember,Sensor.raw,INT,,0,,,,,true,,bar,0.001,,0,16,,0..27648,,,,,\r\n"));
    EXPECT_THAT(csv,
                HasSubstr("\r\nmember,Sensor.state,USINT,,2,,,,,,,,,,,,\"0=off;1=on;2=a\\;b = c\\\\d\",,,,,,\r\n"));
    EXPECT_THAT(csv, HasSubstr("\r\nmember,Line.sensors,Sensor,,0,,,'-1..2,,,,,,,,,,'=1+1,,,,,\r\n"));
    EXPECT_THAT(csv, HasSubstr("\r\nscope,Empty,,,,,,,,,,,,,,,,,,,,,\r\n"));
    EXPECT_THAT(csv, HasSubstr("\r\nvariable,Main.temperature,INT,1,0,,,,,,,°C,0.10,-40,-30.5,120,,,,,,,\r\n"));
    EXPECT_THAT(
        csv,
        HasSubstr("\r\nvariable,Main.grid,BYTE,1,600,,,\"0..1,0..2,-3..-1\",,,,,,,,,,\"'-40 is cold; +1\",,,,,\r\n"));
    EXPECT_THAT(csv, HasSubstr("\r\nvariable,Main.start_again,BIT,3,,22,,,,,,,,,,,,''quoted',,,,,\r\n"));
    EXPECT_THAT(csv, HasSubstr("\r\nsignal,Main.start,,,,,,,,,,,,,,,,,square,,,,\r\n"));
    EXPECT_THAT(csv, HasSubstr("\r\ninitial,Main.names[2],,,,,,,,,,,,,,,,,,,,,\"007, James; \"\"Bond\"\"\"\r\n"));
    EXPECT_THAT(csv,
                HasSubstr("\r\nvariable,Main.mode,INT,1,4,,,,,,true,,,,,,\"'-1=fault;0=off;1=manual;2=automatic\",,"));
    EXPECT_THAT(csv, HasSubstr("\r\nguard,Aux.program,,,,,,,,,,,,,,,,,,,,,20261122\r\n"));
    EXPECT_THAT(csv, HasSubstr("\r\nguard,Aux.build,,,,,,,,,,,,,,,,,,,,,16#FFFF_FFFF_0000_0001\r\n"));
}

// A file of initial values for variables of the right types, and the same after it was a table.
nlohmann::json initialValuesAfterATable(const nlohmann::json& values) {
    nlohmann::json document = nlohmann::json::parse(R"({"format": "ac500-symbols", "version": 1,
        "areas": [{"number": 1, "bytes": 10000}], "scopes": [{"name": "Main", "variables": []}]})");
    for (const nlohmann::json& value : values) {
        const std::string name = "v" + std::to_string(document["scopes"][0]["variables"].size());
        document["scopes"][0]["variables"].push_back({{"name", name},
                                                      {"type", "STRING"},
                                                      {"area", 1},
                                                      {"offset", 100 * document["scopes"][0]["variables"].size()}});
        document["simulation"]["initial"].push_back({{"tag", "Main." + name}, {"value", value}});
    }
    const std::string csv = exportCsv(parseJson(document.dump()).root);
    const nlohmann::json imports = nlohmann::json::parse(toJsonText(imported(csv).document));
    nlohmann::json after = nlohmann::json::array();
    for (const nlohmann::json& entry : imports["simulation"]["initial"]) {
        after.push_back(entry["value"]);
    }
    return after;
}

TEST(SymbolCsv, KeepsWhetherAnInitialValueIsATextANumberOrATruthValue) {
    const nlohmann::json values = {"12", 12,  "-1.50", -1.5, "1e3",  1000, "TRUE", true,  "true", "FALSE", false,
                                   "",   "'", "'12",   "''", "=1+1", "+5", "007",  "1,5", "0;1",  "True",  " 12 "};
    EXPECT_EQ(initialValuesAfterATable(values), values);
}

TEST(SymbolCsv, ACellThatIsNotMarkedIsANumberOrATruthValueWhereItCanBe) {
    const ImportedCsv table = imported(
        "kind,name,type,area,offset,bytes,value\narea,,,1,,200,\n,Main.a,STRING,1,0,,\n,Main.b,BOOL,1,100,,\n"
        ",Main.c,STRING,1,102,,\ninitial,Main.a,,,,,12\ninitial,Main.b,,,,,TRUE\ninitial,Main.c,,,,,'12\n");
    const auto initial = nlohmann::json::parse(toJsonText(table.document))["simulation"]["initial"];
    EXPECT_EQ(initial[0]["value"], 12);
    EXPECT_EQ(initial[1]["value"], true);
    EXPECT_EQ(initial[2]["value"], "12");
}

TEST(SymbolCsv, ASmallTableBecomesAFileThatPeopleCanRead) {
    const ImportedCsv table = imported(
        "kind;name;type;area;offset;bytes;bits\n"
        "area;Process;;1;;100;\n"
        ";Main.counter;UINT;1;0;;\n"
        "variable;Main.flags;WORD;1;2;;TRUE\n"
        "variable;Aux.on;BOOL;1;4;;\n"
        "variable;Main.last;INT;1;6;;\n");
    EXPECT_EQ(toJsonText(table.document),
              "{\n"
              "  \"format\": \"ac500-symbols\",\n"
              "  \"version\": 1,\n"
              "  \"areas\": [\n"
              "    {\"number\": 1, \"bytes\": 100, \"name\": \"Process\"}\n"
              "  ],\n"
              "  \"scopes\": [\n"
              "    {\n"
              "      \"name\": \"Main\",\n"
              "      \"variables\": [\n"
              "        {\"name\": \"counter\", \"type\": \"UINT\", \"area\": 1, \"offset\": 0},\n"
              "        {\"name\": \"flags\", \"type\": \"WORD\", \"area\": 1, \"offset\": 2, \"bits\": true},\n"
              "        {\"name\": \"last\", \"type\": \"INT\", \"area\": 1, \"offset\": 6}\n"
              "      ]\n"
              "    },\n"
              "    {\n"
              "      \"name\": \"Aux\",\n"
              "      \"variables\": [\n"
              "        {\"name\": \"on\", \"type\": \"BOOL\", \"area\": 1, \"offset\": 4}\n"
              "      ]\n"
              "    }\n"
              "  ]\n"
              "}\n");
}

TEST(SymbolCsvProblems, OfTheTableNameRowAndColumn) {
    EXPECT_THAT(csvProblems(""),
                ElementsAre("f: is empty; write a header row, with at least the columns name and type"));
    EXPECT_THAT(csvProblems("name,typ,color\n"),
                ElementsAre("f:1: unknown column \"typ\"; did you mean \"type\"?",
                            "f:1: unknown column \"color\"; docs/symbol-file.md lists the columns"));
    EXPECT_THAT(csvProblems("name,NAME\n"), ElementsAre("f:1: column name: is there twice; remove one"));
    EXPECT_THAT(csvProblems("type,area\n"),
                ElementsAre("f:1: there is no column name; the first row names the columns"));
    EXPECT_THAT(csvProblems("name,type\nMain.a,INT,5\n"),
                ElementsAre("f:2: has 3 cells, the header only 2; put a cell that holds a comma in quotes"));
    EXPECT_THAT(csvProblems("name,type\n\"Main.a,INT\n"),
                ElementsAre("f:2: a quote is not closed; end the cell with \""));
    EXPECT_THAT(csvProblems("name,comment\nMain.a,Gr\xFC\xDF"
                            "e\n"),
                ElementsAre("f:2: column comment: is no UTF-8; save the table as UTF-8"));
    EXPECT_THAT(csvProblems("kind,name\nvariabel,Main.a\n"),
                ElementsAre("f:2: column kind: \"variabel\" is no kind of row; did you mean \"variable\"?"));
    EXPECT_THAT(
        csvProblems("kind,name\nx,Main.a\n"),
        ElementsAre("f:2: column kind: \"x\" is no kind of row; write file, area, type, member, scope, variable, "
                    "guard, signal or initial"));
    EXPECT_THAT(csvProblems("name,type\ncounter,INT\n"),
                ElementsAre("f:2: column name: \"counter\" names no variable; write SCOPE.VARIABLE"));
    EXPECT_THAT(csvProblems("kind,name,type\nmember,speed,INT\n"),
                ElementsAre("f:2: column name: \"speed\" names no member; write TYPE.MEMBER"));
    EXPECT_THAT(csvProblems("kind,name,bytes\nscope,Main,\nscope,Main,\ntype,T,5\ntype,T,5\n"),
                ElementsAre("f:3: column name: the scope \"Main\" has a row already; remove one",
                            "f:5: column name: the type \"T\" has a row already; remove one"));
    EXPECT_THAT(csvProblems("kind,name,offset\nscope,Main,4\n"),
                ElementsAre("f:2: column offset: a row of kind scope says nothing here; empty the cell"));
}

TEST(SymbolCsvProblems, OfCellsNameRowAndColumn) {
    const auto problemsWith = [](const std::string& column, const std::string& cell) {
        return csvProblems("kind,name,type,area,offset,bytes," + column +
                           "\narea,,,1,,100,\nvariable,Main.a,INT,1,0,,\"" + cell + "\"\n");
    };
    EXPECT_THAT(problemsWith("bits", "yes"),
                ElementsAre("f:3: column bits: \"yes\" is no truth value; write true or false"));
    EXPECT_THAT(problemsWith("array", "6"),
                ElementsAre("f:3: column array: \"6\" is no array; write 1..6, or 0..3,1..6"));
    EXPECT_THAT(problemsWith("array", "1..x"), SizeIs(1));
    EXPECT_THAT(problemsWith("array", "1..6,"), SizeIs(1));
    EXPECT_THAT(
        problemsWith("array", "6..1"),
        ElementsAre("f:3: column array: the upper bound 1 lies below the lower bound 6; write [lower, upper], both "
                    "belonging to the array"));
    EXPECT_THAT(problemsWith("scaleFactor", "0,1"),
                ElementsAre("f:3: column scaleFactor: \"0,1\" is no number; write it as 12 or -0.5"));
    EXPECT_THAT(problemsWith("scaleFactor", "0"),
                ElementsAre("f:3: column scaleFactor: is 0, which makes all values one; write what the PLC's number is "
                            "multiplied by"));
    EXPECT_THAT(problemsWith("names", "off"),
                ElementsAre("f:3: column names: \"off\" is no value with its name; write 0=off;1=on"));
    EXPECT_THAT(
        problemsWith("names", "0=off;1=OFF"),
        ElementsAre("f:3: column names: \"OFF\" names another value already; upper and lower case are the same"));
    EXPECT_THAT(problemsWith("max", "T#1s"), ElementsAre("f:3: column max: is a string; write a number"));
    EXPECT_THAT(problemsWith("max", "40000"),
                ElementsAre("f:3: column max: 40000 is nothing that INT can be; stay within -32768 to 32767"));
}

TEST(SymbolCsvProblems, OfTheFileItselfNameTheCellTheyComeFrom) {
    EXPECT_THAT(csvProblems("kind,name,type,area,offset,bytes\n"
                            "area,,,1,,4\n"
                            "area,,,1,,8\n"
                            "variable,Main.a,WROD,1,0,\n"
                            "variable,Main.b,INT,2,0,\n"
                            "variable,Main.c,INT,1,x,\n"),
                ElementsAre("f:6: column offset: \"x\" is no number; write it as 12 or -0.5"));
    EXPECT_THAT(
        csvProblems("kind,name,type,area,offset,bytes\n"
                    "area,,,1,,4\n"
                    "variable,Main.a,WROD,1,0,\n"
                    "variable,Main.b,INT,2,0,\n"
                    "variable,Main.c,INT,1,3,\n"
                    "variable,Main.c,INT,1,,\n"
                    "variable,Main.1,INT,1,0,\n"
                    "member,Pump.on,BOOL,,0,\n"),
        ElementsAre("f:3: column type: unknown type \"WROD\"; did you mean \"WORD\"?",
                    "f:4: column area: there is no area 2; add it to \"areas\" or correct this",
                    "f:5: column offset: the variable ends at byte 5, outside the 4 bytes of area 1; correct the "
                    "place or the area's \"bytes\"",
                    "f:6: \"offset\" is missing; give the byte where the variable begins",
                    "f:6: \"c\" is declared in line 5 already; change or remove one of them",
                    "f:7: column name: \"1\" is no name; use letters, digits and underscores, and no digit in front",
                    "f:8: \"size\" is missing; give the bytes that one such structure takes"));
    EXPECT_THAT(
        csvProblems("kind,name,signal,value\nsignal,Main.a,sine,\n"),
        ElementsAre("f:2: column name: \"Main.a\": there is no scope \"Main\"; list the tags to see what there is"));
}

TEST(SymbolCsv, TakesFiftyThousandVariables) {
    constexpr int kMany = test::sized(50000);
    std::string csv = "kind,name,type,area,offset,bytes,unit,comment\narea,,,1,,400000,,\n";
    for (int i = 0; i < kMany; ++i) {
        csv += "variable,Main.value_" + std::to_string(i) + ",DINT,1," + std::to_string(8 * i) + ",,bar,number " +
               std::to_string(i) + "\n";
    }
    const JsonValue document = imported(csv).document;
    const LoadedSymbolFile loaded = parseSymbolFile(toJsonText(document));
    EXPECT_THAT(loaded.problems, IsEmpty());
    ASSERT_THAT(loaded.file.scopes, SizeIs(1));
    EXPECT_THAT(loaded.file.scopes[0].variables, SizeIs(kMany));
    EXPECT_EQ(loaded.file.scopes[0].variables[kMany - 1].offset, 8 * kMany - 8);
}

}  // namespace
}  // namespace ac500::symbol_file
