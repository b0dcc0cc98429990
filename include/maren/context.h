/* Certificate, CRL and CTL contexts: an encoded object with its decoded
 * form, counted and optionally owned by a store, and the properties a
 * context carries beside its encoding. */
#ifndef MAREN_CONTEXT_H
#define MAREN_CONTEXT_H

#include <maren/cert_structs.h>
#include <maren/crypt_basics.h>
#include <maren/export.h>
#include <maren/extension_structs.h>
#include <maren/types.h>

/* Opaque handles. */
typedef void *HCERTSTORE;
typedef void *HCRYPTMSG;

/* A certificate. The fields are read-only for callers; the context stays
 * valid until its last reference is freed, even after its store closed. */
typedef struct _CERT_CONTEXT {
    DWORD dwCertEncodingType;
    BYTE *pbCertEncoded;
    DWORD cbCertEncoded;
    PCERT_INFO pCertInfo;
    HCERTSTORE hCertStore;
} CERT_CONTEXT, *PCERT_CONTEXT;
typedef const CERT_CONTEXT *PCCERT_CONTEXT;

/* A CRL, same rules. */
typedef struct _CRL_CONTEXT {
    DWORD dwCertEncodingType;
    BYTE *pbCrlEncoded;
    DWORD cbCrlEncoded;
    PCRL_INFO pCrlInfo;
    HCERTSTORE hCertStore;
} CRL_CONTEXT, *PCRL_CONTEXT;
typedef const CRL_CONTEXT *PCCRL_CONTEXT;

/* Certificate trust lists. maren creates none; the types exist because the
 * chain structures refer to them. */
typedef struct _CTL_ENTRY {
    CRYPT_DATA_BLOB SubjectIdentifier;
    DWORD cAttribute;
    PCRYPT_ATTRIBUTE rgAttribute;
} CTL_ENTRY, *PCTL_ENTRY;

typedef struct _CTL_INFO {
    DWORD dwVersion;
    CTL_USAGE SubjectUsage;
    CRYPT_DATA_BLOB ListIdentifier;
    CRYPT_INTEGER_BLOB SequenceNumber;
    FILETIME ThisUpdate;
    FILETIME NextUpdate;
    CRYPT_ALGORITHM_IDENTIFIER SubjectAlgorithm;
    DWORD cCTLEntry;
    PCTL_ENTRY rgCTLEntry;
    DWORD cExtension;
    PCERT_EXTENSION rgExtension;
} CTL_INFO, *PCTL_INFO;

typedef struct _CTL_CONTEXT {
    DWORD dwMsgAndCertEncodingType;
    BYTE *pbCtlEncoded;
    DWORD cbCtlEncoded;
    PCTL_INFO pCtlInfo;
    HCERTSTORE hCertStore;
    HCRYPTMSG hCryptMsg;
    BYTE *pbCtlContent;
    DWORD cbCtlContent;
} CTL_CONTEXT, *PCTL_CONTEXT;
typedef const CTL_CONTEXT *PCCTL_CONTEXT;

