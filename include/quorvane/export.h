#pragma once

/// @file
/// The mark of the symbols a host application may use.

#if defined(_WIN32)
#if defined(QUORVANE_BUILDING)
#define QUORVANE_API __declspec(dllexport)
#elif defined(QUORVANE_STATIC)
#define QUORVANE_API
#else
#define QUORVANE_API __declspec(dllimport)
#endif
#else
/// Marks the symbols a host application may use; everything else stays hidden.
#define QUORVANE_API __attribute__((visibility("default")))
#endif
