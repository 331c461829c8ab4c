// The host's interface to the AC500 communication driver: the one header that a host's author includes.
//
// The driver does no network I/O. The host owns the TCP connection and runs one loop, on one thread:
//
//     Protocol* request = ComCommunication();        // what to send next, null: nothing
//     send request->frame, collect one complete reply
//     DataCom(&reply, reply.size());                 // measures the reply (only while replyLength is -1)
//     DataCom(&reply, reply.size());                 // processes it
//
// and calls GetRegisterData and SetRegisterData from any thread, at any time. docs/host-guide.md is the full recipe,
// docs/threads.md the table of threads and locks, docs/status-codes.md the meaning of every code.
//
// Order of calls: SetComInfo, RegistCallBackFuncIntf, FlashLocalRegister, PassVarName_2, ReCreatReadVarList, then the
// loop. The functions that need the settings record (marked "after SetComInfo") do not check for its absence.
//
// Threads: "loop thread" below is the thread that calls ComCommunication and DataCom; "setup" means before the loop
// starts or while it is stopped; "any thread" means at any time, beside everything but setup calls.
// Locks: the driver has three non-recursive locks, list, image and station. No function may be called while the caller
// holds a lock that the function takes; so a callback, which runs under the list lock, calls nothing that takes it.
//
// Pointers are never null unless said otherwise; objects behind them stay the caller's and are not kept, unless said
// otherwise. Nothing throws; running out of memory ends the process. Numbers in frames and in the byte image are
// big-endian, the host's registers are 16-bit little-endian words.
//
// Any C++ from C++98 on will do. The layouts of the records are checked by compilers of C++11 and later.
//
// Functions inside extern "C" are exported under their bare names, the others under their C++ names. The library also
// exports the steps that these functions are made of; a host needs none of them, core/inner_steps.h declares them.
#ifndef AC500_CORE_HOST_INTERFACE_H
#define AC500_CORE_HOST_INTERFACE_H

#include <QtCore/QByteArray>
#include <QtCore/QList>
#include <QtCore/QString>
#include <QtCore/QStringList>

#include "core/codes.h"
#include "core/com_info.h"
#include "core/communication_protocol.h"
#include "core/export.h"
#include "protocol/protocol.h"
#include "symbols/control_information.h"
#include "symbols/label_type_info.h"
#include "vars/host_tag.h"
#include "vars/rw_var.h"

// ---------------------------------------------------------------------------------------------------------------------
// Setup
// ---------------------------------------------------------------------------------------------------------------------

