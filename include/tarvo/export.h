// Symbol visibility for the two shared libraries. Everything is hidden by
// default; public classes and functions carry one of these macros.
#pragma once

#if defined(_WIN32)
#define TARVO_DECL_EXPORT __declspec(dllexport)
#define TARVO_DECL_IMPORT __declspec(dllimport)
#else
#define TARVO_DECL_EXPORT __attribute__((visibility("default")))
#define TARVO_DECL_IMPORT __attribute__((visibility("default")))
#endif

// TARVO_BASE_EXPORTS marks the surface of tarvobase, TARVO_EXPORTS that of tarvoip.
#if defined(TARVO_BUILDING_BASE)
#define TARVO_BASE_EXPORTS TARVO_DECL_EXPORT
#else
#define TARVO_BASE_EXPORTS TARVO_DECL_IMPORT
#endif

#if defined(TARVO_BUILDING_IP)
#define TARVO_EXPORTS TARVO_DECL_EXPORT
#else
#define TARVO_EXPORTS TARVO_DECL_IMPORT
#endif
