// Two records travel as elements of lists only, where the dump of the library does not follow them. The variables below
// make them part of a dump of their own (scripts/check-abi); they belong to no library.
#include "core/host_interface.h"

AC500_API HostTag* hostTag;
AC500_API EXTENDVAR* extendVar;
