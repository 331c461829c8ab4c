// The read service (0x2E) and the write service (0x3C): the batch in flight as one request, encoded and queued. Loop
// thread. REQUIRES of all: the list lock is held.
#ifndef AC500_SERVICES_READ_WRITE_H
#define AC500_SERVICES_READ_WRITE_H

#include "core/export.h"
#include "vars/rw_var.h"

// Encode batch[0 .. batchCount-1] as one request and queue it; `var` is copied into the queued record. Data shorter
// than an item's size is filled up with zeros. Nothing is queued when a write would not fit into a byte array (1 GiB).
AC500_API void ReadAnalog(RW_VAR* var) AC500_NOEXCEPT;
AC500_API void WriteAnalog(RW_VAR* var) AC500_NOEXCEPT;

// As ReadAnalog and WriteAnalog. WriteRegister also mirrors `var` into the byte image (image lock) unless nothing was
// queued or communication has failed.
AC500_API void ReadRegister(RW_VAR* var) AC500_NOEXCEPT;
AC500_API void WriteRegister(RW_VAR* var) AC500_NOEXCEPT;

#endif
