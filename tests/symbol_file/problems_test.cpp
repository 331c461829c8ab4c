// One file per situation under data/: mostly the same valid file with one part missing or wrong.
#include <algorithm>
#include <ostream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/places.h"
#include "tools/symbol_file/symbol_file.h"

namespace ac500::symbol_file {
namespace {

using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::EndsWith;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;

struct Finding {
    std::string file;                   // without ".json"
    std::vector<std::string> problems;  // line:column: place: what
};

void PrintTo(const Finding& finding, std::ostream* stream) {
    *stream << finding.file;
}

std::string nameOf(const testing::TestParamInfo<Finding>& info) {
    return info.param.file;
}

std::vector<std::string> problemsIn(const std::string& file) {
    const LoadedSymbolFile loaded = loadSymbolFile(test::projectFile("tests/symbol_file/data/") + file + ".json");
    std::vector<std::string> texts;
    for (const Problem& problem : loaded.problems) {
        texts.push_back(describe("f", problem).substr(2));
    }
    return texts;
}

std::vector<std::string> problemsOf(const std::string& content) {
    std::vector<std::string> texts;
    for (const Problem& problem : parseSymbolFile(content).problems) {
        texts.push_back(describe("f", problem).substr(2));
    }
    return texts;
}

class Problems : public testing::TestWithParam<Finding> {};

TEST_P(Problems, AreAllReportedWithPlaceAndRemedy) {
    EXPECT_THAT(problemsIn(GetParam().file), ElementsAreArray(GetParam().problems));
}

INSTANTIATE_TEST_SUITE_P(
    Head, Problems,
    testing::Values(Finding{"areas_missing", {R"(1:1: "areas" is missing; list the memory areas of the PLC)"}},
                    Finding{"areas_no_array", {R"(4:12: areas: is an object; write an array)"}},
                    Finding{"format_missing", {R"(1:1: "format" is missing; write "format": "ac500-symbols")"}},
                    Finding{"format_of_another_program", {R"(2:13: format: is "plc-symbols"; write "ac500-symbols")"}},
                    Finding{"root_key_misspelt", {R"(4:3: unknown key "aeras"; did you mean "areas"?)"}},
                    Finding{"root_key_twice", {R"(4:3: the key "version" occurs twice; remove one)"}},
                    Finding{"root_key_unknown",
                            {R"(4:3: unknown key "author"; allowed are "$schema", "format", "version", )"
                             R"("description", "areas", "types", "scopes", "guard", "simulation")"}},
                    Finding{"root_no_object",
                            {R"(1:1: is an array; write an object with "$schema", "format", "version", )"
                             R"("description", "areas", "types", "scopes", "guard", "simulation")"}},
                    Finding{"scopes_missing", {R"(1:1: "scopes" is missing; list the scopes with their variables)"}},
                    Finding{"types_as_list",
                            {R"(5:12: types: is no object; write one structure type per key: {"Motor": {...}})"}},
                    Finding{"version_as_text", {R"(3:14: version: is a string; write 1)"}},
                    Finding{"version_missing", {R"(1:1: "version" is missing; write "version": 1)"}},
                    Finding{"version_too_new", {R"(3:14: version: is 2; write 1)"}}),
    nameOf);

INSTANTIATE_TEST_SUITE_P(
    Areas, Problems,
    testing::Values(
        Finding{"area_bytes_beyond_64_bits",
                {R"(5:47: areas[0].bytes: is 18446744073709551615; write a whole number from 1 to )"
                 R"(16777216)"}},
        Finding{"area_bytes_fractional",
                {R"(5:47: areas[0].bytes: is 100.5; write a whole number from 1 to 16777216)"}},
        Finding{"area_bytes_missing", {R"(5:5: areas[0]: "bytes" is missing; give the size of the area)"}},
        Finding{"area_bytes_too_many",
                {R"(5:47: areas[0].bytes: is 16777217; write a whole number from 1 to 16777216)"}},
        Finding{"area_bytes_zero", {R"(5:47: areas[0].bytes: is 0; write a whole number from 1 to 16777216)"}},
        Finding{"area_no_object", {R"(5:5: areas[0]: is null; write an object with "number", "name", "bytes")"}},
        Finding{"area_number_missing",
                {R"(5:5: areas[0]: "number" is missing; give the number that variables refer to)"}},
        Finding{"area_number_too_large", {R"(5:16: areas[0].number: is 65536; write a whole number from 0 to 65535)"}},
        Finding{"area_number_twice",
                {R"(6:16: areas[1].number: "1" is declared in line 5 already; change or remove one of )"
                 R"(them)"}}),
    nameOf);

INSTANTIATE_TEST_SUITE_P(
    Scopes, Problems,
    testing::Values(Finding{"scope_name_empty",
                            {R"(9:15: scopes[0].name: "" is no name; use letters, digits and underscores, and no )"
                             R"(digit in front)"}},
                    Finding{"scope_name_missing",
                            {R"(8:5: scopes[0]: "name" is missing; name the scope, for example "Main")"}},
                    Finding{"scope_name_twice",
                            {R"(14:14: scopes[1].name: "Main" is declared in line 9 already; change or remove one )"
                             R"(of them)"}},
                    Finding{"scope_name_with_dot",
                            {R"(9:15: scopes[0].name: "Main.Sub" is no name; use letters, digits and underscores, )"
                             R"(and no digit in front)"}},
                    Finding{"scope_variables_missing",
                            {R"(8:5: scopes[0]: "variables" is missing; list the variables of the scope)"}}),
    nameOf);

INSTANTIATE_TEST_SUITE_P(
    Variables, Problems,
    testing::Values(
        Finding{"variable_area_missing",
                {R"(11:9: scopes[0].variables[0]: "area" is missing; give the number of an area listed )"
                 R"(under "areas")"}},
        Finding{"variable_area_unknown",
                {R"(11:51: scopes[0].variables[0].area: there is no area 2; add it to "areas" or )"
                 R"(correct this)"}},
        Finding{"variable_comment_as_list", {R"(11:78: scopes[0].variables[0].comment: is an array; write a string)"}},
        Finding{"variable_key_misspelt",
                {R"(11:67: scopes[0].variables[0]: unknown key "comments"; did you mean "comment"?)"}},
        Finding{"variable_key_twice", {R"(11:67: scopes[0].variables[0]: the key "offset" occurs twice; remove one)"}},
        Finding{"variable_name_missing", {R"(11:9: scopes[0].variables[0]: "name" is missing; name the variable)"}},
        Finding{"variable_name_twice",
                {R"(12:9: scopes[0].variables[1]: "level" is declared in line 11 already; change or )"
                 R"(remove one of them)"}},
        Finding{"variable_name_with_blank",
                {R"(11:18: scopes[0].variables[0].name: "tank level" is no name; use letters, digits )"
                 R"(and underscores, and no digit in front)"}},
        Finding{"variable_name_with_bracket",
                {R"(11:18: scopes[0].variables[0].name: "level[1]" is no name; use letters, digits and )"
                 R"(underscores, and no digit in front)"}},
        Finding{"variable_name_with_digit_in_front",
                {R"(11:18: scopes[0].variables[0].name: "2nd" is no name; use letters, digits and )"
                 R"(underscores, and no digit in front)"}},
        Finding{"variable_name_with_placeholder",
                {R"(11:18: scopes[0].variables[0].name: "level%%" is no name; use letters, digits and )"
                 R"(underscores, and no digit in front)"}},
        Finding{"variable_no_object",
                {R"(11:9: scopes[0].variables[0]: is a string; write an object with "name", "type", )"
                 R"("area", "offset", "bit", "array", "bits", "comment", )"
                 R"("readOnly", "onlyWriter", "unit", "scale", "min", "max", "names")"}},
        Finding{"variable_offset_beyond_31_bits",
                {R"(11:64: scopes[0].variables[0].offset: is 2147483648; write a whole number from 0 to )"
                 R"(2147483647)"}},
        Finding{"variable_offset_missing",
                {R"(11:9: scopes[0].variables[0]: "offset" is missing; give the byte where the variable )"
                 R"(begins)"}},
        Finding{"variable_offset_negative",
                {R"(11:64: scopes[0].variables[0].offset: is -1; write a whole number from 0 to )"
                 R"(2147483647)"}},
        Finding{"variable_offset_one_too_far",
                {R"(11:64: scopes[0].variables[0].offset: the variable ends at byte 101, outside the )"
                 R"(100 bytes of area 1; correct the place or the area's "bytes")"}},
        Finding{"variable_type_as_number", {R"(11:35: scopes[0].variables[0].type: is a number; write a string)"}},
        Finding{"variable_type_empty",
                {R"(11:35: scopes[0].variables[0].type: is empty; give a type, for example "INT")"}},
        Finding{"variable_type_in_lower_case",
                {R"(11:35: scopes[0].variables[0].type: unknown type "real"; did you mean "REAL"?)"}},
        Finding{"variable_type_missing",
                {R"(11:9: scopes[0].variables[0]: "type" is missing; give a type, for example "INT")"}},
        Finding{"variable_type_misspelt",
                {R"(11:35: scopes[0].variables[0].type: unknown type "RAEL"; did you mean "REAL"?)"}},
        Finding{"variable_type_struct",
                {R"(11:35: scopes[0].variables[0].type: "STRUCT" says too little; give the name that )"
                 R"(the structure has under "types")"}},
        Finding{"variable_type_unknown",
                {R"(11:35: scopes[0].variables[0].type: unknown type "TIME_OF_DAY"; use a built-in type )"
                 R"(or declare it under "types")"}}),
    nameOf);

INSTANTIATE_TEST_SUITE_P(
    Bits, Problems,
    testing::Values(Finding{"bit_in_half_a_word",
                            {R"(11:60: scopes[0].variables[0].bit: the variable ends at byte 100, outside the 99 )"
                             R"(bytes of area 1; correct the place or the area's "bytes")"}},
                    Finding{"bit_missing",
                            {R"(11:9: scopes[0].variables[0]: "bit" is missing; give the number of the bit, counted )"
                             R"(from the start of its area)"}},
                    Finding{"bit_on_a_byte_type",
                            {R"(11:61: scopes[0].variables[0].bit: only a BIT is placed by "bit"; give "offset" in )"
                             R"(bytes)"}},
                    Finding{"bit_one_too_far",
                            {R"(11:60: scopes[0].variables[0].bit: the variable ends at byte 102, outside the 100 )"
                             R"(bytes of area 1; correct the place or the area's "bytes")"}},
                    Finding{"bit_with_offset",
                            {R"(11:63: scopes[0].variables[0].offset: a BIT is placed by "bit", counted from the )"
                             R"(start of its area; replace "offset")"}},
                    Finding{"bits_as_number",
                            {R"(11:75: scopes[0].variables[0].bits: is a number; write true or false)"}},
                    Finding{"bits_of_a_float",
                            {R"(11:75: scopes[0].variables[0].bits: the bits of REAL cannot be named; remove "bits" )"
                             R"(or use an integer type)"}},
                    Finding{"bits_of_a_structure",
                            {R"(15:102: scopes[0].variables[0].bits: the bits of a structure cannot be named; )"
                             R"(remove "bits" or use an integer type)"}},
                    Finding{"bits_of_an_array",
                            {R"(11:75: scopes[0].variables[0].bits: the bits of array elements cannot be named; )"
                             R"(remove "bits")"}}),
    nameOf);

INSTANTIATE_TEST_SUITE_P(
    Arrays, Problems,
    testing::Values(Finding{"array_bound_as_text",
                            {R"(11:75: scopes[0].variables[0].array[0][0]: is a string; write a whole number from )"
                             R"(-1000000 to 1000000)"}},
                    Finding{"array_bound_too_large",
                            {R"(11:78: scopes[0].variables[0].array[0][1]: is 1000001; write a whole number from )"
                             R"(-1000000 to 1000000)"}},
                    Finding{"array_flat",
                            {R"(11:74: scopes[0].variables[0].array[0]: is a number; write an array)",
                             R"(11:77: scopes[0].variables[0].array[1]: is a number; write an array)"}},
                    Finding{"array_of_four_dimensions",
                            {R"(11:73: scopes[0].variables[0].array: has 4 dimensions; give 1 to 3 of them, each as )"
                             R"([lower, upper])"}},
                    Finding{"array_one_element_too_long",
                            {R"(11:61: scopes[0].variables[0].offset: the variable ends at byte 102, outside the )"
                             R"(100 bytes of area 1; correct the place or the area's "bytes")"}},
                    Finding{"array_upside_down",
                            {R"(11:74: scopes[0].variables[0].array[0]: the upper bound 3 lies below the lower )"
                             R"(bound 4; write [lower, upper], both belonging to the array)"}},
                    Finding{"array_with_one_bound",
                            {R"(11:74: scopes[0].variables[0].array[0]: is not a pair; write [lower, upper], both )"
                             R"(belonging to the array)"}},
                    Finding{"array_with_too_many_elements",
                            {R"(11:73: scopes[0].variables[0].array: an array has at most 1000000 elements; correct )"
                             R"(the bounds)"}},
                    Finding{"array_without_dimension",
                            {R"(11:73: scopes[0].variables[0].array: has 0 dimensions; give 1 to 3 of them, each as )"
                             R"([lower, upper])"}}),
    nameOf);

INSTANTIATE_TEST_SUITE_P(
    Structures, Problems,
    testing::Values(
        Finding{"member_bit",
                {R"(10:34: types.Pump.members[1].type: a structure cannot hold a BIT; use BOOL, or a )"
                 R"(WORD with "bits": true)"}},
        Finding{"member_name_missing", {R"(9:9: types.Pump.members[0]: "name" is missing; name the variable)"}},
        Finding{"member_name_twice",
                {R"(10:9: types.Pump.members[1]: "speed" is declared in line 9 already; change or )"
                 R"(remove one of them)"}},
        Finding{"member_offset_missing",
                {R"(10:9: types.Pump.members[1]: "offset" is missing; give the byte where the variable )"
                 R"(begins)"}},
        Finding{"member_one_byte_too_far",
                {R"(10:52: types.Pump.members[1].offset: the member ends at byte 9, outside the 8 bytes )"
                 R"(of its structure; correct the offset or the "size")"}},
        Finding{"member_type_empty",
                {R"(10:34: types.Pump.members[1].type: is empty; give a type, for example "INT")"}},
        Finding{"member_type_missing",
                {R"(10:9: types.Pump.members[1]: "type" is missing; give a type, for example "INT")"}},
        Finding{"member_type_unknown",
                {R"(10:34: types.Pump.members[1].type: unknown type "Motor"; use a built-in type or )"
                 R"(declare it under "types")"}},
        Finding{"member_with_area",
                {R"(10:55: types.Pump.members[1]: unknown key "area"; allowed are "name", "type", )"
                 R"("offset", "array", "bits", "comment", )"
                 R"("readOnly", "onlyWriter", "unit", "scale", "min", "max", "names")"}},
        Finding{"structure_array_too_long",
                {R"(15:91: scopes[0].variables[0].offset: the variable ends at byte 104, outside the )"
                 R"(100 bytes of area 1; correct the place or the area's "bytes")"}},
        Finding{"structure_declared_twice", {R"(13:5: types: the type "Pump" is declared twice; remove one)"}},
        Finding{"structure_in_itself",
                {R"(6:13: types.Pump: the structure contains itself (Pump > Pump); remove one of these )"
                 R"(members)"}},
        Finding{"structure_key_misspelt",
                {R"(6:13: types.Pump: "size" is missing; give the bytes that one such structure takes)",
                 R"(7:7: types.Pump: unknown key "bytes"; allowed are "size", "members")"}},
        Finding{"structure_larger_than_its_place",
                {R"(10:53: types.Pump.members[1].offset: the member ends at byte 9, outside the 8 bytes )"
                 R"(of its structure; correct the offset or the "size")"}},
        Finding{"structure_members_missing",
                {R"(6:13: types.Pump: "members" is missing; list the members of the structure)"}},
        Finding{"structure_name_misspelt",
                {R"(15:62: scopes[0].variables[0].type: unknown type "Pmup"; did you mean "Pump"?)"}},
        Finding{"structure_name_with_blank",
                {R"(6:5: types: "Big pump" is no name; use letters, digits and underscores, and no )"
                 R"(digit in front)"}},
        Finding{"structure_named_like_a_type", {R"(6:5: types: "WORD" is a built-in type; choose another name)"}},
        Finding{"structure_size_missing",
                {R"(6:13: types.Pump: "size" is missing; give the bytes that one such structure takes)"}},
        Finding{"structure_size_zero", {R"(7:15: types.Pump.size: is 0; write a whole number from 1 to 16777216)"}},
        Finding{"structure_without_members",
                {R"(8:18: types.Pump.members: a structure needs at least one member; add it or remove )"
                 R"(the type)"}},
        Finding{"structures_in_a_circle",
                {R"(6:13: types.Pump: the structure contains itself (Pump > Motor > Pump); remove one )"
                 R"(of these members)"}}),
    nameOf);

INSTANTIATE_TEST_SUITE_P(
    Signals, Problems,
    testing::Values(
        Finding{"echo_in_a_circle",
                {R"(20:7: simulation.signals[0]: echoes form a circle (Main.level < Main.grid[1] < )"
                 R"(Main.counter < Main.level); give one of them another signal)"}},
        Finding{"echo_of_a_string",
                {R"(20:57: simulation.signals[0].source: is a string; signals but "pattern" drive and )"
                 R"(repeat numbers and booleans only)"}},
        Finding{"echo_of_itself",
                {R"(20:7: simulation.signals[0]: echoes form a circle (Main.level < Main.level); give )"
                 R"(one of them another signal)"}},
        Finding{"echo_of_nothing",
                {R"(20:57: simulation.signals[0].source: "Main.pressure": scope "Main" has no variable )"
                 R"("pressure"; list the tags to see what there is)"}},
        Finding{"echo_without_source",
                {R"(20:7: simulation.signals[0]: "source" is missing; name the variable that is echoed)"}},
        Finding{"signal_constant_as_text", {R"(20:60: simulation.signals[0].value: is a string; write a number)"}},
        Finding{"signal_constant_beyond_type",
                {R"(20:61: simulation.signals[0].value: 2 does not fit into BOOL; stay within 0 to 1)"}},
        Finding{"signal_constant_without_value",
                {R"(20:7: simulation.signals[0]: "value" is missing; give the constant)"}},
        Finding{"signal_element_twice",
                {R"(21:7: simulation.signals[1]: this variable has an entry in line 20 already; remove )"
                 R"(one of them)"}},
        Finding{"signal_kind_missing",
                {R"(20:7: simulation.signals[0]: "signal" is missing; name the kind of signal, for )"
                 R"(example "ramp")"}},
        Finding{"signal_kind_misspelt",
                {R"(20:39: simulation.signals[0].signal: unknown kind of signal "ranp"; did you mean )"
                 R"("ramp"?)"}},
        Finding{"signal_kind_unknown",
                {R"(20:39: simulation.signals[0].signal: unknown kind of signal "sawtooth"; use )"
                 R"(constant, counter, ramp, sine, square, random-walk, echo or pattern)"}},
        Finding{"signal_maximum_missing", {R"(20:7: simulation.signals[0]: "max" is missing; give the largest value)"}},
        Finding{"signal_maximum_of_a_float_counter_missing",
                {R"(20:7: simulation.signals[0]: "max" is missing; give the largest value)"}},
        Finding{"signal_period_fractional",
                {R"(20:69: simulation.signals[0].periodMs: is 0.5; write a whole number from 1 to )"
                 R"(86400000)"}},
        Finding{"signal_period_zero",
                {R"(20:69: simulation.signals[0].periodMs: is 0; write a whole number from 1 to 86400000)"}},
        Finding{"signal_range_below_default_minimum",
                {R"(20:54: simulation.signals[0].max: the range goes from 0 down to -2; "min" (0 when )"
                 R"(absent) must not be larger than "max")"}},
        Finding{"signal_range_beyond_type",
                {R"(20:56: simulation.signals[0].min: -1 does not fit into UINT; stay within 0 to 65535)",
                 R"(20:67: simulation.signals[0].max: 65536 does not fit into UINT; stay within 0 to )"
                 R"(65535)"}},
        Finding{"signal_range_upside_down",
                {R"(20:64: simulation.signals[0].max: the range goes from 3 down to 2.5; "min" (0 when )"
                 R"(absent) must not be larger than "max")"}},
        Finding{"signal_step_negative",
                {R"(20:72: simulation.signals[0].step: is -1; write the largest change per period, )"
                 R"(above 0)"}},
        Finding{"signal_step_of_a_ramp",
                {R"(20:57: simulation.signals[0]: unknown key "step"; allowed are "tag", "signal", )"
                 R"("min", "max", "periodMs")"}},
        Finding{"signal_step_zero",
                {R"(20:60: simulation.signals[0].step: a counter with step 0 stands still; use another )"
                 R"(step, or the signal "constant")"}},
        Finding{"signal_tag_missing",
                {R"(20:7: simulation.signals[0]: "tag" is missing; name the variable that the signal )"
                 R"(drives)"}},
        Finding{"signal_tag_of_a_bit",
                {R"(20:15: simulation.signals[0].tag: names a single bit of a variable; name the whole )"
                 R"(variable)"}},
        Finding{"signal_tag_of_a_string",
                {R"(20:15: simulation.signals[0].tag: is a string; signals but "pattern" drive and )"
                 R"(repeat numbers and booleans only)"}},
        Finding{"signal_tag_of_an_array",
                {R"(20:15: simulation.signals[0].tag: "Main.grid": "grid" is the array [1..2]; add an )"
                 R"(index)"}},
        Finding{"signal_tag_twice",
                {R"(21:7: simulation.signals[1]: this variable has an entry in line 20 already; remove )"
                 R"(one of them)"}},
        Finding{"signal_tag_unknown",
                {R"(20:15: simulation.signals[0].tag: "Main.levle": scope "Main" has no variable )"
                 R"("levle"; did you mean "level"?)"}},
        Finding{"simulation_key_misspelt", {R"(19:5: simulation: unknown key "signal"; did you mean "signals"?)"}}),
    nameOf);

INSTANTIATE_TEST_SUITE_P(
    InitialValues, Problems,
    testing::Values(
        Finding{"initial_tag_missing",
                {R"(23:7: simulation.initial[0]: "tag" is missing; name the variable that gets the value)"}},
        Finding{"initial_tag_unknown",
                {R"(23:15: simulation.initial[0].tag: "Mian.counter": there is no scope "Mian"; did you )"
                 R"(mean "Main"?)"}},
        Finding{"initial_value_fractional",
                {R"(23:40: simulation.initial[0].value: "1.5" is no value for UINT; write a whole )"
                 R"(number from 0 to 65535)"}},
        Finding{"initial_value_missing",
                {R"(23:7: simulation.initial[0]: "value" is missing; give the value that the variable )"
                 R"(starts with)"}},
        Finding{"initial_value_negative",
                {R"(23:40: simulation.initial[0].value: "-1" is no value for UINT; write a whole number )"
                 R"(from 0 to 65535)"}},
        Finding{"initial_value_no_number",
                {R"(23:38: simulation.initial[0].value: "full" is no value for REAL; write a number )"
                 R"(from -3.4e38 to 3.4e38)"}},
        Finding{"initial_value_no_truth",
                {R"(23:39: simulation.initial[0].value: "2" is no truth value; write true or false)"}},
        Finding{"initial_value_null",
                {R"(23:40: simulation.initial[0].value: is null; write a number, a boolean or a string)"}},
        Finding{"initial_value_of_a_bit",
                {R"(23:15: simulation.initial[0].tag: names a single bit of a variable; name the whole )"
                 R"(variable)"}},
        Finding{"initial_value_string_too_long",
                {R"(23:38: simulation.initial[0].value: a string holds at most 80 bytes and no zero )"
                 R"(byte; shorten it)"}},
        Finding{"initial_value_string_with_zero",
                {R"(23:38: simulation.initial[0].value: a string holds at most 80 bytes and no zero )"
                 R"(byte; shorten it)"}},
        Finding{"initial_value_too_large",
                {R"(23:40: simulation.initial[0].value: "65536" is no value for UINT; write a whole )"
                 R"(number from 0 to 65535)"}},
        Finding{"initial_value_twice",
                {R"(24:7: simulation.initial[1]: this variable has an entry in line 23 already; remove )"
                 R"(one of them)"}}),
    nameOf);

INSTANTIATE_TEST_SUITE_P(
    Texts, Problems,
    testing::Values(Finding{"byte_order_mark_at_the_problem",
                            {R"(1:1: is an array; write an object with "$schema", "format", "version", )"
                             R"("description", "areas", "types", "scopes", "guard", "simulation")"}},
                    Finding{"byte_order_mark",
                            {R"(11:51: scopes[0].variables[0].area: there is no area 2; add it to "areas" or )"
                             R"(correct this)"}},
                    Finding{"tabs",
                            {R"(11:44: scopes[0].variables[0].area: is a string; write a whole number from 0 to )"
                             R"(65535)"}},
                    Finding{"umlauts_before_the_problem",
                            {R"(11:68: scopes[0].variables[0].type: unknown type "RAEL"; did you mean "REAL"?)"}},
                    Finding{"windows_line_ends",
                            {R"(11:51: scopes[0].variables[0].area: there is no area 2; add it to "areas" or )"
                             R"(correct this)"}}),
    nameOf);

TEST(WholeFiles, ThatHoldNothingAreCalledEmpty) {
    EXPECT_THAT(problemsIn("empty"), ElementsAre(" is empty; give the path of a symbol file"));
    for (const char* text : {"", " \n\t\r\n", "\xEF\xBB\xBF", "\xEF\xBB\xBF\n"}) {
        EXPECT_THAT(problemsOf(text), ElementsAre(" is empty; give the path of a symbol file"));
    }
}

TEST(WholeFiles, InUtf16AreCalledSo) {
    using namespace std::string_literals;
    const char* const expected = " is UTF-16; save it as UTF-8";
    EXPECT_THAT(problemsOf("\xFF\xFE{\0}\0"s), ElementsAre(expected));
    EXPECT_THAT(problemsOf("\xFE\xFF\0{\0}"s), ElementsAre(expected));
    EXPECT_THAT(problemsOf("{\0}\0"s), ElementsAre(expected));
    EXPECT_THAT(problemsOf("\0{\0}"s), ElementsAre(expected));
    EXPECT_THAT(problemsOf("\xFF\xFE"s), ElementsAre(expected));
    EXPECT_THAT(problemsOf("\0"s), ElementsAre(StartsWith("1:1: this is not valid JSON")));
}

TEST(MisspeltKeys, AreToldWithoutWhatFollowsFromThem) {
    EXPECT_THAT(problemsOf(R"({"format": "ac500-symbols", "version": 1, "areas": [{"number": 1, "bytes": 16}],
"tpyes": {"Pump": {"size": 4, "members": [{"name": "speed", "type": "INT", "offset": 0}]}},
"scopes": [{"name": "Main", "variables": [{"name": "pump", "type": "Pump", "area": 1, "offset": 0}]}]})"),
                ElementsAre(R"(2:1: unknown key "tpyes"; did you mean "types"?)"));
}

INSTANTIATE_TEST_SUITE_P(
    Several, Problems,
    testing::Values(Finding{"follow_up_problems_are_not_told",
                            {R"(10:35: scopes[0].variables[1].type: unknown type "RAEL"; did you mean "REAL"?)"}},
                    Finding{"several_problems",
                            {R"(5:47: areas[0].bytes: is a string; write a whole number from 1 to 16777216)",
                             R"(11:35: scopes[0].variables[0].type: unknown type "RAEL"; did you mean "REAL"?)",
                             R"(12:10: scopes[0].variables[1]: unknown key "nam"; did you mean "name"?)",
                             R"(13:63: scopes[0].variables[2].offset: a BIT is placed by "bit", counted from the )"
                             R"(start of its area; replace "offset")",
                             R"(13:74: scopes[0].variables[2].bits: is a string; write true or false)"}}),
    nameOf);

class SyntaxProblem : public testing::TestWithParam<Finding> {};

// Between position and remedy the parser speaks in its own words.
TEST_P(SyntaxProblem, IsReportedAloneWhereTheTextGoesWrong) {
    const std::vector<std::string> problems = problemsIn(GetParam().file);
    ASSERT_THAT(problems, SizeIs(1));
    EXPECT_THAT(problems[0], StartsWith(GetParam().problems[0]));
    EXPECT_THAT(problems[0], EndsWith("; look for a comma, quote or bracket too few or too many, here or just before"));
}

INSTANTIATE_TEST_SUITE_P(Texts, SyntaxProblem,
                         testing::Values(Finding{"syntax_comma_missing", {"4:3: this is not valid JSON: "}},
                                         Finding{"syntax_comma_missing_between_numbers",
                                                 {"1:4: this is not valid JSON: "}},
                                         Finding{"syntax_comma_too_many", {"12:7: this is not valid JSON: "}},
                                         Finding{"syntax_comment", {"1:1: this is not valid JSON: "}},
                                         Finding{"syntax_end_missing", {"15:1: this is not valid JSON: "}},
                                         Finding{"syntax_string_open", {"5:38: this is not valid JSON: "}},
                                         Finding{"syntax_text_behind", {"16:1: this is not valid JSON: "}}),
                         nameOf);

std::string fileOf(const testing::TestParamInfo<std::string>& info) {
    return info.param;
}

class GoodFile : public testing::TestWithParam<std::string> {};

TEST_P(GoodFile, HasNoProblem) {
    EXPECT_THAT(problemsIn(GetParam()), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(Files, GoodFile,
                         testing::Values("array_of_one_element", "array_with_negative_bounds", "bit_at_the_last_place",
                                         "bits_switched_off", "echo_of_an_echo", "odd_whitespace",
                                         "structure_used_before_declared", "valid", "valid_simulation",
                                         "valid_structure", "variable_offset_at_the_last_place"),
                         fileOf);

TEST(ProblemText, NamesFileLineColumnPlaceAndReason) {
    EXPECT_EQ(describe("plant.json", {34, 17, "scopes[0].variables[3].type", "unknown type"}),
              "plant.json:34:17: scopes[0].variables[3].type: unknown type");
}

TEST(ProblemText, LeavesOutThePlaceOfTheWholeDocument) {
    EXPECT_EQ(describe("plant.json", {1, 1, "", "is empty"}), "plant.json:1:1: is empty");
}

TEST(ProblemText, LeavesOutThePositionOfAFileThatCannotBeRead) {
    EXPECT_EQ(describe("plant.json", {0, 0, "", "cannot be read"}), "plant.json: cannot be read");
}

TEST(UnreadableFile, IsOneProblemAtLineZero) {
    const LoadedSymbolFile loaded = loadSymbolFile(test::projectFile("tests/symbol_file/data/no_such_file.json"));
    ASSERT_THAT(loaded.problems, SizeIs(1));
    EXPECT_EQ(describe("f", loaded.problems[0]),
              "f: cannot be read: No such file or directory; check the path and its permissions");
    EXPECT_EQ(loaded.problems[0].line, 0);
}

TEST(UnreadableFile, MayBeAFolder) {
    const LoadedSymbolFile loaded = loadSymbolFile(test::projectFile("tests/symbol_file/data"));
    ASSERT_THAT(loaded.problems, SizeIs(1));
    EXPECT_EQ(describe("f", loaded.problems[0]),
              "f: cannot be read: Is a directory; check the path and its permissions");
}

TEST(UnreadableFile, MayBeADeviceWithoutEnd) {
    const LoadedSymbolFile loaded = loadSymbolFile("/dev/zero");
    ASSERT_THAT(loaded.problems, SizeIs(1));
    EXPECT_EQ(describe("f", loaded.problems[0]),
              "f: is larger than 64 MiB; this is no symbol file, or it has to be split");
}

}  // namespace
}  // namespace ac500::symbol_file
