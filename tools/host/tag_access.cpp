#include "tools/host/tag_access.h"

#include <fmt/format.h>

#include <algorithm>

#include "core/codes.h"
#include "tools/explain/code_table.h"
#include "tools/host/driver_reports.h"

namespace ac500::host {

namespace {

// An argument that the driver does not look at.
constexpr int kUnused = 0;

// The host's tag records carry an argument for names with "%%"; this host uses concrete names only.
QString noArgument() {
    return QString();
}

// The record of a run of bytes that is planned already.
RW_VAR plannedVar(const Tag& tag, VariableId id, std::int64_t address, int size) {
    RW_VAR var{};
    var.hostId = id.hostId;
    var.hostSubId = id.hostSubId;
    var.labelName = QString::fromStdString(tag.text);
    var.dataType = static_cast<qint32>(driverCode(tag.form.code));
    var.offset = static_cast<qint32>(address);
    var.size = size;
    var.area = tag.area;
    return var;
}

}  // namespace

bool TagAccess::isKnown(const Tag& tag, std::string* error) const {
    ControlInformationM info{};
    const auto [name, bytesBefore] = tag.nearName(0);
    const int code = driver_.resolveTag(QString::fromStdString(name), info);
    if (code != kResolved) {
        *error = fmt::format("{}: the driver does not resolve {} (code {}: {})", tag.text, name, code,
                             explain::briefOf(explain::Group::Resolution, code));
        return false;
    }
    const std::int64_t address = std::int64_t{info.address} + bytesBefore;
    if (info.area != tag.area || address != tag.address) {
        *error = fmt::format("{}: the symbol file has it in area {} at {}, the driver in area {} at {}", tag.text,
                             tag.area, tag.address, info.area, address);
        return false;
    }
    return true;
}

// Strings are read one by one, everything else with one call: reading counts elements of a row properly.
HostValues TagAccess::imageValues(const Tag& tag) const {
    HostValues values;
    const int perCall = isString(tag.form) ? 1 : tag.elements;
    for (int done = 0; done < tag.elements; done += perCall) {
        const Tag::NearName near = tag.nearName(done);
        QString name = QString::fromStdString(near.name);
        QString argument = noArgument();
        QByteArray bytes;
        const int wordsBefore = (near.bytesBefore + 1) / 2;  // of strings; their words are limited by nothing here
        driver_.getValue(&name, kUnused, &argument, kUnused, &bytes, wordsBefore + perCall * countPerElement(tag.form));
        const HostValues decoded = decodeRead(tag.form, bytes.mid(near.bytesBefore), perCall);
        values.insert(values.end(), decoded.begin(), decoded.end());
    }
    return values;
}

// ---------------------------------------------------------------------------------------------------------------------
// Reads
// ---------------------------------------------------------------------------------------------------------------------

int TagAccess::rebuildCyclicList(const std::vector<Tag>& tags) {
    QList<HostTag> byName;
    for (const Tag& tag : tags) {
        if (tag.isStringInArray()) {
            continue;
        }
        for (const RunChunk& chunk : tag.readPlan()) {
            const QString name = QString::fromStdString(tag.elementName(chunk.firstElement));
            byName.append({kUnused, kUnused, noArgument(), name, chunk.count});
        }
    }
    int requests = driver_.rebuildReadList(&byName);
    readByAddress_.clear();
    for (const Tag& tag : tags) {
        if (tag.isStringInArray()) {
            requests = appendByAddress(tag);
        }
    }
    return requests;
}

std::optional<int> TagAccess::addToCyclicList(const Tag& tag) {
    const bool isRead = std::find(readByAddress_.begin(), readByAddress_.end(), tag.text) != readByAddress_.end();
    return isRead ? std::nullopt : std::optional<int>(appendByAddress(tag));
}

int TagAccess::appendByAddress(const Tag& tag) {
    readByAddress_.push_back(tag.text);
    int requests = 0;
    for (const ByteRun& run : tag.byteRuns()) {
        for (int done = 0; done < run.size; done += maxRequestBytes_) {
            const int size = std::min(static_cast<int>(run.size) - done, maxRequestBytes_);
            RW_VAR var = plannedVar(tag, kCyclicReadId, run.address + done, size);
            requests = driver_.addCyclicRead(&var);
        }
    }
    return requests;
}

bool TagAccess::readOnce(const Tag& tag, std::int32_t serial) {
    for (const RunChunk& chunk : tag.readPlan()) {
        RW_VAR var{};
        var.hostId = kOnceReadHostId;
        var.hostSubId = serial;
        var.labelName = QString::fromStdString(tag.elementName(chunk.firstElement));
        var.size = chunk.count;
        if (driver_.addOnceRead(&var) == 0) {
            return false;
        }
    }
    return true;
}

// ---------------------------------------------------------------------------------------------------------------------
// Writes
// ---------------------------------------------------------------------------------------------------------------------

bool TagAccess::write(const Tag& tag, const HostValues& values, std::int32_t serial) {
    if (tag.isStringInArray()) {
        writeByAddress(tag, values, serial);
        return true;
    }
    return writeByName(tag, values, serial);
}

bool TagAccess::writeByName(const Tag& tag, const HostValues& values, std::int32_t serial) {
    bool isTaken = true;
    for (const RunChunk& chunk : tag.writePlan()) {
        const auto first = values.begin() + chunk.firstElement;
        QByteArray bytes = encodeForWrite(tag.form, {first, first + chunk.elements});
        QString name = QString::fromStdString(tag.elementName(chunk.firstElement));
        QString argument = noArgument();
        const int count = isString(tag.form) ? countForWrite(tag.form, bytes) : chunk.count;
        isTaken =
            driver_.setValue(&name, kUnused, &argument, kUnused, &bytes, count, kWriteHostId, serial) != 0 && isTaken;
    }
    return isTaken;
}

void TagAccess::writeByAddress(const Tag& tag, const HostValues& values, std::int32_t serial) {
    const std::vector<ByteRun> runs = tag.byteRuns();
    for (std::size_t i = 0; i < runs.size(); ++i) {
        const QByteArray bytes = encodeForWrite(tag.form, {values[i]});
        for (int done = 0; done < bytes.size(); done += maxRequestBytes_) {
            const int size = std::min(bytes.size() - done, maxRequestBytes_);
            RW_VAR var = plannedVar(tag, {kWriteHostId, serial}, runs[i].address + done, size);
            var.writeFlag = 1;
            var.data = bytes.mid(done, size);
            driver_.addWrite(&var);
        }
    }
}

}  // namespace ac500::host
