#include "tools/replay/capture_file.h"

#include <algorithm>
#include <cstddef>
#include <utility>

#include "tools/wire/big_endian.h"

namespace ac500::replay {

namespace {

using wire::bigEndian;

constexpr std::size_t kAddressBytesV4 = 4;
constexpr std::size_t kAddressBytesV6 = 16;

// What one packet on an Ethernet carries of a stream.
constexpr std::size_t kSegmentBytes = 1440;
// A receiver acknowledges no later than after so many bytes: far from the window, which is never full.
constexpr std::uint32_t kAcknowledgeAfter = 2 * kSegmentBytes;
constexpr unsigned kWindow = 0xFFFF;

// Ports for connections that begin here (dynamic ports of RFC 6335), one after the other.
constexpr int kFirstPort = 49152;
constexpr int kPorts = 16384;

// Two stations of one's own making (bit 1 of the first byte: locally administered).
constexpr std::string_view kHostStation("\x02\x00\x00\x00\x00\x01", 6);
constexpr std::string_view kPlcStation("\x02\x00\x00\x00\x00\x02", 6);
constexpr unsigned kEtherTypeV4 = 0x0800;
constexpr unsigned kEtherTypeV6 = 0x86DD;

constexpr unsigned kTcp = 6;
constexpr unsigned kTimeToLive = 64;
constexpr unsigned kTcpHeadBytes = 20;
constexpr unsigned kSynHeadBytes = kTcpHeadBytes + 4;  // with the largest segment as option
constexpr unsigned kFin = 0x01;
constexpr unsigned kSyn = 0x02;
constexpr unsigned kReset = 0x04;
constexpr unsigned kPush = 0x08;
constexpr unsigned kAck = 0x10;

// Blocks of pcapng, which is written least significant byte first here: a reader tells it from the magic.
constexpr std::uint32_t kSectionBlock = 0x0A0D0D0A;
constexpr std::uint32_t kInterfaceBlock = 1;
constexpr std::uint32_t kPacketBlock = 6;
constexpr std::uint32_t kByteOrderMagic = 0x1A2B3C4D;
constexpr std::uint16_t kEthernet = 1;  // LINKTYPE_ETHERNET
constexpr std::uint16_t kEndOfOptions = 0;
constexpr std::uint16_t kComment = 1;
constexpr std::uint16_t kUserApplication = 4;
constexpr std::uint16_t kInterfaceName = 2;
constexpr std::uint16_t kTimeResolution = 9;
constexpr char kMicroseconds = 6;  // ten to the minus sixth
constexpr std::size_t kLongestOption = 4000;

std::string littleEndian(std::uint64_t value, std::size_t width) {
    std::string bytes = bigEndian(value, width);
    std::reverse(bytes.begin(), bytes.end());
    return bytes;
}

std::string padded(std::string_view bytes) {
    std::string result(bytes);
    result.append((4 - bytes.size() % 4) % 4, '\0');
    return result;
}

std::string option(std::uint16_t code, std::string_view value) {
    const std::string_view kept = value.substr(0, kLongestOption);
    return littleEndian(code, 2) + littleEndian(kept.size(), 2) + padded(kept);
}

// A block without its packet says how long it is at both ends.
std::string blockOf(std::uint32_t type, const std::string& body) {
    const std::string length = littleEndian(body.size() + 12, 4);
    return littleEndian(type, 4) + length + body + length;
}

// The sum of RFC 1071: of 16-bit words in ones' complement.
std::uint16_t checksum(std::string_view bytes) {
    std::uint64_t sum = 0;
    for (std::size_t i = 0; i < bytes.size(); i += 2) {
        const unsigned low = i + 1 < bytes.size() ? wire::byteAt(bytes.data(), i + 1) : 0;
        sum += static_cast<unsigned>(wire::byteAt(bytes.data(), i)) << 8 | low;
    }
    while (sum > 0xFFFF) {
        sum = (sum & 0xFFFF) + (sum >> 16);
    }
    return static_cast<std::uint16_t>(~sum & 0xFFFF);
}

bool isV6(const CaptureAddress& address) {
    return address.bytes.size() == kAddressBytesV6;
}

std::string headerV4(const CaptureAddress& from, const CaptureAddress& to, std::uint16_t id, std::size_t tcpBytes) {
    std::string header = bigEndian(0x4500, 2) + bigEndian(20 + tcpBytes, 2) + bigEndian(id, 2) +
                         bigEndian(0x4000, 2) +  // not to be fragmented
                         bigEndian(kTimeToLive, 1) + bigEndian(kTcp, 1) + bigEndian(0, 2) + from.bytes + to.bytes;
    wire::putU16(&header[10], checksum(header));
    return header;
}

std::string headerV6(const CaptureAddress& from, const CaptureAddress& to, std::size_t tcpBytes) {
    return bigEndian(0x60000000, 4) + bigEndian(tcpBytes, 2) + bigEndian(kTcp, 1) + bigEndian(kTimeToLive, 1) +
           from.bytes + to.bytes;
}

// The address that the host has to reach a PLC at `plc`, one that cannot be the PLC's.
std::string hostBeside(const std::string& plc) {
    if (plc.size() == kAddressBytesV6) {
        const std::string loopback = std::string(15, '\0') + '\x01';
        const std::string documents("\x20\x01\x0d\xb8\0\0\0\0\0\0\0\0\0\0\0\x01", kAddressBytesV6);
        return plc == loopback ? loopback : documents;
    }
    return plc[0] == '\x7f' ? plc : std::string("\xc0\x00\x02\x01", kAddressBytesV4);
}

}  // namespace

CaptureFile::CaptureFile(const std::string& program, const CaptureAddress& plc) {
    plc_.address = plc;
    if (plc.bytes.size() != kAddressBytesV4 && plc.bytes.size() != kAddressBytesV6) {
        plc_.address.bytes = std::string("\xc0\x00\x02\x02", kAddressBytesV4);
    }
    host_.address.bytes = hostBeside(plc_.address.bytes);
    const std::string end = littleEndian(kEndOfOptions, 4);
    content_ = blockOf(kSectionBlock, littleEndian(kByteOrderMagic, 4) + littleEndian(1, 2) + littleEndian(0, 2) +
                                          littleEndian(~std::uint64_t{0}, 8) + option(kUserApplication, program) + end);
    content_ += blockOf(kInterfaceBlock, littleEndian(kEthernet, 2) + littleEndian(0, 2) + littleEndian(0, 4) +
                                             option(kInterfaceName, "ac500") +
                                             option(kTimeResolution, std::string(1, kMicroseconds)) + end);
}

// Sequence numbers begin at round ones, which are easy to follow by eye.
void CaptureFile::begin() {
    host_.address.port = static_cast<std::uint16_t>(kFirstPort + connections_ % kPorts);
    ++connections_;
    host_.next = 1000000;
    plc_.next = 2000000;
    host_.acknowledged = plc_.next;
    plc_.acknowledged = host_.next;
    isOpen_ = true;
}

void CaptureFile::connected(UtcMicroseconds time) {
    closed(time, Side::Host);
    begin();
    packet(time, Side::Host, kSyn, {});
    packet(time, Side::Plc, kSyn | kAck, {});
    packet(time, Side::Host, kAck, {});
}

void CaptureFile::connectionRefused(UtcMicroseconds time) {
    closed(time, Side::Host);
    begin();
    packet(time, Side::Host, kSyn, {});
    packet(time, Side::Plc, kReset | kAck, {});
    isOpen_ = false;
}

void CaptureFile::connectionUnanswered(UtcMicroseconds time) {
    closed(time, Side::Host);
    begin();
    packet(time, Side::Host, kSyn, {});
    isOpen_ = false;
}

void CaptureFile::carried(UtcMicroseconds time, Side from, std::string_view bytes) {
    if (!isOpen_) {
        begin();
    }
    for (std::size_t sent = 0; sent < bytes.size(); sent += kSegmentBytes) {
        const std::string_view part = bytes.substr(sent, kSegmentBytes);
        const bool isLast = sent + part.size() == bytes.size();
        packet(time, from, isLast ? kAck | kPush : kAck, part);
        if (peer(from).next - peer(from == Side::Host ? Side::Plc : Side::Host).acknowledged >= kAcknowledgeAfter) {
            packet(time, from == Side::Host ? Side::Plc : Side::Host, kAck, {});
        }
    }
}

void CaptureFile::closed(UtcMicroseconds time, Side by) {
    if (!isOpen_) {
        return;
    }
    const Side other = by == Side::Host ? Side::Plc : Side::Host;
    packet(time, by, kFin | kAck, {});
    packet(time, other, kFin | kAck, {});
    packet(time, by, kAck, {});
    isOpen_ = false;
}

void CaptureFile::remark(const std::string& text) {
    remark_ += (remark_.empty() ? "" : "\n") + text;
}

void CaptureFile::packet(UtcMicroseconds time, Side from, unsigned flags, std::string_view payload) {
    Peer& source = peer(from);
    Peer& target = peer(from == Side::Host ? Side::Plc : Side::Host);
    const std::string tcp = segment(source, target, flags, payload);
    const std::string ip = isV6(source.address) ? headerV6(source.address, target.address, tcp.size())
                                                : headerV4(source.address, target.address,
                                                           static_cast<std::uint16_t>(++packets_), tcp.size());
    const std::string ethernet = std::string(from == Side::Host ? kPlcStation : kHostStation) +
                                 std::string(from == Side::Host ? kHostStation : kPlcStation) +
                                 bigEndian(isV6(source.address) ? kEtherTypeV6 : kEtherTypeV4, 2);
    const std::uint32_t counted = (flags & (kSyn | kFin)) != 0 ? 1 : 0;
    source.next += static_cast<std::uint32_t>(payload.size()) + counted;
    if ((flags & kAck) != 0) {
        source.acknowledged = target.next;
    }
    block(time, ethernet + ip + tcp);
}

// The head of TCP, with the checksum that covers the addresses, too.
std::string CaptureFile::segment(const Peer& from, const Peer& to, unsigned flags, std::string_view payload) const {
    const unsigned headBytes = (flags & kSyn) != 0 ? kSynHeadBytes : kTcpHeadBytes;
    std::string head = bigEndian(from.address.port, 2) + bigEndian(to.address.port, 2) + bigEndian(from.next, 4) +
                       bigEndian((flags & kAck) != 0 ? to.next : 0, 4) + bigEndian(headBytes / 4 << 12 | flags, 2) +
                       bigEndian(kWindow, 2) + bigEndian(0, 2) + bigEndian(0, 2);
    if (headBytes == kSynHeadBytes) {
        head += bigEndian(0x0204, 2) + bigEndian(kSegmentBytes, 2);
    }
    std::string tcp = head + std::string(payload);
    const std::string pseudo = from.address.bytes + to.address.bytes + bigEndian(tcp.size(), 4) + bigEndian(kTcp, 4);
    wire::putU16(&tcp[16], checksum(pseudo + tcp));
    return tcp;
}

void CaptureFile::block(UtcMicroseconds time, const std::string& frame) {
    last_ = std::max(last_, time);
    const auto stamp = static_cast<std::uint64_t>(last_);
    std::string body = littleEndian(0, 4) + littleEndian(stamp >> 32, 4) + littleEndian(stamp & 0xFFFFFFFF, 4) +
                       littleEndian(frame.size(), 4) + littleEndian(frame.size(), 4) + padded(frame);
    if (!remark_.empty()) {
        body += option(kComment, remark_) + littleEndian(kEndOfOptions, 4);
        remark_.clear();
    }
    content_ += blockOf(kPacketBlock, body);
}

}  // namespace ac500::replay
