/* Export and linkage helpers shared by every sfpdrv header. */
#ifndef SFPDRV_EXPORT_H
#define SFPDRV_EXPORT_H

/* The library is built with hidden visibility; only declarations marked
 * with SFPDRV_API are part of the exported interface. */
#if defined(__GNUC__) || defined(__clang__)
#define SFPDRV_API __attribute__((visibility("default")))
#else
#define SFPDRV_API
#endif

#ifdef __cplusplus
#define SFPDRV_BEGIN_DECLS extern "C" {
#define SFPDRV_END_DECLS }
#else
#define SFPDRV_BEGIN_DECLS
#define SFPDRV_END_DECLS
#endif

#endif /* SFPDRV_EXPORT_H */
