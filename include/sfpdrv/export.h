/**
 * @file
 * @brief Export and linkage markers shared by every sfpdrv header.
 *
 * The library is built with hidden visibility: only declarations marked
 * with #SFPDRV_API are part of the exported interface, and every header
 * wraps its declarations in #SFPDRV_BEGIN_DECLS / #SFPDRV_END_DECLS so that
 * C++ callers see C linkage.
 */
#ifndef SFPDRV_EXPORT_H
#define SFPDRV_EXPORT_H

#if defined(__GNUC__) || defined(__clang__)
/** Marks a declaration as exported from the shared library. */
#define SFPDRV_API __attribute__((visibility("default")))
#else
/** Marks a declaration as exported from the shared library. */
#define SFPDRV_API
#endif

#ifdef __cplusplus
/** Opens a block of C-linkage declarations (empty in C). */
#define SFPDRV_BEGIN_DECLS extern "C" {
/** Closes a block opened by #SFPDRV_BEGIN_DECLS (empty in C). */
#define SFPDRV_END_DECLS }
#else
/** Opens a block of C-linkage declarations (empty in C). */
#define SFPDRV_BEGIN_DECLS
/** Closes a block opened by #SFPDRV_BEGIN_DECLS (empty in C). */
#define SFPDRV_END_DECLS
#endif

#endif /* SFPDRV_EXPORT_H */
