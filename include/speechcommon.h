/* speechcommon: the common services library. Clients include only this header. */
#ifndef SPEECHCOMMON_H
#define SPEECHCOMMON_H

#include "sc_common.h"
#include "sc_version.h" /* generated at build time */
#include "sc_vq.h"
#include "sc_heap.h"
#include "sc_critsec.h"
#include "sc_osspi.h"
#include "sc_safeh.h"
#include "sc_rsrc.h"
#include "sc_srvspi.h"
#include "sc_hdrpars.h"
#include "sc_brk.h"
#include "sc_edct.h"
#include "sc_dbg.h"

#endif /* SPEECHCOMMON_H */
