// The handshake that opens a connection: two fixed requests, and what their replies must be. docs/wire-format.md shows
// all four frames.
#ifndef AC500_PROTOCOL_HANDSHAKE_H
#define AC500_PROTOCOL_HANDSHAKE_H

#include <QtCore/QByteArray>

#include "core/export.h"
#include "vars/rw_var.h"

// Queues the two handshake frames on behalf of `var` and sets frameTotal 2, frameDone 0. Loop thread; no lock.
AC500_API void handshake_data(RW_VAR* var) AC500_NOEXCEPT;

// Judges a handshake reply by its size: a HandshakeResult (core/codes.h). An accepted second reply sets the session
// bytes. Loop thread; no lock.
AC500_API int handshake_data_check(QByteArray* reply) AC500_NOEXCEPT;

#endif
