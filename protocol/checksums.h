// Checksums and digits, offered for completeness: no frame of this protocol carries a checksum. Any thread; no lock.
#ifndef AC500_PROTOCOL_CHECKSUMS_H
#define AC500_PROTOCOL_CHECKSUMS_H

#include "core/export.h"

// Sum of n bytes, modulo 65536.
AC500_API unsigned int CalSUM(unsigned char* data, unsigned short n) AC500_NOEXCEPT;

// CRC-16 with polynomial 0x1021, initial value 0, most significant bit first (XMODEM).
AC500_API unsigned int CalCRC(unsigned char* data, unsigned short n) AC500_NOEXCEPT;

// Complement of the low byte of the sum, plus 1, not reduced: 1 to 256 (quirk 3).
AC500_API unsigned int CalLRC(unsigned char* data, unsigned short n) AC500_NOEXCEPT;

// Exclusive or of n bytes; the first byte when n is below 2, so one byte is read even then (quirk 4).
AC500_API unsigned int CalXOR(unsigned char* data, int n) AC500_NOEXCEPT;

// 0 to 15 as upper-case hexadecimal digit: v + 48 up to 9, else v + 55.
AC500_API int DigitalToASCII(int v) AC500_NOEXCEPT;

// Upper-case hexadecimal digit to its value; 0 below '0' and for '@' (quirk 5).
AC500_API int ASCIIToDigital(int c) AC500_NOEXCEPT;

#endif
