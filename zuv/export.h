// Symbol visibility for the Zuv shared library. The library is built with hidden visibility;
// every class and function of the public interface is marked ZUV_EXPORT.
#pragma once

#if defined(ZUV_STATIC)
#define ZUV_EXPORT
#elif defined(ZUV_BUILDING_LIBRARY)
#define ZUV_EXPORT __attribute__((visibility("default")))
#else
#define ZUV_EXPORT
#endif
