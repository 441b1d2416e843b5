/* qbase/export.h - visibility, linkage and version of the base services.
 *
 * Every public header of the base services includes this one. The major number becomes the SONAME's: it
 * grows when a program linked against an older library could no longer run with a newer one. */
#ifndef QBASE_EXPORT_H
#define QBASE_EXPORT_H

#define QBASE_VERSION_MAJOR 1
#define QBASE_VERSION_MINOR 0
#define QBASE_VERSION_PATCH 0

#if defined(__GNUC__)
#define QBASE_API __attribute__((visibility("default")))
#else
#define QBASE_API
#endif

#ifdef __cplusplus
#define QBASE_BEGIN_DECLS extern "C" {
#define QBASE_END_DECLS   }
#else
#define QBASE_BEGIN_DECLS
#define QBASE_END_DECLS
#endif

#endif
