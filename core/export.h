// How the library's functions and objects are declared: in any C++ from C++98 on, which most hosts of QtCore 4.8 are
// written in.
#ifndef AC500_CORE_EXPORT_H
#define AC500_CORE_EXPORT_H

// Marks what the library shows to a host. Everything else is hidden.
#define AC500_API __attribute__((visibility("default")))

// Nothing is thrown.
#if __cplusplus >= 201103L
#define AC500_NOEXCEPT noexcept
#else
#define AC500_NOEXCEPT throw()
#endif

#endif
