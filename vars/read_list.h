// The steps of planning cyclic reads that keep exported names. ReCreatReadVarList, which plans them for a host, is declared
// in core/host_interface.h.
#ifndef AC500_VARS_READ_LIST_H
#define AC500_VARS_READ_LIST_H

#include <QtCore/QList>

#include "core/export.h"
#include "vars/rw_var.h"

// Sorts by offset, ascending; equal offsets keep their order. Any thread: touches only the given list.
AC500_API void Bubble_Sort(QList<RW_VAR>* list) AC500_NOEXCEPT;

// Merges one area's sorted list into requests of at most maxBytes and appends them to the cyclic read list; nothing for
// maxBytes of 0 or less. A variable of `list` that opened a run is left with the offset behind the run's last piece and
// with the size of that piece, unless maxBytes is 1; variables that were merged or that have no bytes stay as they are.
// Loop thread. REQUIRES: the list lock is held.
AC500_API void BitVarReCreat(QList<RW_VAR>* list, int maxBytes) AC500_NOEXCEPT;

// Cuts one variable of `total` bytes into requests of at most maxBytes and appends them to `list`; `var` is left with
// the values of the last piece. Nothing when maxBytes is 0 or less and total is larger. Any thread: touches only its
// arguments.
AC500_API void WhetherGroup(int total, int maxBytes, RW_VAR* var, QList<RW_VAR>* list) AC500_NOEXCEPT;

#endif
