/* Linkage of the maren platform API. */
#ifndef MAREN_EXPORT_H
#define MAREN_EXPORT_H

#ifdef __cplusplus
#define MAREN_EXTERN_C extern "C"
#define MAREN_BEGIN_DECLS extern "C" {
#define MAREN_END_DECLS }
#else
#define MAREN_EXTERN_C extern
#define MAREN_BEGIN_DECLS
#define MAREN_END_DECLS
#endif

/* Every published function is visible from libmaren.so.1; everything else is hidden. */
#define MAREN_API __attribute__((visibility("default")))

#define WINAPI
#define CALLBACK

#endif
