// Loading the host's symbol records into the table of scopes.
#include "core/host_interface.h"
#include "symbols/symbol_memory.h"

void PassVarName_2(QList<Label_Type_Info>* list) noexcept {
    if (list == nullptr) {
        return;
    }
    ac500::SymbolMemory::Use memory(ac500::symbolMemory);
    memory.forget();  // or the table would have to leave its data to the memory
    for (int i = 0; i < list->size(); ++i) {
        PLC_driver.labelTable.insert(list->at(i).name, list->at(i));
    }
}
