#pragma once

// How an engine operation is declared: C linkage, visible outside the engine's library. On Windows
// the libraries export and import by ordinal: the ordinals stand in the .def files beside this header.

#if defined(_WIN32)
#define VELK_ENGINE_OPERATION extern "C"
#else
// A compiler is spoken to in its own words here.
#define VELK_ENGINE_OPERATION extern "C" __attribute__((visibility("default")))
#endif
