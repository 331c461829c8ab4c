// The numbers that host and driver exchange, each with its name: status and resolution codes, type codes and flags of
// symbol records, settings, outcomes of callbacks, results of the steps that check replies. Values are a contract and
// never change. docs/status-codes.md tells an engineer what each code means and what to do about it.
//
// Plain constants for any compiler since C++98; the fields and functions that carry them keep their integer types.
#ifndef AC500_CORE_CODES_H
#define AC500_CORE_CODES_H

namespace ac500 {

// ---------------------------------------------------------------------------------------------------------------------
// The status word of the record that DataCom returns
// ---------------------------------------------------------------------------------------------------------------------

enum StatusCode {
    kStatusPending = 0,          // incomplete, or bad and to be sent again
    kStatusAccepted = 1,         // accepted, or measured
    kStatusEmptyReply = 41,      // no reply while the frame was unmeasured, retries exhausted
    kStatusLengthMismatch = 71,  // reply and length field disagree, retries exhausted
    kStatusAcceptedOther = 100,  // treated like kStatusAccepted, never produced
    kStatusUnknownOutcome = 200,
    kStatusHandshakeRejected = 201
};

// Failure families: a code is its family's base + 1, plus the hostId of the variable when that is 1 to
// kLargestHostIdInCode.
enum StatusFamily {
    kRefusedBase = 10,  // 11 to 22: the PLC refused the request
    kEmptyBase = 40,    // 41 to 52: no reply came
    kLengthBase = 70,   // 71 to 82: not the length that was measured
    kReserved5Base = 110,
    kReserved6Base = 140,
    kReserved7Base = 170
};

enum StatusOffset { kLargestHostIdInCode = 11 };

inline bool isAccepted(int status) {
    return status == kStatusAccepted || status == kStatusAcceptedOther;
}

// Protocol::replyLength of a frame whose reply was not measured yet.
enum ReplyLength { kNotMeasured = -1 };

// ---------------------------------------------------------------------------------------------------------------------
// Results of name resolution
// ---------------------------------------------------------------------------------------------------------------------

enum ResolutionCode {
    kResolved = 0,
    kNotFound = 1,  // name incomplete, variable unknown, wrong number of indices, index on a non-array
    kUnknownScope = 2,
    kBadIndex = 3,  // an index is no number or below the lower bound, or the bounds are incomplete
    kEmptyTag = 6,
    kUnknownMember = 7,
    kNoElementType = 10,  // scope or variable of type 12, in index rewriting also one with bits, without element type
    kTooFewComponents = 11,
    kNoArea = 12
};

// ---------------------------------------------------------------------------------------------------------------------
// Types of variables
// ---------------------------------------------------------------------------------------------------------------------

// Label_Type_Info::type: a type code, and flags above it, or-ed. One enumeration for both, because C++20 wants no
// arithmetic across two.
enum TypeWord {
    // The type code is the low byte; also ControlInformationM::dataType and RW_VAR::dataType. Any other code is a type
    // that is not served.
    kBoolType = 1,  // one byte, any nonzero value is true
    kSintType = 2,
    kIntType = 3,
    kUintType = 4,
    kDintType = 5,
    kUdintType = 6,
    kRealType = 7,
    kLintType = 8,
    kLrealType = 9,
    kStringType = 10,
    kCstringType = 11,
    kStructureType = 12,
    kBitAddressedType = 13,  // one bit of a 16-bit word; offsets and addresses count bits
    kUsintType = 14,
    kByteType = 15,
    kWordType = 16,
    kDwordType = 17,
    kLwordType = 18,
    kUlintType = 21,

    kTypeCodeMask = 0xFF,
    kArrayFlag = 0x100,
    kStructureFlag = 0x200,
    kBitsFlag = 0x400  // single bits of the variable may be named
};

// ---------------------------------------------------------------------------------------------------------------------
// Settings and callbacks
// ---------------------------------------------------------------------------------------------------------------------

// ComInfo::accessMode. Any value but kAccessPlc keeps written values in the byte image.
enum AccessMode { kAccessImage = 0, kAccessPlc = 2 };

// The last argument of varDoneCallback.
enum VariableOutcome { kVariableDone = 1, kVariableFailed = 2 };

// The last argument of commFailCallback.
enum CommunicationOutcome { kCommunicationFailed = 1 };

// ---------------------------------------------------------------------------------------------------------------------
// Results of the inner steps (core/inner_steps.h)
// ---------------------------------------------------------------------------------------------------------------------

// handshake_data_check.
enum HandshakeResult {
    kHandshakeAccepted = 0,
    kHandshakeNotExpected = 1,
    kHandshakeTooShort = 8,  // not even an envelope
    kOpenReplyTooSmall = 9,
    kSymbolFileReplyTooSmall = 13
};

// infinite_length_data_reception.
enum ReceptionResult { kReceptionComplete = 0, kReceptionIncomplete = 8 };

// CheckGetData.
enum DataReplyKind { kBadDataReply = 0, kGoodReadReply = 1, kGoodWriteReply = 2 };

// Outcomes of checking a data reply, the argument of GetDriverReturnValue. 4 to 7 are never produced by this driver.
enum ReplyOutcome {
    kReplyGood = 0,
    kReplyRefused = 1,        // the PLC's status word is not 0, or the reply is no data reply
    kReplyEmpty = 2,          // nothing received for a frame that expects data
    kReplyLengthDiffers = 3,  // not the length that was measured
    kReplyOutcome4 = 4,
    kReplyOutcome5 = 5,
    kReplyOutcome6 = 6,
    kReplyOutcome7 = 7
};

}  // namespace ac500

#endif
