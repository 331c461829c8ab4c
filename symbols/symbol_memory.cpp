#include "symbols/symbol_memory.h"

#include "core/communication_protocol.h"
#include "symbols/symbol_lookup.h"

namespace ac500 {

SymbolMemory symbolMemory(PLC_driver.labelTable);

SymbolMemory::Use::Use(SymbolMemory& memory)
    : memory_(memory.inUse_.test_and_set(std::memory_order_acquire) ? nullptr : &memory) {
    if (memory_ != nullptr) {
        memory_->forgetWhatHasChanged();
    }
}

SymbolMemory::Use::~Use() {
    if (memory_ != nullptr) {
        memory_->inUse_.clear(std::memory_order_release);
    }
}

bool SymbolMemory::Use::recall(const HashedTag& tag, ControlInformationM& info) const {
    return memory_ != nullptr && memory_->names_.recall(tag, info);
}

void SymbolMemory::Use::remember(const HashedTag& tag, const ControlInformationM& info) {
    if (memory_ != nullptr) {
        memory_->names_.remember(tag, info);
    }
}

const Label_Type_Info* SymbolMemory::Use::findMember(const Label_Type_Info& record, const QString& name) {
    return memory_ != nullptr ? memory_->members_.find(record, name) : ac500::findMember(record, name);
}

void SymbolMemory::Use::forget() {
    if (memory_ != nullptr) {
        memory_->forget();
    }
}

void SymbolMemory::forgetWhatHasChanged() {
    if (learntFrom_.isSharedWith(table_)) {
        return;
    }
    forget();
    learntFrom_ = table_;
}

void SymbolMemory::forget() {
    names_.clear();
    members_.clear();
    learntFrom_ = LabelTable();
}

}  // namespace ac500
