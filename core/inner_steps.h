// The inner steps of the driver that keep exported names, for a host that wants to call one of them all the same. Each
// is declared and described in the folder that defines it; core/codes.h names their results.
//
// The steps of the loop run on the loop thread, from ComCommunication and DataCom, under the locks said beside them.
#ifndef AC500_CORE_INNER_STEPS_H
#define AC500_CORE_INNER_STEPS_H

#include "protocol/checksums.h"
#include "protocol/handshake.h"
#include "protocol/reply_checks.h"
#include "services/read_write.h"
#include "symbols/resolution_steps.h"
#include "values/local_area.h"
#include "vars/read_list.h"

#endif
