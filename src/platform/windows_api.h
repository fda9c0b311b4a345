#pragma once

// The Windows API for every translation unit that needs it. <windows.h> turns the names
// GetObject and GetClassName into macros for its A/W functions; the WMI interfaces and the
// library's own members use those names, so every unit must see them unrenamed.
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>

#undef GetObject
#undef GetClassName
