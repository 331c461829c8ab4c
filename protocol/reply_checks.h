// The steps of DataCom that judge a data reply, store it and say what became of it. All run on the loop thread.
#ifndef AC500_PROTOCOL_REPLY_CHECKS_H
#define AC500_PROTOCOL_REPLY_CHECKS_H

#include <QtCore/QByteArray>

#include "core/export.h"
#include "vars/rw_var.h"

// Whether the reply is complete by its length field: a ReceptionResult (core/codes.h). No lock.
AC500_API int infinite_length_data_reception(QByteArray* reply) AC500_NOEXCEPT;

// Whether a data reply is complete and good (its status word is 0), and which kind of request the head frame is: a
// DataReplyKind (core/codes.h), kBadDataReply also when nothing is queued. `unused` is ignored. No lock.
AC500_API int CheckGetData(const QByteArray* reply, int unused) AC500_NOEXCEPT;

// Checks a data reply and stores the data of a good read; returns a status code. Takes the image lock to store.
AC500_API int DealDataOfLocalArea(QByteArray* reply, int received) AC500_NOEXCEPT;

// Maps a ReplyOutcome (core/codes.h) to a status code; other outcomes give kStatusUnknownOutcome. No lock.
AC500_API int GetDriverReturnValue(int outcome) AC500_NOEXCEPT;

// `base` + 1, plus the hostId of the head frame's variable when that is 1 to 11. No lock.
AC500_API int SwitchErrorReturn(int base) AC500_NOEXCEPT;

// Copies all fields but the data; clears the data of `target` (quirk 11). Any thread: touches its arguments alone.
AC500_API void passRetValue(RW_VAR const& source, RW_VAR& target) AC500_NOEXCEPT;

#endif
