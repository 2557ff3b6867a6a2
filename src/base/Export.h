#pragma once

/// @file
/// The mark of everything that the shared library hands to its hosts.
///
/// `QV_EXPORT` exports while the library itself is compiled (`QV_BUILDING_LIBRARY`) and imports
/// in a host. Everything without the mark is hidden inside the library.

#if defined(_WIN32)
#if defined(QV_BUILDING_LIBRARY)
#define QV_EXPORT __declspec(dllexport)
#else
#define QV_EXPORT __declspec(dllimport)
#endif
#else
#define QV_EXPORT __attribute__((visibility("default")))
#endif
