/* Export and linkage markers shared by the platform headers. */
#ifndef PLATFORM_API_H
#define PLATFORM_API_H

#ifndef PLATFORM_API
#define PLATFORM_API __attribute__((visibility("default")))
#endif

#ifdef __cplusplus
#define PLATFORM_BEGIN_DECLS extern "C" {
#define PLATFORM_END_DECLS }
#else
#define PLATFORM_BEGIN_DECLS
#define PLATFORM_END_DECLS
#endif

#endif /* PLATFORM_API_H */
