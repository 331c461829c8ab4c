#include "protocol/checksums.h"

#include "protocol/bytes.h"

namespace {

unsigned int byteSum(const unsigned char* data, int n) {
    unsigned int sum = 0;
    for (int i = 0; i < n; ++i) {
        sum += data[i];
    }
    return sum;
}

unsigned int crcAfterByte(unsigned int crc, unsigned char byte) {
    crc ^= static_cast<unsigned int>(byte) << 8;
    for (int bit = 0; bit < 8; ++bit) {
        crc = (crc & 0x8000) != 0 ? (crc << 1) ^ 0x1021 : crc << 1;
    }
    return crc & 0xFFFF;
}

}  // namespace

unsigned int CalSUM(unsigned char* data, unsigned short n) noexcept {
    return byteSum(data, n) & 0xFFFF;
}

unsigned int CalCRC(unsigned char* data, unsigned short n) noexcept {
    unsigned int crc = 0;
    for (int i = 0; i < n; ++i) {
        crc = crcAfterByte(crc, data[i]);
    }
    return crc;
}

unsigned int CalLRC(unsigned char* data, unsigned short n) noexcept {
    return (~byteSum(data, n) & 0xFF) + 1;  // quirk 3
}

unsigned int CalXOR(unsigned char* data, int n) noexcept {
    unsigned int result = data[0];  // quirk 4
    for (int i = 1; i < n; ++i) {
        result ^= data[i];
    }
    return result;
}

int DigitalToASCII(int v) noexcept {
    return v <= 9 ? ac500::wrapAdd(v, '0') : ac500::wrapAdd(v, 'A' - 10);
}

int ASCIIToDigital(int c) noexcept {
    if (c < '0' || c == '@') {
        return 0;
    }
    return c < '@' ? c - '0' : c - ('A' - 10);  // quirk 5
}
