#pragma once

// The text of a list's file: an operation of the provider that is no part of the contract. Whoever checks a
// rule and whoever masks by it ask here, so that a process reads a file once and both see the same.

#include "engine/linkage.h"

#include <cstddef>

namespace velk {

// All bytes of the file with that path in UTF-8, and their number. Those of a list stay until the process
// ends, whatever becomes of the file; those of a file that is none stay until the thread's next call, and the
// file is read anew when it is asked for again. Null if it cannot be read, is no regular file or is longer
// than 64 MiB.
VELK_ENGINE_OPERATION const char* Provider_ListFile(const char* path, std::size_t* size);

} // namespace velk
