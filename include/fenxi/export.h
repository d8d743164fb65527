/* Symbol export and calling-convention macros shared by the C and C++ headers. */
#ifndef FENXI_EXPORT_H
#define FENXI_EXPORT_H

#if defined(FENXI_STATIC)
#  define FENXI_API
#elif defined(_WIN32)
#  if defined(FENXI_BUILDING)
#    define FENXI_API __declspec(dllexport)
#  else
#    define FENXI_API __declspec(dllimport)
#  endif
#else
#  define FENXI_API __attribute__((visibility("default")))
#endif

#if defined(_WIN32)
#  define FENXI_CALL __cdecl
#else
#  define FENXI_CALL
#endif

#endif /* FENXI_EXPORT_H */
