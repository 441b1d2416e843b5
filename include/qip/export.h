/* qip/export.h - visibility, linkage and version of the library.
 *
 * Every public header includes this one. The major number becomes the SONAME's: it grows when a program
 * linked against an older library could no longer run with a newer one. */
#ifndef QIP_EXPORT_H
#define QIP_EXPORT_H

#define QIP_VERSION_MAJOR 1
#define QIP_VERSION_MINOR 0
#define QIP_VERSION_PATCH 0

#if defined(__GNUC__)
#define QIP_API __attribute__((visibility("default")))
#else
#define QIP_API
#endif

#ifdef __cplusplus
#define QIP_BEGIN_DECLS extern "C" {
#define QIP_END_DECLS   }
#else
#define QIP_BEGIN_DECLS
#define QIP_END_DECLS
#endif

#endif
