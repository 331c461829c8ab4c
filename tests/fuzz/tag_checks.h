// What resolving, rewriting, reading and registering one tag must answer, whatever the records and the text hold.
#ifndef AC500_TESTS_FUZZ_TAG_CHECKS_H
#define AC500_TESTS_FUZZ_TAG_CHECKS_H

#include <QtCore/QString>

#include "tests/fuzz/fuzzed_driver.h"

namespace ac500::fuzz {

// Resolves the tag twice and checks code and result; returns the code.
int checkResolution(const QString& tag, ControlInformationM& info);

// Makes the tag concrete twice and checks both; returns the code, and the concrete name in `tag` when that is 0.
int checkRewriting(QString& tag, int argument);

// Reads the tag's value and checks the output's size against the table of types. Returns the output.
QByteArray checkReading(const QString& tag, const QString& argument, int count);

// Resolution, rewriting, reading, writing `in`, one-shot and cyclic registration.
void checkTag(FuzzedDriver& driver, const QString& tag, const QString& argument, int count, const std::string& in);

}  // namespace ac500::fuzz

#endif
