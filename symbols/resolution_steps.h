// The steps of name resolution that keep exported names. get_label_address_info, which is made of them, is declared in
// core/host_interface.h. Any thread, but not beside PassVarName_2; no lock. Results are resolution codes (core/codes.h).
#ifndef AC500_SYMBOLS_RESOLUTION_STEPS_H
#define AC500_SYMBOLS_RESOLUTION_STEPS_H

#include <QtCore/QList>
#include <QtCore/QString>
#include <QtCore/QStringList>

#include "core/export.h"
#include "symbols/control_information.h"
#include "symbols/label_type_info.h"

// Component `index` of `parts` against one record: 1 resolves it, 2 finds the bit that it names, 3 rewrites it.
AC500_API int get_label_address_1(Label_Type_Info const& record, QStringList const& parts, int index,
                                  ControlInformationM& info) AC500_NOEXCEPT;
AC500_API void get_label_address_2(Label_Type_Info const& record, QStringList const& parts, int index,
                                   ControlInformationM& info) AC500_NOEXCEPT;
AC500_API int get_label_address_3(Label_Type_Info const& record, QStringList& parts, int index,
                                  int argument) AC500_NOEXCEPT;

// Turns an index list such as "2,3" into the linear, row-major element index; *end is that index plus the extent of
// the innermost dimension. Returns 0, 1 (count of indices and dimensions differ) or 3 (an index is no number in the
// array's base or below its lower bound, or the bounds are incomplete); on failure neither result is written.
AC500_API int get_label_address_array_memory_index(QString indexList, int dimensions, QList<int> const& bounds,
                                                   unsigned int& index, unsigned int* end) AC500_NOEXCEPT;

// Kept for the interface: always 0.
AC500_API int get_label_address_query(QStringList const& parts, int index) AC500_NOEXCEPT;

#endif
