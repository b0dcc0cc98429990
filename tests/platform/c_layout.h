/* What the C half of the layout test hands to the C++ half. */
#ifndef HALDEN_TESTS_PLATFORM_C_LAYOUT_H
#define HALDEN_TESTS_PLATFORM_C_LAYOUT_H

#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif

struct c_layout_row {
    const char *name;
    size_t actual;
    size_t expected;
};

/* Every row of published_layout_list.h as the C compiler computed it. */
const struct c_layout_row *c_layout_rows(size_t *count);
/* 4 when the sample uses of the headers behave in C as they should. */
int c_header_uses(void);

#ifdef __cplusplus
}
#endif

#endif
