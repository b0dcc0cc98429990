/* The maren platform: the published CryptoAPI subset and host services. */
#ifndef MAREN_MAREN_H
#define MAREN_MAREN_H

#include <maren/types.h>
#include <maren/host.h>
#include <maren/errors.h>

#include <maren/crypt_basics.h>
#include <maren/cert_structs.h>
#include <maren/name_structs.h>
#include <maren/extension_structs.h>
#include <maren/oids.h>
#include <maren/struct_types.h>
#include <maren/oid_info.h>
#include <maren/decode.h>
#include <maren/context.h>
#include <maren/store.h>
#include <maren/cert_compare.h>
#include <maren/cert_names.h>
#include <maren/chain.h>
#include <maren/revocation.h>
#include <maren/retrieval.h>
#include <maren/ext.h>

#ifdef __cplusplus
#include <maren/ocsp.h>
#endif

#endif
