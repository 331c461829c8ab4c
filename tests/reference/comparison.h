// Where the reference meets the driver: the same record in both forms, and the first difference between two of them.
#ifndef AC500_TESTS_REFERENCE_COMPARISON_H
#define AC500_TESTS_REFERENCE_COMPARISON_H

#include <QtCore/QByteArray>
#include <QtCore/QList>
#include <QtCore/QString>

#include <string>
#include <vector>

#include "core/host_interface.h"
#include "core/inner_steps.h"
#include "tests/reference/machine.h"
#include "tests/reference/records.h"

namespace ac500::test {

QString toDriver(const std::string& text);
QByteArray bytesToDriver(const std::string& bytes);
RW_VAR toDriver(const reference::Variable& variable);
Label_Type_Info toDriver(const reference::Symbol& symbol);
QList<Label_Type_Info> toDriver(const std::vector<reference::Symbol>& symbols);
QList<HostTag> toDriver(const std::vector<reference::Tag>& tags);

std::string hexText(const std::string& bytes);
std::string toText(const reference::Variable& variable);
std::string toText(const reference::Symbol& symbol);

// Each throws Difference, saying `what`, unless both are equal.
void compareNumbers(const std::string& what, std::int64_t driver, std::int64_t expected);
void compareTexts(const std::string& what, const QString& driver, const std::string& expected);
void compareBytes(const std::string& what, const QByteArray& driver, const std::string& expected);
void compareVariables(const std::string& what, const RW_VAR& driver, const reference::Variable& expected);
void compareLists(const char* what, const QList<RW_VAR>& driver, const std::vector<reference::Variable>& expected);
void comparePlaces(const ControlInformationM& driver, const reference::Place& expected);
void compareImages(const reference::Image& expected);

// Everything that can be seen of the driver.
void compareAll(const reference::Machine& expected);

// Puts the driver into the state in which it is loaded.
void restartDriver();

}  // namespace ac500::test

#endif
