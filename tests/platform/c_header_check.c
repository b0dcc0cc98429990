/* The public headers seen by a C11 compiler: they must compile cleanly as
 * C, and the C compiler must lay the structures out as the C++ compiler
 * does. This file records what the C compiler makes of them. */
#include <maren/maren.h>

#include <stddef.h>

#include "c_layout.h"

#define LAYOUT_SIZE(type, bytes) {#type, sizeof(type), bytes},
#define LAYOUT_OFFSET(type, field, bytes) {#type "." #field, offsetof(type, field), bytes},

static const struct c_layout_row rows[] = {
#include "published_layout_list.h"
};

#undef LAYOUT_SIZE
#undef LAYOUT_OFFSET

const struct c_layout_row *c_layout_rows(size_t *count)
{
    *count = sizeof(rows) / sizeof(rows[0]);
    return rows;
}

/* A few uses in C: designated initialisers through the anonymous unions,
 * and the pointer-valued constants in comparisons. */
int c_header_uses(void)
{
    static WCHAR url[] = L"http://example.invalid/ca.crl";
    CERT_ALT_NAME_ENTRY entry = {.dwAltNameChoice = CERT_ALT_NAME_URL, .pwszURL = url};
    CRL_DIST_POINT_NAME name = {.dwDistPointNameChoice = CRL_DIST_POINT_FULL_NAME, .FullName = {1, &entry}};
    CERT_REVOCATION_PARA para = {.cbSize = offsetof(CERT_REVOCATION_PARA, pCrlInfo)};
    LPCSTR type = X509_CERT_NAME_LENIENT;
    int score = 0;
    score += name.FullName.rgAltEntry[0].pwszURL[0] == L'h';
    score += para.cbSize == 72;
    score += type != X509_NAME && MAREN_IS_INT_STRUCT_TYPE(type);
    score += (DWORD)CRYPT_E_NOT_FOUND == 0x80092004u;
    return score;
}
