// Loading the host's symbol records into the table of scopes.
#include "core/host_interface.h"

void PassVarName_2(QList<Label_Type_Info>* list) noexcept {
    if (list == nullptr)
        return;
    for (int i = 0; i < list->size(); ++i)
        PLC_driver.labelTable.insert(list->at(i).name, list->at(i));
}
