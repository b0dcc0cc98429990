/* maren's own additions to the published interface: declarations that
 * have no published counterpart. */
#ifndef MAREN_EXT_H
#define MAREN_EXT_H

#include <maren/export.h>
#include <maren/types.h>
#include <maren/context.h>

MAREN_BEGIN_DECLS

/* Writing the configuration registry: sets the value at path (a key path,
 * a backslash and the value's name, as host_registry_get_long reads it) in
 * the registry file, replacing a value of the same path (compared with an
 * ASCII case fold) or adding it under its section, which is created when
 * missing. Comments and all other lines stay as they are; the file is
 * replaced atomically, so a reader sees the old or the new file. Returns 0,
 * ERROR_INVALID_PARAMETER for a null argument, a path without a key or a
 * name the file cannot hold, or a string with a line break,
 * ERROR_PATH_NOT_FOUND when there is no home for the file, or
 * ERROR_ACCESS_DENIED, ERROR_DISK_FULL or ERROR_WRITE_FAULT when the file
 * cannot be written. */
MAREN_API int maren_registry_set_long(const char *path, long value);
MAREN_API int maren_registry_set_string(const char *path, const char *value);

MAREN_END_DECLS


/* The serial index of a CRL context. Looking a serial number up in a CRL
 * costs constant average time: maren keeps one index per CRL, built on the
 * first lookup (safely from any number of threads) and shared by every
 * context of the CRL - duplicates and store copies included - for as long
 * as one of them lives. Lists of a few entries are walked instead.
 *
 * maren_crl_find_entry gives the FIRST entry, in list order, whose serial
 * number equals *serial as an integer, compared as CertCompareIntegerBlob
 * does (little-endian values; redundant high-order 0x00 and 0xFF bytes
 * don't count). maren_crl_find_entry_exact gives the first entry whose
 * serial number has the same length and the same bytes as *serial.
 * Both return a pointer into the context's CRL_INFO, valid while the
 * context is; null with the last error untouched when no entry matches,
 * null with E_INVALIDARG for a null argument or a blob with data but no
 * pointer. CertFindCertificateInCRL uses the same index. */
MAREN_BEGIN_DECLS

MAREN_API const CRL_ENTRY *maren_crl_find_entry(PCCRL_CONTEXT crl, const CRYPT_INTEGER_BLOB *serial);
MAREN_API const CRL_ENTRY *maren_crl_find_entry_exact(PCCRL_CONTEXT crl, const CRYPT_INTEGER_BLOB *serial);

MAREN_END_DECLS

#endif