extern "C" {

// Hands over the host's settings record. Clears the words at offsets 40 and 52 of it and keeps the pointer: the record
// stays the host's and must live as long as the driver is used. A second call replaces the pointer; the old record is
// not touched again. Setup; no lock; cannot fail.
AC500_API void SetComInfo(ComInfo* info) AC500_NOEXCEPT;

// Hands over both callbacks. The driver calls them from DataCom, and varDone also from ComCommunication for a write
// that fits into no frame; always on the loop thread, with the list lock held, without a check for null: register both
// before the loop starts. They must return quickly, must not throw and must not call the driver; their results are
// ignored. Setup; no lock; cannot fail.
AC500_API void RegistCallBackFuncIntf(VarDoneCallback varDone, CommFailCallback commFail) AC500_NOEXCEPT;

// Records the host's local register areas in LB, LW and RWI; the driver never looks behind the pointers, null is fine.
// Returns the address of the global LW (not its value). Setup; no lock; cannot fail.
AC500_API void** FlashLocalRegister(void* lb, void* lw, void* rwi) AC500_NOEXCEPT;

// Copies every record of the list into the table of scopes, under its name; the last record of a name wins, names that
// the list lacks stay. A null or empty list changes nothing. The list may be destroyed after the call.
// Setup (the table has no lock: no loop, no resolution, no value access may run); cannot fail.
AC500_API void PassVarName_2(QList<Label_Type_Info>* list) AC500_NOEXCEPT;

// ---------------------------------------------------------------------------------------------------------------------
// Registering variables (after SetComInfo)
// ---------------------------------------------------------------------------------------------------------------------

// Rebuilds the cyclic read list from the host's tags: resolves each, groups by area, sorts by offset and merges
// neighbours into requests of at most 2 x maxRequestWords bytes. Tags that do not resolve, or whose type cannot be
// transferred, are left out silently. Starts the first pass again (firstPassDone 0), except for an empty list.
// Returns the number of requests in the list; 0 for an empty (or null) list, which empties the read list.
// Any thread; takes the list lock for its whole run.
AC500_API int ReCreatReadVarList(QList<HostTag>* tags) AC500_NOEXCEPT;

// Appends a copy of the record, unchanged, to the cyclic read list: area, offset (bytes) and size (bytes) must be
// planned already. Returns the number of entries then in the list. Loop thread or setup; takes no lock.
AC500_API int AddListReadVar(RW_VAR* var) AC500_NOEXCEPT;

// Appends a copy of the record, unchanged, to the pending writes: area, offset (bytes), size (bytes) and data must be
// final. Returns the number of pending writes. Any thread; takes the list lock.
AC500_API int AddListWriteVar(RW_VAR* var) AC500_NOEXCEPT;

// Plans a one-shot read of var->labelName, var->size elements (below 0: none), cuts it into requests and queues those
// that are not queued yet; pieces beyond 1024 queued ones are dropped silently (quirk 12). Completion is reported
// through varDoneCallback under (hostId, hostSubId). Overwrites area, offset, size, dataType, comWord and
// resolveResult of the host's record, partly even when it fails.
// Returns the number of queued one-shot reads; 0 when the name does not resolve or the type cannot be transferred.
// Any thread; takes the list lock while it appends.
AC500_API int AddListOnceReadVar(RW_VAR* var) AC500_NOEXCEPT;

// ---------------------------------------------------------------------------------------------------------------------
// The loop (after SetComInfo and RegistCallBackFuncIntf)
// ---------------------------------------------------------------------------------------------------------------------

// Returns the request to send next, or null when there is nothing to send now (call again later: with writes alone
// pending every sixth answer is null, quirk 6). A frame that was not answered or is to be retried is offered again.
// A pending write whose `size` is too large for any frame (1 GiB) ends here: it is reported with kVariableFailed
// through varDoneCallback, under the list lock, is mirrored nowhere, and this one call returns null.
// The driver owns the record; it is valid until DataCom removes it. Loop thread; takes the list lock when it has to
// choose a new request, and the image lock inside it to mirror a write.
AC500_API Protocol* ComCommunication() AC500_NOEXCEPT;

// Takes a reply, or an empty array for "no reply came", to the frame at the head of the queue; `received` is its size
// in bytes. While the frame's replyLength is -1 the call measures: status 0 means incomplete, keep receiving and call
// again with all bytes so far; status 1 means complete, call again with the same bytes to have them processed. The
// bytes are not trusted: any content is safe.
// Returns the driver's result record, valid until the next call; its status is 0 (incomplete, or bad and to be sent
// again), 1 or 100 (accepted), 201 (handshake rejected) or a failure code (request abandoned, docs/status-codes.md).
// Loop thread; takes the image lock to store data and, after releasing it, the list lock to complete the request;
// calls the callbacks under the list lock.
AC500_API RW_VAR* DataCom(QByteArray* reply, int received) AC500_NOEXCEPT;

// ---------------------------------------------------------------------------------------------------------------------
// Values
// ---------------------------------------------------------------------------------------------------------------------

// Reads the value of a tag out of the byte image into *out (replaced). `count` is in 16-bit words, or in booleans of
// one output byte each for types 1 and 13 and for a bit of a variable. Bytes never received read as 0 and count as
// received from then on. When the tag contains "%%", *label is overwritten with the concrete name.
// Returns 1; 0 when the tag does not resolve (*out is then 2 x count zero bytes).
// Any thread; takes the image lock for the conversion.
AC500_API quint32 GetRegisterData(QString* label, qint32 unused1, QString* labelArg, qint32 unused2, QByteArray* out,
                                  qint32 count) AC500_NOEXCEPT;

// Writes a value, in host format (*in, not modified), to a tag: queued for the PLC when accessMode is 2, else stored in
// the byte image only. `count` as in GetRegisterData; elements that *in does not hold are written as 0. The outcome of
// a queued write is reported through varDoneCallback under (hostId, hostSubId). When the tag contains "%%", *label is
// overwritten with the concrete name.
// Returns the number of pending writes, also when the type cannot be written; 0 when the tag does not resolve.
// Any thread; takes the list lock for each piece that it queues, and the image lock, never both. What is only stored in
// the image waits for no list: when the list lock is held, the number of pending writes is the one at which the driver
// took it. After SetComInfo.
AC500_API quint32 SetRegisterData(QString* label, qint32 unused1, QString* labelArg, qint32 unused2, QByteArray* in,
                                  qint32 count, qint32 hostId, qint32 hostSubId) AC500_NOEXCEPT;

// ---------------------------------------------------------------------------------------------------------------------
// Stations and small services
// ---------------------------------------------------------------------------------------------------------------------

// Switches a station off (enable 0) or on (enable 1); other values of enable change nothing. A negative station
// switches every station on, whatever enable is. The driver keeps the answer for the host and polls on regardless.
// Any thread; take the station lock; cannot fail.
AC500_API void EnableEthernet(int station, int enable) AC500_NOEXCEPT;
AC500_API void EnCommStation(int station, int enable) AC500_NOEXCEPT;

// Changing the PLC's address is not offered: returns -1. Any thread; no lock.
AC500_API int PLCAddressChangeIntef() AC500_NOEXCEPT;

// Returns 1. Any thread; no lock.
AC500_API int QueryFinishFlag() AC500_NOEXCEPT;

}  // extern "C"

// Returns 1 when the station is switched off, else 0. Any thread; takes the station lock.
AC500_API int Ethernetcontains(int station) AC500_NOEXCEPT;

// Remote access is accepted and does nothing: both return their argument, null included. Any thread; no lock.
AC500_API RW_VAR* Remote_ReadVar(RW_VAR* var) AC500_NOEXCEPT;
AC500_API RW_VAR* Remote_WriteVar(RW_VAR* var) AC500_NOEXCEPT;

// A Qt message handler that appends "yyyy.MM.dd.hh:mm:ss.z:message" to /tmp/debug.log. The driver neither installs it
// nor emits messages; failures to open the file are ignored. Any thread; no lock.
AC500_API void customMessageHandler(QtMsgType type, char const* message) AC500_NOEXCEPT;

// ---------------------------------------------------------------------------------------------------------------------
// Name resolution: reads the table of scopes without a lock; any thread, but not beside PassVarName_2.
// All results: 0 success, else a resolution code (docs/status-codes.md).
// ---------------------------------------------------------------------------------------------------------------------

// Resolves a concrete tag name. REQUIRES: all ten words of `info` are 0. On failure `info` keeps what was written
// before the failing step.
AC500_API int get_label_address_info(QString const& tag, ControlInformationM& info) AC500_NOEXCEPT;

// Replaces "%%" in the index lists of `tag` with `argument`, carrying overflow into outer dimensions, and writes the
// concrete name back. On failure `tag` is unchanged. Names without "%%" are not rewritten and may fail.
AC500_API int get_label_address_info(QString& tag, int argument) AC500_NOEXCEPT;

#endif
