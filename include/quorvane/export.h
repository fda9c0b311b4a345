#pragma once

// QUORVANE_API marks the symbols a host application may use; everything else stays hidden.
#if defined(_WIN32)
#if defined(QUORVANE_BUILDING)
#define QUORVANE_API __declspec(dllexport)
#elif defined(QUORVANE_STATIC)
#define QUORVANE_API
#else
#define QUORVANE_API __declspec(dllimport)
#endif
#else
#define QUORVANE_API __attribute__((visibility("default")))
#endif
