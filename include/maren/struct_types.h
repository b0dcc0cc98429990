/* Structure types: the lpszStructType argument of the encode and decode
 * functions. A value below 0x10000 is a small integer cast to a pointer;
 * anything else is an OID string naming the structure. */
#ifndef MAREN_STRUCT_TYPES_H
#define MAREN_STRUCT_TYPES_H

#include <maren/oids.h>
#include <maren/types.h>

/* True when a structure type is one of the integer constants below rather
 * than a string. */
#define MAREN_IS_INT_STRUCT_TYPE(psz) ((((ULONG_PTR)(psz)) >> 16) == 0)

#define X509_CERT                              ((LPCSTR)1)
#define X509_CERT_TO_BE_SIGNED                 ((LPCSTR)2)
#define X509_CERT_CRL_TO_BE_SIGNED             ((LPCSTR)3)
#define X509_CERT_REQUEST_TO_BE_SIGNED         ((LPCSTR)4)
#define X509_EXTENSIONS                        ((LPCSTR)5)
#define X509_NAME_VALUE                        ((LPCSTR)6)
#define X509_NAME                              ((LPCSTR)7)
#define X509_PUBLIC_KEY_INFO                   ((LPCSTR)8)
#define X509_AUTHORITY_KEY_ID                  ((LPCSTR)9)
#define X509_KEY_ATTRIBUTES                    ((LPCSTR)10)
#define X509_KEY_USAGE_RESTRICTION             ((LPCSTR)11)
#define X509_ALTERNATE_NAME                    ((LPCSTR)12)
#define X509_BASIC_CONSTRAINTS                 ((LPCSTR)13)
#define X509_KEY_USAGE                         ((LPCSTR)14)
#define X509_BASIC_CONSTRAINTS2                ((LPCSTR)15)
#define X509_CERT_POLICIES                     ((LPCSTR)16)
#define PKCS_UTC_TIME                          ((LPCSTR)17)
#define PKCS_TIME_REQUEST                      ((LPCSTR)18)
#define RSA_CSP_PUBLICKEYBLOB                  ((LPCSTR)19)
#define X509_UNICODE_NAME                      ((LPCSTR)20)
#define X509_KEYGEN_REQUEST_TO_BE_SIGNED       ((LPCSTR)21)
#define PKCS_ATTRIBUTE                         ((LPCSTR)22)
#define PKCS_CONTENT_INFO_SEQUENCE_OF_ANY      ((LPCSTR)23)
#define X509_UNICODE_NAME_VALUE                ((LPCSTR)24)
#define X509_OCTET_STRING                      ((LPCSTR)25)
#define X509_BITS                              ((LPCSTR)26)
#define X509_INTEGER                           ((LPCSTR)27)
#define X509_MULTI_BYTE_INTEGER                ((LPCSTR)28)
#define X509_ENUMERATED                        ((LPCSTR)29)
#define X509_CHOICE_OF_TIME                    ((LPCSTR)30)
#define X509_AUTHORITY_KEY_ID2                 ((LPCSTR)31)
#define X509_AUTHORITY_INFO_ACCESS             ((LPCSTR)32)
#define PKCS_CONTENT_INFO                      ((LPCSTR)33)
#define X509_SEQUENCE_OF_ANY                   ((LPCSTR)34)
#define X509_CRL_DIST_POINTS                   ((LPCSTR)35)
#define X509_ENHANCED_KEY_USAGE                ((LPCSTR)36)
#define PKCS_CTL                               ((LPCSTR)37)
#define X509_MULTI_BYTE_UINT                   ((LPCSTR)38)
#define X509_DSS_PARAMETERS                    ((LPCSTR)39)
#define X509_DSS_SIGNATURE                     ((LPCSTR)40)
#define PKCS_RC2_CBC_PARAMETERS                ((LPCSTR)41)
#define PKCS_SMIME_CAPABILITIES                ((LPCSTR)42)
#define PKCS_RSA_PRIVATE_KEY                   ((LPCSTR)43)
#define PKCS_PRIVATE_KEY_INFO                  ((LPCSTR)44)
#define PKCS_ENCRYPTED_PRIVATE_KEY_INFO        ((LPCSTR)45)
#define X509_PKIX_POLICY_QUALIFIER_USERNOTICE  ((LPCSTR)46)
#define X509_DH_PARAMETERS                     ((LPCSTR)47)
#define X509_ECC_SIGNATURE                     ((LPCSTR)47)
#define PKCS_ATTRIBUTES                        ((LPCSTR)48)
#define PKCS_SORTED_CTL                        ((LPCSTR)49)
#define X942_DH_PARAMETERS                     ((LPCSTR)50)
#define X509_BITS_WITHOUT_TRAILING_ZEROES      ((LPCSTR)51)
#define X942_OTHER_INFO                        ((LPCSTR)52)
#define X509_CERT_PAIR                         ((LPCSTR)53)
#define X509_ISSUING_DIST_POINT                ((LPCSTR)54)
#define X509_NAME_CONSTRAINTS                  ((LPCSTR)55)
#define X509_POLICY_MAPPINGS                   ((LPCSTR)56)
#define X509_POLICY_CONSTRAINTS                ((LPCSTR)57)
#define X509_CROSS_CERT_DIST_POINTS            ((LPCSTR)58)
#define X509_CERTIFICATE_TEMPLATE              ((LPCSTR)64)
#define OCSP_SIGNED_REQUEST                    ((LPCSTR)65)
#define OCSP_REQUEST                           ((LPCSTR)66)
#define OCSP_RESPONSE                          ((LPCSTR)67)
#define OCSP_BASIC_SIGNED_RESPONSE             ((LPCSTR)68)
#define OCSP_BASIC_RESPONSE                    ((LPCSTR)69)
#define X509_OBJECT_IDENTIFIER                 ((LPCSTR)73)
#define X509_ALGORITHM_IDENTIFIER              ((LPCSTR)74)

/* Other names for the same structures. */
#define X509_ANY_STRING X509_NAME_VALUE
#define X509_UNICODE_ANY_STRING X509_UNICODE_NAME_VALUE
#define X509_CRL_REASON_CODE X509_ENUMERATED
#define X509_QC_STATEMENTS_EXT ((LPCSTR)42)

/* maren's own structure types, understood by its decoder only. */
#define X509_ANY_OCTETS ((LPCSTR)0x1000)
#define X509_ANY_ENCODED ((LPCSTR)0x1001)
#define X509_SIMPLE_BOOLEAN ((LPCSTR)0x1004)
#define X509_SIMPLE_WIDE_STRING ((LPCSTR)0x100E)
#define X509_ENROLLMENT_NAME_VALUE ((LPCSTR)0x80C6)
#define X509_ENROLLMENT_CSP_INFO ((LPCSTR)0x80C7)
/* Like X509_NAME, but accepts any string type in an attribute value. */
#define X509_CERT_NAME_LENIENT ((LPCSTR)0x80C8)

/* The string type of the private key usage period decoder: it yields two
 * FILETIME pointers (not before, not after), null for an absent bound,
 * followed by the times present. */
#define MAREN_PRIVATE_KEY_USAGE_PERIOD_STRUCT "{E36FC6F5-4880-4CB7-BA51-1FCD92CA1453}"

#endif
