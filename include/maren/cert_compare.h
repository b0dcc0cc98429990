/* Look-ups and comparisons on decoded certificates and CRLs: extensions,
 * attributes, CRL entries, names, keys, serial numbers and validity. */
#ifndef MAREN_CERT_COMPARE_H
#define MAREN_CERT_COMPARE_H

#include <maren/cert_structs.h>
#include <maren/context.h>
#include <maren/export.h>
#include <maren/name_structs.h>
#include <maren/types.h>

MAREN_BEGIN_DECLS

/* First element with the OID, or null. The result points into the array. */
MAREN_API PCERT_EXTENSION CertFindExtension(LPCSTR pszObjId, DWORD cExtensions, CERT_EXTENSION rgExtensions[]);
MAREN_API PCRYPT_ATTRIBUTE CertFindAttribute(LPCSTR pszObjId, DWORD cAttr, CRYPT_ATTRIBUTE rgAttr[]);
MAREN_API PCERT_RDN_ATTR CertFindRDNAttr(LPCSTR pszObjId, PCERT_NAME_INFO pName);

/* TRUE with *ppCrlEntry null when the certificate is not listed; TRUE with
 * the entry (pointing into the CRL context) when it is; FALSE on error. */
MAREN_API BOOL CertFindCertificateInCRL(PCCERT_CONTEXT pCert, PCCRL_CONTEXT pCrlContext, DWORD dwFlags,
                                        void *pvReserved, PCRL_ENTRY *ppCrlEntry);

/* Equality tests. Names compare byte for byte; integers ignore leading
 * zero (or 0xFF for negative) bytes; certificates compare issuer and serial. */
MAREN_API BOOL CertComparePublicKeyInfo(DWORD dwCertEncodingType, PCERT_PUBLIC_KEY_INFO pPublicKey1,
                                        PCERT_PUBLIC_KEY_INFO pPublicKey2);
MAREN_API BOOL CertCompareCertificateName(DWORD dwCertEncodingType, PCERT_NAME_BLOB pCertName1,
                                          PCERT_NAME_BLOB pCertName2);
MAREN_API BOOL CertCompareIntegerBlob(PCRYPT_INTEGER_BLOB pInt1, PCRYPT_INTEGER_BLOB pInt2);
MAREN_API BOOL CertCompareCertificate(DWORD dwCertEncodingType, PCERT_INFO pCertId1, PCERT_INFO pCertId2);

/* -1 before NotBefore (ThisUpdate), +1 after NotAfter (NextUpdate, when
 * present), 0 inside. A null time means now. */
MAREN_API LONG CertVerifyTimeValidity(LPFILETIME pTimeToVerify, PCERT_INFO pCertInfo);
MAREN_API LONG CertVerifyCRLTimeValidity(LPFILETIME pTimeToVerify, PCRL_INFO pCrlInfo);

MAREN_END_DECLS

#endif
