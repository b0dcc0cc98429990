/* maren's own additions to the published interface: declarations that
 * have no published counterpart. Nothing here yet. */
#ifndef MAREN_EXT_H
#define MAREN_EXT_H

#include <maren/export.h>
#include <maren/types.h>

#endif