/* Property ids. Hash properties are computed on first request. */
#define CERT_KEY_PROV_HANDLE_PROP_ID                          1
#define CERT_KEY_PROV_INFO_PROP_ID                            2
#define CERT_SHA1_HASH_PROP_ID                                3
#define CERT_MD5_HASH_PROP_ID                                 4
#define CERT_HASH_PROP_ID                                     CERT_SHA1_HASH_PROP_ID
#define CERT_KEY_CONTEXT_PROP_ID                              5
#define CERT_KEY_SPEC_PROP_ID                                 6
#define CERT_IE30_RESERVED_PROP_ID                            7
#define CERT_PUBKEY_HASH_RESERVED_PROP_ID                     8
#define CERT_ENHKEY_USAGE_PROP_ID                             9
#define CERT_CTL_USAGE_PROP_ID                                CERT_ENHKEY_USAGE_PROP_ID
#define CERT_NEXT_UPDATE_LOCATION_PROP_ID                     10
#define CERT_FRIENDLY_NAME_PROP_ID                            11
#define CERT_PVK_FILE_PROP_ID                                 12
#define CERT_DESCRIPTION_PROP_ID                              13
#define CERT_ACCESS_STATE_PROP_ID                             14
#define CERT_SIGNATURE_HASH_PROP_ID                           15
#define CERT_SMART_CARD_DATA_PROP_ID                          16
#define CERT_EFS_PROP_ID                                      17
#define CERT_FORTEZZA_DATA_PROP_ID                            18
#define CERT_ARCHIVED_PROP_ID                                 19
#define CERT_KEY_IDENTIFIER_PROP_ID                           20
#define CERT_AUTO_ENROLL_PROP_ID                              21
#define CERT_PUBKEY_ALG_PARA_PROP_ID                          22
#define CERT_CROSS_CERT_DIST_POINTS_PROP_ID                   23
#define CERT_ISSUER_PUBLIC_KEY_MD5_HASH_PROP_ID               24
#define CERT_SUBJECT_PUBLIC_KEY_MD5_HASH_PROP_ID              25
#define CERT_ENROLLMENT_PROP_ID                               26
#define CERT_DATE_STAMP_PROP_ID                               27
#define CERT_ISSUER_SERIAL_NUMBER_MD5_HASH_PROP_ID            28
#define CERT_SUBJECT_NAME_MD5_HASH_PROP_ID                    29
#define CERT_EXTENDED_ERROR_INFO_PROP_ID                      30
#define CERT_RENEWAL_PROP_ID                                  64
#define CERT_ARCHIVED_KEY_HASH_PROP_ID                        65
#define CERT_AUTO_ENROLL_RETRY_PROP_ID                        66
#define CERT_AIA_URL_RETRIEVED_PROP_ID                        67
#define CERT_AUTHORITY_INFO_ACCESS_PROP_ID                    68
#define CERT_BACKED_UP_PROP_ID                                69
#define CERT_OCSP_RESPONSE_PROP_ID                            70
#define CERT_REQUEST_ORIGINATOR_PROP_ID                       71
#define CERT_SOURCE_LOCATION_PROP_ID                          72
#define CERT_SOURCE_URL_PROP_ID                               73
#define CERT_NEW_KEY_PROP_ID                                  74
#define CERT_OCSP_CACHE_PREFIX_PROP_ID                        75
#define CERT_SMART_CARD_ROOT_INFO_PROP_ID                     76
#define CERT_NO_AUTO_EXPIRE_CHECK_PROP_ID                     77
#define CERT_NCRYPT_KEY_HANDLE_PROP_ID                        78
#define CERT_HCRYPTPROV_OR_NCRYPT_KEY_HANDLE_PROP_ID          79
#define CERT_SUBJECT_INFO_ACCESS_PROP_ID                      80
#define CERT_CA_OCSP_AUTHORITY_INFO_ACCESS_PROP_ID            81
#define CERT_CA_DISABLE_CRL_PROP_ID                           82
#define CERT_ROOT_PROGRAM_CERT_POLICIES_PROP_ID               83
#define CERT_ROOT_PROGRAM_NAME_CONSTRAINTS_PROP_ID            84
#define CERT_SUBJECT_OCSP_AUTHORITY_INFO_ACCESS_PROP_ID       85
#define CERT_SUBJECT_DISABLE_CRL_PROP_ID                      86
#define CERT_CEP_PROP_ID                                      87
#define CERT_SIGN_HASH_CNG_ALG_PROP_ID                        89
#define CERT_SCARD_PIN_ID_PROP_ID                             90
#define CERT_SCARD_PIN_INFO_PROP_ID                           91
#define CERT_SUBJECT_PUB_KEY_BIT_LENGTH_PROP_ID               92
#define CERT_PUB_KEY_CNG_ALG_BIT_LENGTH_PROP_ID               93
#define CERT_ISSUER_PUB_KEY_BIT_LENGTH_PROP_ID                94
#define CERT_ISSUER_CHAIN_SIGN_HASH_CNG_ALG_PROP_ID           95
#define CERT_ISSUER_CHAIN_PUB_KEY_CNG_ALG_BIT_LENGTH_PROP_ID  96
#define CERT_NO_EXPIRE_NOTIFICATION_PROP_ID                   97
#define CERT_AUTH_ROOT_SHA256_HASH_PROP_ID                    98
#define CERT_NCRYPT_KEY_HANDLE_TRANSFER_PROP_ID               99
#define CERT_HCRYPTPROV_TRANSFER_PROP_ID                      100
#define CERT_SMART_CARD_READER_PROP_ID                        101
#define CERT_SEND_AS_TRUSTED_ISSUER_PROP_ID                   102
#define CERT_KEY_REPAIR_ATTEMPTED_PROP_ID                     103
#define CERT_DISALLOWED_FILETIME_PROP_ID                      104
#define CERT_ROOT_PROGRAM_CHAIN_POLICIES_PROP_ID              105
#define CERT_SMART_CARD_READER_NON_REMOVABLE_PROP_ID          106
#define CERT_SHA256_HASH_PROP_ID                              107
#define CERT_SCEP_SERVER_CERTS_PROP_ID                        108
#define CERT_SCEP_RA_SIGNATURE_CERT_PROP_ID                   109
#define CERT_SCEP_RA_ENCRYPTION_CERT_PROP_ID                  110
#define CERT_SCEP_CA_CERT_PROP_ID                             111
#define CERT_SCEP_SIGNER_CERT_PROP_ID                         112
#define CERT_SCEP_NONCE_PROP_ID                               113
#define CERT_SCEP_ENCRYPT_HASH_CNG_ALG_PROP_ID                114
#define CERT_SCEP_FLAGS_PROP_ID                               115
#define CERT_SCEP_GUID_PROP_ID                                116
#define CERT_SERIALIZABLE_KEY_CONTEXT_PROP_ID                 117
#define CERT_ISOLATED_KEY_PROP_ID                             118
#define CERT_SERIAL_CHAIN_PROP_ID                             119
#define CERT_KEY_CLASSIFICATION_PROP_ID                       120
#define CERT_OCSP_MUST_STAPLE_PROP_ID                         121
#define CERT_DISALLOWED_ENHKEY_USAGE_PROP_ID                  122
#define CERT_NONCOMPLIANT_ROOT_URL_PROP_ID                    123
#define CERT_PIN_SHA256_HASH_PROP_ID                          124
#define CERT_CLR_DELETE_KEY_PROP_ID                           125
#define CERT_NOT_BEFORE_FILETIME_PROP_ID                      126
#define CERT_NOT_BEFORE_ENHKEY_USAGE_PROP_ID                  127

