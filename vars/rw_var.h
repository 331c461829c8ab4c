// RW_VAR is the one record in which a PLC variable travels: the host registers it, planning turns it into a run of
// bytes of one PLC memory area, the services encode it, and DataCom returns it with a status code.
//
// A plain value: copies share the texts and the bytes (implicit sharing) until one side changes them. Not
// thread-safe; the lists that hold RW_VARs are guarded by the list lock. The layout is a contract with the host.
#ifndef AC500_VARS_RW_VAR_H
#define AC500_VARS_RW_VAR_H

#include <cstddef>

#include <QtCore/QByteArray>
#include <QtCore/QString>

struct RW_VAR {
    qint32 hostId;         // host: first identity word, returned by varDoneCallback; 1 to 11 selects a status code
    qint32 hostSubId;      // host: second identity word, returned by varDoneCallback; -1 in cyclic reads
    qint32 writeFlag;      // host or driver: 0 read, anything else write
    qint32 aux3;           // carried unchanged
    qint32 aux4;           // carried unchanged; part of the duplicate test of one-shot reads
    qint32 status;         // driver: status code, in the record that DataCom returns; else carried
    QString labelName;     // host: tag name; "%%" in it is replaced with labelArg
    QString labelArg;      // host: decimal text for "%%"; empty or unreadable means 0
    qint32 dataType;       // driver: type code 1 to 21; a planned bit variable (13) carries 16
    qint32 offset;         // driver: first byte within the area; a bit address in a write of type 13
    qint32 comWord;        // driver: ComInfo::comWord at planning time
    qint32 size;           // host: elements wanted; after planning and in writes: bytes to transfer
    qint32 resolveResult;  // driver: result of name resolution, 0 success
    qint32 area;           // driver: PLC memory area; its low 16 bits travel on the wire
    QByteArray data;       // bytes in PLC order (big-endian); a write sends the first `size`, zeros where it is short
};

#if __cplusplus >= 201103L
#if __SIZEOF_POINTER__ == 4
static_assert(offsetof(RW_VAR, hostId) == 0, "RW_VAR::hostId");
static_assert(offsetof(RW_VAR, hostSubId) == 4, "RW_VAR::hostSubId");
static_assert(offsetof(RW_VAR, writeFlag) == 8, "RW_VAR::writeFlag");
static_assert(offsetof(RW_VAR, aux3) == 12, "RW_VAR::aux3");
static_assert(offsetof(RW_VAR, aux4) == 16, "RW_VAR::aux4");
static_assert(offsetof(RW_VAR, status) == 20, "RW_VAR::status");
static_assert(offsetof(RW_VAR, labelName) == 24, "RW_VAR::labelName");
static_assert(offsetof(RW_VAR, labelArg) == 28, "RW_VAR::labelArg");
static_assert(offsetof(RW_VAR, dataType) == 32, "RW_VAR::dataType");
static_assert(offsetof(RW_VAR, offset) == 36, "RW_VAR::offset");
static_assert(offsetof(RW_VAR, comWord) == 40, "RW_VAR::comWord");
static_assert(offsetof(RW_VAR, size) == 44, "RW_VAR::size");
static_assert(offsetof(RW_VAR, resolveResult) == 48, "RW_VAR::resolveResult");
static_assert(offsetof(RW_VAR, area) == 52, "RW_VAR::area");
static_assert(offsetof(RW_VAR, data) == 56, "RW_VAR::data");
static_assert(sizeof(RW_VAR) == 60, "RW_VAR is 60 bytes on 32-bit targets");
#else
static_assert(sizeof(RW_VAR) == 72, "RW_VAR is 72 bytes on 64-bit targets");
#endif
#endif

#endif
