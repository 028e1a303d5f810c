// What the shared libraries export: the classes and functions of these headers, and
// nothing of their insides, which are built hidden.
#pragma once

#if defined(_WIN32)
/// The Windows build here is the store layer, linked statically.
#define CVLPARAMCOR_EXPORT
#define CVLPARAMCOR_NO_EXPORT
#else
#define CVLPARAMCOR_EXPORT __attribute__((visibility("default")))
/// Inside an exported class: what only the library itself calls (private helpers, the
/// implementation behind the pointer).
#define CVLPARAMCOR_NO_EXPORT __attribute__((visibility("hidden")))
#endif
