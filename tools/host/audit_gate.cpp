#include "tools/host/audit_gate.h"

#include <fmt/format.h>
#include <pwd.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <system_error>
#include <utility>

#include "tools/console/time_text.h"
#include "tools/host/order_book.h"
#include "tools/host/plant_values.h"

namespace ac500::host {

namespace {

// Unique on the machine for as long as process numbers do not come round within a microsecond.
std::string newId(std::uint64_t line) {
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    return fmt::format("{:x}-{}-{}", std::chrono::duration_cast<std::chrono::microseconds>(now).count(), ::getpid(),
                       line);
}

// Is it a file with something else in it? A first line may be torn.
bool isForeign(const std::string& fileName) {
    std::error_code ignored;
    if (!std::filesystem::is_regular_file(fileName, ignored)) {
        return false;
    }
    constexpr std::size_t kEnough = 65536;
    std::string first(kEnough, '\0');
    std::ifstream file(fileName, std::ios::binary);
    file.read(&first[0], static_cast<std::streamsize>(first.size()));
    first.resize(static_cast<std::size_t>(file.gcount()));
    return !audit::mayBeginAudit(first.substr(0, first.find('\n')));
}

}  // namespace

std::string auditTypeOf(const Tag& tag) {
    return (tag.form.isBit ? "bit of " : "") + symbol_file::typeName(tag.form.code, tag.form.stringCharacters);
}

AuditGate::Origin AuditGate::originOfProcess(const std::string& plc) {
    std::array<char, 256> name{};
    ::gethostname(name.data(), name.size() - 1);
    const struct passwd* user = ::getpwuid(::getuid());
    return {user != nullptr ? user->pw_name : fmt::format("{}", ::getuid()), name.data(), plc};
}

AuditGate::AuditGate(std::unique_ptr<audit::AuditFile> file, Origin origin)
    : file_(std::move(file)), origin_(std::move(origin)) {}

std::shared_ptr<AuditGate> AuditGate::open(const std::string& fileName, const std::string& plc, Failure* failure) {
    if (isForeign(fileName)) {
        *failure = {FailureKind::Usage, fileName +
                                            " is no audit file: its first line is no line of an audit; nothing "
                                            "was added to it; name another file"};
        return nullptr;
    }
    auto file = std::make_unique<audit::AuditFile>(fileName);
    const std::string error = file->open();
    if (!error.empty()) {
        *failure = {FailureKind::Output, "the audit cannot be kept, and without it nothing is written: " + error};
        return nullptr;
    }
    return std::make_shared<AuditGate>(std::move(file), originOfProcess(plc));
}

Failure AuditGate::beforeWrite(const Order& write) {
    const audit::Intent intent = intentOf(write);
    const std::string error = file_->append(audit::textOf(intent));
    if (!error.empty()) {
        return {FailureKind::Output, "the audit cannot be kept, and without it nothing is written: " + error};
    }
    ids_[write.serial] = intent.id;
    return {};
}

void AuditGate::afterWrite(const Order& write) {
    const std::string id = ids_.extract(write.serial).mapped();
    const std::string error = file_->append(
        audit::textOf(audit::Ending{id, console::utcText(), writeOutcomeName(write.outcome), write.failure.text}));
    if (!error.empty()) {
        const std::lock_guard<std::mutex> lock(mutex_);
        problems_.push_back(fmt::format("{}: {}, but that is not in the audit, which will say unknown: {}",
                                        write.tag.text, writeOutcomeName(write.outcome), error));
    }
}

std::vector<std::string> AuditGate::problems() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return problems_;
}

audit::Intent AuditGate::intentOf(const Order& write) {
    audit::Intent intent;
    intent.id = newId(++lastLine_);
    intent.time = console::utcText();
    intent.user = write.terms.who.empty() ? origin_.user : write.terms.who;
    intent.host = origin_.host;
    intent.plc = origin_.plc;
    intent.tag = write.tag.text;
    intent.type = auditTypeOf(write.tag);
    intent.area = write.tag.area;
    intent.address = write.tag.address;
    intent.before = formatValues(write.tag.form, write.before);
    intent.after = formatValues(write.tag.form, write.values);
    const std::string shownBefore = formatPlantValues(write.tag, write.before);
    const std::string shownAfter = formatPlantValues(write.tag, write.values);
    if (shownBefore != intent.before || shownAfter != intent.after) {
        intent.shownBefore = shownBefore;
        intent.shownAfter = shownAfter;
    }
    intent.number = write.terms.number;
    intent.undoes = write.terms.undoes;
    return intent;
}

}  // namespace ac500::host
