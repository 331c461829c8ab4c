// AC500_API marks what the library shows to a host. Everything else is hidden.
#ifndef AC500_CORE_EXPORT_H
#define AC500_CORE_EXPORT_H

#define AC500_API __attribute__((visibility("default")))

#endif
