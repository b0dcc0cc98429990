/* The maren platform: the published CryptoAPI subset and host services. */
#ifndef MAREN_MAREN_H
#define MAREN_MAREN_H

#include <maren/types.h>
#include <maren/host.h>

#endif
