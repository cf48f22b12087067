#pragma once

/// Shared libraries that are found by name as the program runs.
///
/// Threads: any thread may call any function.
namespace Tovra::Platform {

/// A library that was loaded, or null.
using HMODULE = void*;

/// Loads a library, or finds it loaded already.
/// @param fileName found by the loader's own search unless it names a directory
/// @return null when there is none, or it cannot be loaded
HMODULE LoadLibraryA(const char* fileName);

/// Finds what a library exports.
/// @return null when it exports nothing of this name
void* GetProcAddress(HMODULE module, const char* name);

}  // namespace Tovra::Platform
