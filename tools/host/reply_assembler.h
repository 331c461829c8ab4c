// ReplyAssembler collects the bytes that arrive after a request until they make up one reply. A reply begins with the
// envelope: two magic bytes, then a 32-bit big-endian length of which the low 16 bits count (quirk 2): a reply is
// complete with 6 + that many bytes.
#ifndef AC500_TOOLS_HOST_REPLY_ASSEMBLER_H
#define AC500_TOOLS_HOST_REPLY_ASSEMBLER_H

#include <QtCore/QByteArray>

namespace ac500::host {

class ReplyAssembler {
public:
    void clear() { bytes_.clear(); }
    void append(const QByteArray& bytes) { bytes_.append(bytes); }

    int received() const { return bytes_.size(); }
    // Bytes that the envelope announces for the whole reply; -1 until the length field is there.
    int announced() const;
    bool isComplete() const { return announced() >= 0 && received() >= announced(); }
    // False once the first bytes cannot be the beginning of a reply.
    bool mayBeReply() const;
    // Bytes beyond the complete reply: nobody asked for them. 0 while incomplete.
    int surplus() const { return isComplete() ? received() - announced() : 0; }

    // All bytes, or with a complete reply its bytes without the surplus.
    QByteArray reply() const { return isComplete() ? bytes_.left(announced()) : bytes_; }
    // Takes the reply out and keeps the surplus as the beginning of the next one. REQUIRES: isComplete()
    QByteArray takeReply();

private:
    QByteArray bytes_;
};

}  // namespace ac500::host

#endif