/* Ids 0x8000 to 0xFFFF belong to applications; maren keeps their values as
 * opaque bytes. */
#define CERT_FIRST_RESERVED_PROP_ID 107
#define CERT_LAST_RESERVED_PROP_ID 0x00007FFF
#define CERT_FIRST_USER_PROP_ID 0x00008000
#define CERT_LAST_USER_PROP_ID 0x0000FFFF

/* Flags of the Set...Property functions. */
#define CERT_SET_PROPERTY_INHIBIT_PERSIST_FLAG 0x40000000
#define CERT_SET_PROPERTY_IGNORE_PERSIST_ERROR_FLAG 0x80000000

MAREN_BEGIN_DECLS

/* Contexts not in a store; null on a malformed encoding. */
MAREN_API PCCERT_CONTEXT CertCreateCertificateContext(DWORD dwCertEncodingType, const BYTE *pbCertEncoded,
                                                      DWORD cbCertEncoded);
MAREN_API PCCRL_CONTEXT CertCreateCRLContext(DWORD dwCertEncodingType, const BYTE *pbCrlEncoded,
                                             DWORD cbCrlEncoded);

/* Adding a reference returns the same pointer; freeing null is allowed. */
MAREN_API PCCERT_CONTEXT CertDuplicateCertificateContext(PCCERT_CONTEXT pCertContext);
MAREN_API BOOL CertFreeCertificateContext(PCCERT_CONTEXT pCertContext);
MAREN_API PCCRL_CONTEXT CertDuplicateCRLContext(PCCRL_CONTEXT pCrlContext);
MAREN_API BOOL CertFreeCRLContext(PCCRL_CONTEXT pCrlContext);

/* Properties. Get follows the two-call size protocol and fails with
 * CRYPT_E_NOT_FOUND for an absent property; Set with null pvData deletes.
 * Enum returns the id after dwPropId (start with 0), 0 at the end. */
MAREN_API BOOL CertGetCertificateContextProperty(PCCERT_CONTEXT pCertContext, DWORD dwPropId, void *pvData,
                                                 DWORD *pcbData);
MAREN_API BOOL CertSetCertificateContextProperty(PCCERT_CONTEXT pCertContext, DWORD dwPropId, DWORD dwFlags,
                                                 const void *pvData);
MAREN_API DWORD CertEnumCertificateContextProperties(PCCERT_CONTEXT pCertContext, DWORD dwPropId);
MAREN_API BOOL CertGetCRLContextProperty(PCCRL_CONTEXT pCrlContext, DWORD dwPropId, void *pvData,
                                         DWORD *pcbData);
MAREN_API BOOL CertSetCRLContextProperty(PCCRL_CONTEXT pCrlContext, DWORD dwPropId, DWORD dwFlags,
                                         const void *pvData);
MAREN_API DWORD CertEnumCRLContextProperties(PCCRL_CONTEXT pCrlContext, DWORD dwPropId);

MAREN_END_DECLS

#endif
