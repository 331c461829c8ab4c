// The codes that cross to the host in the status word of DataCom's result, and the inner outcomes they are made from.
// docs/status-codes.md tells an engineer what each means and what to do.
#ifndef AC500_CORE_RETURN_CODES_H
#define AC500_CORE_RETURN_CODES_H

namespace ac500 {

// Status words.
enum Status {
    kStatusPending = 0,          // incomplete, or bad and to be sent again
    kStatusAccepted = 1,         // accepted, or measured
    kStatusEmptyReply = 41,      // no reply while the frame was unmeasured, retries exhausted
    kStatusLengthMismatch = 71,  // reply and length field disagree, retries exhausted
    kStatusAcceptedOther = 100,  // treated like kStatusAccepted
    kStatusUnknownOutcome = 200,
    kStatusHandshakeRejected = 201
};

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

inline bool isAccepted(int status) {
    return status == kStatusAccepted || status == kStatusAcceptedOther;
}

}  // namespace ac500

#endif
