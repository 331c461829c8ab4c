// The configuration of QtCore 4.8 for the compile gate (scripts/check-qt4): stands before the fetched headers on the
// include path, because theirs is for another system. A panel SDK brings its own.
#ifndef AC500_QT4_QCONFIG_H
#define AC500_QT4_QCONFIG_H

#define QT_EDITION QT_EDITION_OPENSOURCE

#define Q_BIG_ENDIAN 4321
#define Q_LITTLE_ENDIAN 1234
#define Q_BYTE_ORDER Q_LITTLE_ENDIAN

#if defined(__x86_64__)
#define QT_ARCH_X86_64
#define QT_POINTER_SIZE 8
#elif defined(__arm__)
#define QT_ARCH_ARM
#define QT_POINTER_SIZE 4
#else
#error "the gate knows x86-64 and 32-bit ARM"
#endif

#endif
